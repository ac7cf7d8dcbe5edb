#include "pictures.h"

#include <string>

#include "errors.h"
#include "host.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"

namespace py = pybind11;

namespace ondrel::python {
namespace {

// Rows of blue, green, red (and alpha when `step` is 4) pixels `stride` bytes apart, as RGB.
py::array_t<std::uint8_t> RgbOf(const std::uint8_t* pixels, int width, int height, std::ptrdiff_t stride, int step) {
  py::array_t<std::uint8_t> picture({height, width, 3});
  std::uint8_t* out = picture.mutable_data();
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* in = pixels + y * stride;
    for (int x = 0; x < width; ++x, in += step, out += 3) {
      out[0] = in[2];
      out[1] = in[1];
      out[2] = in[0];
    }
  }
  return picture;
}

}  // namespace

py::array_t<std::uint8_t> WindowPicture(HWND window) {
  platform::WindowPixels pixels;
  if (!InCore([&] { return platform::ReadWindowPixels(window, pixels); }))
    throw CoreError{"the window's pixels can't be read", E_FAIL, {}};
  return RgbOf(pixels.bgra.data(), pixels.width, pixels.height, std::ptrdiff_t{pixels.width} * 4, 4);
}

py::array_t<std::uint8_t> BitmapPicture(HBITMAP bitmap) {
  using namespace Gdiplus;
  using namespace Gdiplus::DllExports;
  const auto failed = [](Status status) {
    return CoreError{"the bitmap can't be read (GDI+ status " + std::to_string(status) + ")", E_FAIL, {}};
  };
  GpBitmap* made = nullptr;
  if (const Status status = GdipCreateBitmapFromHBITMAP(bitmap, nullptr, &made); status != Ok) throw failed(status);
  const platform::GdiplusPtr<GpBitmap> picture(made);
  UINT width = 0;
  UINT height = 0;
  GdipGetImageWidth(picture.get(), &width);
  GdipGetImageHeight(picture.get(), &height);
  BitmapData locked{};
  if (const Status status = GdipBitmapLockBits(picture.get(), nullptr, ImageLockModeRead, PixelFormat24bppRGB, &locked);
      status != Ok)
    throw failed(status);
  py::array_t<std::uint8_t> rgb = RgbOf(static_cast<const std::uint8_t*>(locked.Scan0), static_cast<int>(width),
                                        static_cast<int>(height), locked.Stride, 3);
  GdipBitmapUnlockBits(picture.get(), &locked);
  return rgb;
}

}  // namespace ondrel::python
