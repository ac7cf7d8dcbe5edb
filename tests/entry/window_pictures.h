// What the picture tests share: a window's pixels as a host reads them, a reference PNG read through
// GDI+ (which must be started), and the UTF-8 form of a text the component gives.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"

namespace component_test {

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> rgb;  // 0xRRGGBB, top-down
  std::uint32_t At(int x, int y) const { return rgb[static_cast<std::size_t>(y) * width + x]; }
};

inline Picture WindowPicture(HWND window) {
  ondrel::platform::WindowPixels pixels;
  EXPECT_TRUE(ondrel::platform::ReadWindowPixels(window, pixels));
  Picture picture{pixels.width, pixels.height, {}};
  for (std::size_t i = 0; i + 3 < pixels.bgra.size(); i += 4)
    picture.rgb.push_back(std::uint32_t{pixels.bgra[i + 2]} << 16 | std::uint32_t{pixels.bgra[i + 1]} << 8 |
                          pixels.bgra[i]);
  return picture;
}

// The PNG at `path`; an empty picture, and a failure of the test, when it can't be read.
inline Picture ReferencePicture(const std::string& path) {
  using namespace Gdiplus;
  using namespace Gdiplus::DllExports;
  GpBitmap* bitmap = nullptr;
  Picture picture;
  if (GdipCreateBitmapFromFile(std::u16string(path.begin(), path.end()).c_str(), &bitmap) != Ok) {
    ADD_FAILURE() << "can't read " << path;
    return picture;
  }
  const ondrel::platform::GdiplusPtr<GpBitmap> owned(bitmap);
  UINT width = 0;
  UINT height = 0;
  GdipGetImageWidth(bitmap, &width);
  GdipGetImageHeight(bitmap, &height);
  BitmapData locked{};
  const Rect whole(0, 0, static_cast<INT>(width), static_cast<INT>(height));
  EXPECT_EQ(GdipBitmapLockBits(bitmap, &whole, ImageLockModeRead, PixelFormat24bppRGB, &locked), Ok);
  picture.width = static_cast<int>(width);
  picture.height = static_cast<int>(height);
  for (UINT y = 0; y < height; ++y) {
    const auto* row = static_cast<const BYTE*>(locked.Scan0) + static_cast<std::ptrdiff_t>(y) * locked.Stride;
    for (UINT x = 0; x < width; ++x)
      picture.rgb.push_back(std::uint32_t{row[3 * x + 2]} << 16 | std::uint32_t{row[3 * x + 1]} << 8 | row[3 * x]);
  }
  GdipBitmapUnlockBits(bitmap, &locked);
  return picture;
}

inline std::string Utf8(std::u16string_view text) {
  std::string out;
  for (const char16_t c : text) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | c >> 6);
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | c >> 12);
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

}  // namespace component_test
