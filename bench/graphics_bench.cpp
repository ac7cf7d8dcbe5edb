// The two stretches that put a picture on a viewport, beside the machine's bound for writing the same
// destination:
//   nearest/drawdib_512_to_1024     DrawDibDraw of a 512 x 512 8-bit grey DIB to 1024 x 1024 on a
//                                   window, the fast draw of every drag;
//   nearest/memcpy_1024             memcpy of 1024 x 1024 32-bit pixels, the bound;
//   bilinear/gdiplus_3000_to_1000   GdipDrawImageRectI of a 3000 x 3000 8-bit grey DIB bitmap to
//                                   1000 x 1000, the full draw;
//   bilinear/memcpy_1000            memcpy of 1000 x 1000 32-bit pixels, the bound.
// Usage: graphics_bench [benchmark flags].
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "ondrel/platform/drawdib.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"

namespace {

// A bottom-up 8-bit DIB with a grey table and a diagonal ramp of pixels.
struct GreyDib {
  explicit GreyDib(int size) : bits(static_cast<std::size_t>((size + 3) / 4 * 4) * static_cast<std::size_t>(size)) {
    info.header = {sizeof(BITMAPINFOHEADER), size, size, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
    for (int i = 0; i < 256; ++i)
      info.colors[i] = RGBQUAD{static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
    const int stride = (size + 3) / 4 * 4;
    for (int y = 0; y < size; ++y)
      for (int x = 0; x < size; ++x) bits[static_cast<std::size_t>(y * stride + x)] = static_cast<BYTE>(x + y);
  }
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info{};
  std::vector<BYTE> bits;
};

void NearestDrawDib(benchmark::State& state) {
  const GreyDib dib(512);
  const HWND window = ondrel::platform::CreateHostWindow(1024, 1024);
  const HDC dc = GetDC(window);
  const HDRAWDIB draw = DrawDibOpen();
  for (auto _ : state) {
    DrawDibDraw(draw, dc, 0, 0, 1024, 1024, const_cast<BITMAPINFOHEADER*>(&dib.info.header),
                const_cast<BYTE*>(dib.bits.data()), 0, 0, -1, -1, 0);
    benchmark::ClobberMemory();
  }
  DrawDibClose(draw);
  ReleaseDC(window, dc);
  DestroyWindow(window);
}
BENCHMARK(NearestDrawDib)->Name("nearest/drawdib_512_to_1024")->Unit(benchmark::kMillisecond);

void BilinearGdiplus(benchmark::State& state) {
  Gdiplus::GdiplusStartupInput input;
  ULONG_PTR token = 0;
  Gdiplus::GdiplusStartup(&token, &input, nullptr);
  const GreyDib dib(3000);
  Gdiplus::GpBitmap* bitmap = nullptr;
  Gdiplus::DllExports::GdipCreateBitmapFromGdiDib(reinterpret_cast<const BITMAPINFO*>(&dib.info),
                                                  const_cast<BYTE*>(dib.bits.data()), &bitmap);
  const HWND window = ondrel::platform::CreateHostWindow(1000, 1000);
  Gdiplus::GpGraphics* graphics = nullptr;
  Gdiplus::DllExports::GdipCreateFromHWND(window, &graphics);
  for (auto _ : state) {
    Gdiplus::DllExports::GdipDrawImageRectI(graphics, bitmap, 0, 0, 1000, 1000);
    benchmark::ClobberMemory();
  }
  Gdiplus::DllExports::GdipDeleteGraphics(graphics);
  Gdiplus::DllExports::GdipDisposeImage(bitmap);
  DestroyWindow(window);
  Gdiplus::GdiplusShutdown(token);
}
BENCHMARK(BilinearGdiplus)->Name("bilinear/gdiplus_3000_to_1000")->Unit(benchmark::kMillisecond);

void Copy(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0)) * static_cast<std::size_t>(state.range(0)) * 4;
  std::vector<std::uint8_t> from(bytes, 1);
  std::vector<std::uint8_t> to(bytes, 0);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Copy)->Name("nearest/memcpy_1024")->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(Copy)->Name("bilinear/memcpy_1000")->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
