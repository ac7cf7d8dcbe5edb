// A surface is memory that pixels are drawn on: a window's client area, a compatible bitmap or a DIB
// section. Its pixel values are "physical": 0x00RRGGBB for 24 and 32 bits (the fourth byte of a 32-bit
// pixel is written as 0), and a colour table index for 8 bits. Drawing maps a COLORREF to a physical
// value once, then combines values bitwise under the mix mode, as GDI does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ondrel/platform/gdi.h"
#include "pixel_region.h"

namespace ondrel::platform::graphics {

struct Surface {
  int width = 0;
  int height = 0;
  int bitsPerPixel = 32;        // 8, 24 or 32
  std::ptrdiff_t stride = 0;    // bytes from one row to the next one down; negative for bottom-up memory
  std::uint8_t* top = nullptr;  // the first byte of the top row
  std::vector<RGBQUAD> colors;  // the colour table of an 8-bit surface

  std::uint8_t* Row(int y) const { return top + y * stride; }
  bool Contains(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
  std::uint32_t ValueMask() const { return bitsPerPixel == 8 ? 0xFFu : 0xFFFFFFu; }
  // The physical value of a colour: itself for 24 and 32 bits, the nearest table entry for 8 bits
  // (the first of equal distance).
  std::uint32_t ValueOf(COLORREF color) const;
  COLORREF ColorOf(std::uint32_t value) const;
  std::uint32_t Read(int x, int y) const;
  void Write(int x, int y, std::uint32_t value) const;
};

// Bytes of a row of `width` pixels padded to 4 bytes, as DIB rows are.
constexpr std::ptrdiff_t DibStride(int width, int bitsPerPixel) {
  return ((static_cast<std::ptrdiff_t>(width) * bitsPerPixel + 31) / 32) * 4;
}

// A 32-bit top-down surface that owns its pixels: windows and compatible bitmaps.
struct OwnedSurface {
  Surface surface;
  std::vector<std::uint8_t> memory;

  // Cleared to black. Throws std::bad_alloc when memory runs out.
  void Allocate(int width, int height);
  // New size; the pixels that still fit are kept, the rest is black.
  void Resize(int width, int height);
};

// The value of mix mode `rop2` (R2_BLACK to R2_WHITE) from pen value `pen` and pixel value `pixel`.
std::uint32_t Mix(int rop2, std::uint32_t pixel, std::uint32_t pen);

// Paints every pixel of `region` inside the surface once with `value` under `rop2`.
void PaintRegion(const Surface& surface, const PixelRegion& region, std::uint32_t value, int rop2);
// Fills the box (clipped) with a value, ignoring the mix mode.
void FillBox(const Surface& surface, Box box, std::uint32_t value);

}  // namespace ondrel::platform::graphics
