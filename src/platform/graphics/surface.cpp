#include "surface.h"

#include <algorithm>
#include <cstring>

namespace ondrel::platform::graphics {

std::uint32_t Surface::ValueOf(COLORREF color) const {
  const int r = GetRValue(color);
  const int g = GetGValue(color);
  const int b = GetBValue(color);
  if (bitsPerPixel != 8) return static_cast<std::uint32_t>((r << 16) | (g << 8) | b);
  std::uint32_t best = 0;
  int bestDistance = 1 << 30;
  for (std::size_t i = 0; i < colors.size(); ++i) {
    const int dr = colors[i].rgbRed - r;
    const int dg = colors[i].rgbGreen - g;
    const int db = colors[i].rgbBlue - b;
    const int distance = dr * dr + dg * dg + db * db;
    if (distance < bestDistance) {
      bestDistance = distance;
      best = static_cast<std::uint32_t>(i);
    }
  }
  return best;
}

COLORREF Surface::ColorOf(std::uint32_t value) const {
  if (bitsPerPixel == 8) {
    if (value >= colors.size()) return 0;
    const RGBQUAD& q = colors[value];
    return RGB(q.rgbRed, q.rgbGreen, q.rgbBlue);
  }
  return RGB(static_cast<BYTE>(value >> 16), static_cast<BYTE>(value >> 8), static_cast<BYTE>(value));
}

std::uint32_t Surface::Read(int x, int y) const {
  const std::uint8_t* row = Row(y);
  switch (bitsPerPixel) {
    case 8:
      return row[x];
    case 24: {
      const std::uint8_t* p = row + 3 * x;
      return static_cast<std::uint32_t>(p[0] | (p[1] << 8) | (p[2] << 16));
    }
    default: {
      std::uint32_t value;
      std::memcpy(&value, row + 4 * x, 4);
      return value & 0xFFFFFFu;
    }
  }
}

void Surface::Write(int x, int y, std::uint32_t value) const {
  std::uint8_t* row = Row(y);
  switch (bitsPerPixel) {
    case 8:
      row[x] = static_cast<std::uint8_t>(value);
      break;
    case 24: {
      std::uint8_t* p = row + 3 * x;
      p[0] = static_cast<std::uint8_t>(value);
      p[1] = static_cast<std::uint8_t>(value >> 8);
      p[2] = static_cast<std::uint8_t>(value >> 16);
      break;
    }
    default: {
      const std::uint32_t pixel = value & 0xFFFFFFu;
      std::memcpy(row + 4 * x, &pixel, 4);
      break;
    }
  }
}

void OwnedSurface::Allocate(int width, int height) {
  memory.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, 0);
  surface.width = width;
  surface.height = height;
  surface.bitsPerPixel = 32;
  surface.stride = static_cast<std::ptrdiff_t>(width) * 4;
  surface.top = memory.data();
}

void OwnedSurface::Resize(int width, int height) {
  OwnedSurface resized;
  resized.Allocate(width, height);
  const int keepWidth = std::min(width, surface.width);
  const int keepHeight = std::min(height, surface.height);
  for (int y = 0; y < keepHeight; ++y)
    std::memcpy(resized.surface.Row(y), surface.Row(y), static_cast<std::size_t>(keepWidth) * 4);
  memory.swap(resized.memory);
  surface = resized.surface;
  surface.top = memory.data();
}

std::uint32_t Mix(int rop2, std::uint32_t pixel, std::uint32_t pen) {
  switch (rop2) {
    case R2_BLACK:
      return 0;
    case R2_NOTMERGEPEN:
      return ~(pen | pixel);
    case R2_MASKNOTPEN:
      return ~pen & pixel;
    case R2_NOTCOPYPEN:
      return ~pen;
    case R2_MASKPENNOT:
      return pen & ~pixel;
    case R2_NOT:
      return ~pixel;
    case R2_XORPEN:
      return pen ^ pixel;
    case R2_NOTMASKPEN:
      return ~(pen & pixel);
    case R2_MASKPEN:
      return pen & pixel;
    case R2_NOTXORPEN:
      return ~(pen ^ pixel);
    case R2_NOP:
      return pixel;
    case R2_MERGENOTPEN:
      return ~pen | pixel;
    case R2_MERGEPENNOT:
      return pen | ~pixel;
    case R2_MERGEPEN:
      return pen | pixel;
    case R2_WHITE:
      return 0xFFFFFFFFu;
    default:
      return pen;  // R2_COPYPEN
  }
}

void PaintRegion(const Surface& surface, const PixelRegion& region, std::uint32_t value, int rop2) {
  const std::uint32_t mask = surface.ValueMask();
  region.ForEachSpan([&](int y, int left, int right) {
    if (y < 0 || y >= surface.height) return;
    left = std::max(left, 0);
    right = std::min(right, surface.width);
    if (surface.bitsPerPixel == 32) {
      // The common case, a rubber band drawn with XOR among them, without a call per pixel; the mask
      // keeps the top byte zero as Write does.
      auto* row = reinterpret_cast<std::uint32_t*>(surface.Row(y));
      if (rop2 == R2_COPYPEN) {
        std::fill(row + left, row + std::max(left, right), value & mask);
        return;
      }
      if (rop2 == R2_XORPEN) {
        for (int x = left; x < right; ++x) row[x] = (row[x] ^ value) & mask;
        return;
      }
      for (int x = left; x < right; ++x) row[x] = Mix(rop2, row[x] & mask, value) & mask;
      return;
    }
    for (int x = left; x < right; ++x) surface.Write(x, y, Mix(rop2, surface.Read(x, y), value) & mask);
  });
}

void FillBox(const Surface& surface, Box box, std::uint32_t value) {
  PaintRegion(surface, PixelRegion::FromBox(box.left, box.top, box.right, box.bottom), value, R2_COPYPEN);
}

}  // namespace ondrel::platform::graphics
