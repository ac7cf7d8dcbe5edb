// Helpers of the graphics tests: canvases whose pixels the tests read straight from DIB memory, art
// strings that show small pictures row by row, and guards for process-wide state.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ondrel/platform/gdi.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"

namespace graphics_test {

// A memory context with a top-down 32-bit DIB section of `width` x `height`, cleared to black.
class Canvas {
 public:
  Canvas(int width, int height) : width_(width), height_(height) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    dc_ = CreateCompatibleDC(nullptr);
    bitmap_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&bits_), nullptr, 0);
    old_ = SelectObject(dc_, bitmap_);
  }
  ~Canvas() {
    SelectObject(dc_, old_);
    DeleteObject(bitmap_);
    DeleteDC(dc_);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  HDC dc() const { return dc_; }
  HBITMAP bitmap() const { return bitmap_; }
  // 0x00RRGGBB straight from the DIB memory.
  std::uint32_t At(int x, int y) const { return bits_[y * width_ + x] & 0xFFFFFFu; }
  void Set(int x, int y, std::uint32_t rgb) { bits_[y * width_ + x] = rgb; }
  void Fill(std::uint32_t rgb) {
    for (int i = 0; i < width_ * height_; ++i) bits_[i] = rgb;
  }
  std::vector<std::uint32_t> Pixels() const { return std::vector<std::uint32_t>(bits_, bits_ + width_ * height_); }
  // The picture as rows of '#' (pixels equal to `ink`) and '.' (others), joined with '|'.
  std::string Art(std::uint32_t ink = 0xFFFFFF) const {
    std::string art;
    for (int y = 0; y < height_; ++y) {
      if (y > 0) art += '|';
      for (int x = 0; x < width_; ++x) art += At(x, y) == ink ? '#' : '.';
    }
    return art;
  }
  int Count(std::uint32_t rgb) const {
    int n = 0;
    for (int i = 0; i < width_ * height_; ++i) n += (bits_[i] & 0xFFFFFFu) == rgb ? 1 : 0;
    return n;
  }
  // The smallest box holding every pixel that is not `background`: {left, top, right, bottom}, right
  // and bottom excluded; all zero when there is none.
  RECT InkBox(std::uint32_t background = 0) const {
    RECT box{width_, height_, 0, 0};
    for (int y = 0; y < height_; ++y)
      for (int x = 0; x < width_; ++x)
        if (At(x, y) != background) {
          box.left = std::min<LONG>(box.left, x);
          box.top = std::min<LONG>(box.top, y);
          box.right = std::max<LONG>(box.right, x + 1);
          box.bottom = std::max<LONG>(box.bottom, y + 1);
        }
    return box.right == 0 ? RECT{0, 0, 0, 0} : box;
  }

 private:
  int width_;
  int height_;
  std::uint32_t* bits_ = nullptr;
  HDC dc_ = nullptr;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ old_ = nullptr;
};

// A pen selected into a context for the guard's life, with a mix mode.
class PenScope {
 public:
  PenScope(HDC dc, int width, COLORREF color, int rop2 = R2_COPYPEN, bool hollow = true)
      : dc_(dc), pen_(CreatePen(PS_SOLID, width, color)) {
    oldPen_ = SelectObject(dc_, pen_);
    oldBrush_ = SelectObject(dc_, GetStockObject(hollow ? NULL_BRUSH : WHITE_BRUSH));
    oldRop_ = SetROP2(dc_, rop2);
  }
  ~PenScope() {
    SetROP2(dc_, oldRop_);
    SelectObject(dc_, oldBrush_);
    SelectObject(dc_, oldPen_);
    DeleteObject(pen_);
  }
  PenScope(const PenScope&) = delete;
  PenScope& operator=(const PenScope&) = delete;

 private:
  HDC dc_;
  HPEN pen_;
  HGDIOBJ oldPen_;
  HGDIOBJ oldBrush_;
  int oldRop_;
};

// GDI+ started for the guard's life.
class GdiplusSession {
 public:
  GdiplusSession() {
    Gdiplus::GdiplusStartupInput input;
    status_ = Gdiplus::GdiplusStartup(&token_, &input, nullptr);
  }
  ~GdiplusSession() { Gdiplus::GdiplusShutdown(token_); }
  GdiplusSession(const GdiplusSession&) = delete;
  GdiplusSession& operator=(const GdiplusSession&) = delete;
  Gdiplus::Status status() const { return status_; }

 private:
  ULONG_PTR token_ = 0;
  Gdiplus::Status status_;
};

// A top-level host window destroyed with the guard.
class HostWindow {
 public:
  HostWindow(int width, int height) : window_(ondrel::platform::CreateHostWindow(width, height)) {}
  ~HostWindow() { DestroyWindow(window_); }
  HostWindow(const HostWindow&) = delete;
  HostWindow& operator=(const HostWindow&) = delete;
  HWND get() const { return window_; }

 private:
  HWND window_;
};

// Pixel (x, y) of what a window shows, as 0x00RRGGBB.
inline std::uint32_t ShownPixel(const ondrel::platform::WindowPixels& pixels, int x, int y) {
  const std::uint8_t* p = pixels.bgra.data() + (static_cast<std::size_t>(y) * pixels.width + x) * 4;
  return static_cast<std::uint32_t>(p[2] << 16 | p[1] << 8 | p[0]);
}

}  // namespace graphics_test
