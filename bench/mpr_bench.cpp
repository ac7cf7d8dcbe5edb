// The MPR's oblique image, regenerated as on every mouse move of a drag of the MPR line, on the
// 300-slice 512 x 512 CT series of bench/make_ct_series.py:
//   mpr/oblique_pixels/ondrel  the oblique image's pixels made afresh from the slices in the loader's
//                              cache (a scan line of every slice, then the depth rows between them),
//                              the line's far end moved a pixel back and forth each time: a turn of
//                              about 0.08 degrees, as the peer's 0.1
//   mpr/oblique_move/ondrel    MprOnMouseMove through the component, the line turned a step back and
//                              forth: the line drawn twice, the pixels, and the fast draw of the image
//   mpr/oblique_gather         the machine's bound: a plain gather of the oblique image's samples from
//                              the volume held as one block, by offsets worked out beforehand
// The peer, VTK's vtkImageReslice cutting the same plane out of a volume of the same shape, is timed
// by bench/mpr_vtk_peer.py in the same run of scripts/bench.
//
// Usage: mpr_bench [benchmark flags] [--data=DIR]; DIR (default /tmp/ondrel-bench-data) holds the
// series CT000001.dcm ... CT000300.dcm.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_arguments.h"
#include "ct_series.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/study_builder.h"
#include "sources/image_info_strategies.h"
#include "sources/image_loader.h"
#include "spatial/mpr_pixels.h"
#include "spatial/mpr_state.h"

namespace {

using ondrel::platform::ComPtr;

std::string data_dir = "/tmp/ondrel-bench-data";

// The series, an MPR of it, its middle slice and its oblique image each in a window.
struct Mpr {
  ComPtr<IOndrel> component;
  HWND source = ondrel::platform::CreateHostWindow(512, 512);
  HWND oblique = ondrel::platform::CreateHostWindow(724, 532);
  std::vector<ComPtr<IImageInfoNW>> slices;
  ComPtr<IImageInfoNW> obliqueImage;

  Mpr() {
    if (FAILED(CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                                reinterpret_cast<void**>(component.GetAddressOf()))))
      throw std::runtime_error("the component can't be made");
    slices = CtSeries(data_dir);
    ComPtr<ISeriesInfoNW> first;
    ComPtr<ISeriesInfoNW> second;
    ComPtr<ISeriesInfoNW> obliqueSeries;
    if (FAILED(component->GenerateMprSeries(slices[slices.size() / 2].Get(), first.GetAddressOf(),
                                            second.GetAddressOf(), obliqueSeries.GetAddressOf())))
      throw std::runtime_error("GenerateMprSeries failed");
    obliqueImage = ondrel::cli::SeriesImages(obliqueSeries.Get()).front();
    if (FAILED(component->RenderImage(slices[slices.size() / 2].Get(), source, VARIANT_FALSE)) ||
        FAILED(component->RenderImage(obliqueImage.Get(), oblique, VARIANT_FALSE)))
      throw std::runtime_error("RenderImage failed");
  }
};

Mpr& Shared() {
  static Mpr mpr;
  return mpr;
}

void ObliquePixels(benchmark::State& state) {
  Mpr& mpr = Shared();
  ImageLoader loader;
  ImageInfoWStationStrategy oblique(mpr.obliqueImage.Get());
  std::size_t bytes = spatial::GenerateMprPixels(oblique, loader).Size();  // fills the loader's cache
  PixelPoint& farEnd = spatial::Mpr().lineEnds.back();
  const PixelPoint end = farEnd;
  int step = 0;
  for (auto _ : state) {
    farEnd.y = end.y - (step++ % 2);
    ByteBlock pixels = spatial::GenerateMprPixels(oblique, loader);
    benchmark::DoNotOptimize(pixels.Data());
    bytes = pixels.Size();
  }
  farEnd = end;
  state.counters["bytes"] = static_cast<double>(bytes);
}

void ObliqueMove(benchmark::State& state) {
  Mpr& mpr = Shared();
  // The line (0, 0)-(511, 511) shown 1:1: a press on it away from its centre turns it.
  VARIANT_BOOL processed = VARIANT_FALSE;
  VARIANT_BOOL complete = VARIANT_FALSE;
  mpr.component->MprOnMouseButtonDown(mpr.source, {100, 100}, &processed);
  if (processed != VARIANT_TRUE) {
    state.SkipWithError("the press did not take the MPR line");
    return;
  }
  int step = 0;
  for (auto _ : state) {
    const LONG y = 400 + (step++ % 2) * 8;
    mpr.component->MprOnMouseMove(mpr.source, {400, y}, &processed);
  }
  mpr.component->MprOnMouseButtonUp(mpr.source, {400, 400}, &processed, &complete);
}

// The oblique image's samples gathered from a volume of the series' shape, each output sample by its
// precomputed offset: one read and one write a sample, the least any reslice does.
void ObliqueGather(benchmark::State& state) {
  constexpr int kSlices = 300;
  constexpr int kSize = 512;
  constexpr int kColumns = 724;
  constexpr int kRows = 532;
  std::vector<std::int16_t> volume(static_cast<std::size_t>(kSlices) * kSize * kSize);
  for (std::size_t i = 0; i < volume.size(); ++i) volume[i] = static_cast<std::int16_t>(i * 2654435761u >> 20);
  std::vector<std::uint32_t> offsets;
  offsets.reserve(static_cast<std::size_t>(kRows) * kColumns);
  for (int r = 0; r < kRows; ++r) {
    const int slice = std::min(kSlices - 1, (kRows - 1 - r) * kSlices / kRows);
    for (int j = 0; j < kColumns; ++j) {
      const int pixel = std::min(kSize - 1, static_cast<int>(j / std::sqrt(2.0)));
      offsets.push_back(static_cast<std::uint32_t>((slice * kSize + pixel) * kSize + pixel));
    }
  }
  std::vector<std::int16_t> output(offsets.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < offsets.size(); ++i) output[i] = volume[offsets[i]];
    benchmark::DoNotOptimize(output.data());
    benchmark::ClobberMemory();
  }
}

}  // namespace

BENCHMARK(ObliquePixels)->Name("mpr/oblique_pixels/ondrel")->Unit(benchmark::kMillisecond);
BENCHMARK(ObliqueMove)->Name("mpr/oblique_move/ondrel")->Unit(benchmark::kMillisecond);
BENCHMARK(ObliqueGather)->Name("mpr/oblique_gather")->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  if (!ReadBenchmarkArguments(argc, argv, "mpr_bench", data_dir)) return 2;
  DllRegisterServer();
  RegisterWorkstationClasses();
  const Gdiplus::GdiplusStartupInput input;
  ULONG_PTR token = 0;
  Gdiplus::GdiplusStartup(&token, &input, nullptr);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
