// The render path through the component's interface, beside DCMTK's DicomImage doing the same work
// in the same run:
//   render/<case>/wl_lut/ondrel      WindowLevelImage on a window resized to nothing: the LUT alone
//   render/<case>/wl_drag/ondrel     WindowLevelImage: the LUT and a fast draw into the window
//   render/<case>/wl_drag/dcmtk      setWindow + getOutputData(8), DCMTK's LUT step
//   render/<case>/lut_gather         the machine's bound: a plain table lookup of every stored value
//   render/<case>/memcpy             the machine's bound: copying the stored values
//   render/<case>/full_draw/ondrel   Draw: the full draw, stretching the display buffer into the window
//   render/<case>/full_draw/dcmtk    createScaledImage to the window's size + getOutputData(8)
//   render/<case>/first/ondrel       RenderImage of a file not yet loaded (parse, copy, LUT, full
//                                    draw), then UnloadImage, outside the timing, to forget it
//   render/<case>/first/dcmtk        DicomImage of the file + setMinMaxWindow + getOutputData(8), at
//                                    the image's size
//   render/<case>/first/dcmtk_scaled the same with createScaledImage to the window's size, the work
//                                    Ondrel's full draw does
//   render/<case>/zoom_drag/ondrel   ZoomImageDynamically: a fast draw at a new zoom
//   render/<case>/meas_move/ondrel   MeasOnMouseMove while a line is drawn: its rubber band erased and
//                                    drawn again by exclusive-or, without a repaint of the image
//   render/<case>/meas_move_ellipse/ondrel  the same while an ellipse is drawn
// Cases: ct, a 512 x 512 16-bit CT slice into a 1024 x 1024 window; cr, a 3000 x 3000 12-bit
// radiograph into 1000 x 1000.
//
// Usage: render_bench [benchmark flags] [--data=DIR]; DIR (default /tmp/ondrel-bench-data) holds
// CT000001.dcm (bench/make_ct_series.py) and CR3000.dcm (bench/make_cr_image.py).
#include <benchmark/benchmark.h>

#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmimgle/dcmimage.h>

#include <cstdint>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_arguments.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/study_builder.h"

namespace {

using ondrel::platform::ComPtr;

struct Case {
  std::string name;
  std::string file;
  int window = 0;  // square window size
  ComPtr<IImageInfoNW> image;
};

ComPtr<IOndrel> MakeComponent() {
  ComPtr<IOndrel> component;
  if (FAILED(CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                              reinterpret_cast<void**>(component.GetAddressOf()))))
    throw std::runtime_error("the component can't be made");
  return component;
}

ComPtr<IImageInfoNW> ImageOf(const std::string& file) {
  const ondrel::StudyGraph graph = ondrel::BuildStudies({file});
  if (graph.series.empty()) throw std::runtime_error(file + ": no image (run the generators in bench/)");
  SAFEARRAY* images = nullptr;
  graph.series[0]->GetSeriesImages(&images);
  LONG first = 0;
  ComPtr<IUnknown> element;
  SafeArrayGetElement(images, &first, element.GetAddressOf());
  SafeArrayDestroy(images);
  ComPtr<IImageInfoNW> image;
  element.As(&image);
  return image;
}

// A window showing the case's image through a component that lives as long as the fixture.
struct Shown {
  explicit Shown(const Case& c) : component(MakeComponent()), window(ondrel::platform::CreateHostWindow(c.window, c.window)) {
    if (FAILED(component->RenderImage(c.image.Get(), window, VARIANT_FALSE)))
      throw std::runtime_error(c.file + ": RenderImage failed");
  }
  ~Shown() {
    component.Reset();
    DestroyWindow(window);
  }
  ComPtr<IOndrel> component;
  HWND window;
};

void WlDragOndrel(benchmark::State& state, const Case* c) {
  Shown shown(*c);
  LONG direction = 1;
  for (auto _ : state) {
    shown.component->WindowLevelImage(shown.window, direction, 0);
    direction = -direction;
  }
}

void WlLutOndrel(benchmark::State& state, const Case* c) {
  Shown shown(*c);
  ondrel::platform::ResizeHostWindow(shown.window, 0, 0);
  LONG direction = 1;
  for (auto _ : state) {
    shown.component->WindowLevelImage(shown.window, direction, 0);
    direction = -direction;
  }
}

// The stored values of the case's image as DCMTK reads them, for the bounds.
std::vector<std::uint16_t> StoredValues(const Case& c) {
  DcmFileFormat file;
  const Uint16* values = nullptr;
  unsigned long count = 0;
  if (file.loadFile(c.file.c_str()).bad() ||
      file.getDataset()->findAndGetUint16Array(DCM_PixelData, values, &count).bad())
    throw std::runtime_error(c.file + ": no 16-bit pixel data");
  return {values, values + count};
}

void LutGather(benchmark::State& state, const Case* c) {
  const std::vector<std::uint16_t> values = StoredValues(*c);
  std::vector<std::uint8_t> table(65536);
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<std::uint8_t>(i >> 4);
  std::vector<std::uint8_t> out(values.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < values.size(); ++i) out[i] = table[values[i]];
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
}

void Memcpy(benchmark::State& state, const Case* c) {
  const std::vector<std::uint16_t> values = StoredValues(*c);
  std::vector<std::uint16_t> out(values.size());
  for (auto _ : state) {
    std::memcpy(out.data(), values.data(), values.size() * sizeof(std::uint16_t));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
}

void WlDragDcmtk(benchmark::State& state, const Case* c) {
  DicomImage image(c->file.c_str());
  if (image.getStatus() != EIS_Normal) throw std::runtime_error(c->file + ": DCMTK can't read it");
  double centre = 0;
  double width = 0;
  image.setMinMaxWindow();
  image.getWindow(centre, width);
  double step = 1;
  for (auto _ : state) {
    image.setWindow(centre, width + step);
    benchmark::DoNotOptimize(image.getOutputData(8));
    step = -step;
  }
}

void FullDrawOndrel(benchmark::State& state, const Case* c) {
  Shown shown(*c);
  for (auto _ : state) shown.component->Draw(shown.window);
}

void FullDrawDcmtk(benchmark::State& state, const Case* c) {
  DicomImage image(c->file.c_str());
  image.setMinMaxWindow();
  for (auto _ : state) {
    DicomImage* scaled = image.createScaledImage(static_cast<unsigned long>(c->window),
                                                 static_cast<unsigned long>(c->window), 1);
    benchmark::DoNotOptimize(scaled->getOutputData(8));
    delete scaled;
  }
}

void FirstOndrel(benchmark::State& state, const Case* c) {
  const HWND window = ondrel::platform::CreateHostWindow(c->window, c->window);
  const ComPtr<IOndrel> component = MakeComponent();
  BSTR uid = nullptr;
  c->image->GetSopInstanceUid(&uid);
  for (auto _ : state) {
    if (FAILED(component->RenderImage(c->image.Get(), window, VARIANT_FALSE)))
      throw std::runtime_error(c->file + ": RenderImage failed");
    state.PauseTiming();
    component->UnloadImage(uid);
    state.ResumeTiming();
  }
  SysFreeString(uid);
  DestroyWindow(window);
}

void FirstDcmtk(benchmark::State& state, const Case* c) {
  for (auto _ : state) {
    DicomImage image(c->file.c_str());
    image.setMinMaxWindow();
    benchmark::DoNotOptimize(image.getOutputData(8));
  }
}

void FirstDcmtkScaled(benchmark::State& state, const Case* c) {
  for (auto _ : state) {
    DicomImage image(c->file.c_str());
    image.setMinMaxWindow();
    DicomImage* scaled = image.createScaledImage(static_cast<unsigned long>(c->window),
                                                 static_cast<unsigned long>(c->window), 1);
    benchmark::DoNotOptimize(scaled->getOutputData(8));
    delete scaled;
  }
}

void ZoomDragOndrel(benchmark::State& state, const Case* c) {
  Shown shown(*c);
  LONG direction = 1;
  for (auto _ : state) {
    shown.component->ZoomImageDynamically(shown.window, 0, direction);
    direction = -direction;
  }
}

// A tool being drawn from a quarter of the window to points near three quarters, moving back and forth
// as a hand does.
void MeasMoveOndrel(benchmark::State& state, const Case* c, MeasurementsEnum tool) {
  Shown shown(*c);
  const LONG quarter = c->window / 4;
  VARIANT_BOOL processed = VARIANT_FALSE;
  if (FAILED(shown.component->MeasOnMouseButtonDown(shown.window, tagPOINT{quarter, quarter}, tool, &processed)) ||
      processed != VARIANT_TRUE)
    throw std::runtime_error(c->file + ": MeasOnMouseButtonDown failed");
  LONG offset = 0;
  for (auto _ : state) {
    shown.component->MeasOnMouseMove(shown.window, tagPOINT{3 * quarter + offset, 3 * quarter - offset});
    offset = offset == 0 ? quarter / 2 : 0;
  }
}

void MeasMoveLineOndrel(benchmark::State& state, const Case* c) { MeasMoveOndrel(state, c, MEAS_LINE); }
void MeasMoveEllipseOndrel(benchmark::State& state, const Case* c) { MeasMoveOndrel(state, c, MEAS_ELLIPSE); }

}  // namespace

int main(int argc, char** argv) {
  std::string folder = "/tmp/ondrel-bench-data";
  if (!ReadBenchmarkArguments(argc, argv, "render_bench", folder)) return 2;

  DllRegisterServer();
  RegisterWorkstationClasses();
  ULONG_PTR token = 0;
  const Gdiplus::GdiplusStartupInput input;
  Gdiplus::GdiplusStartup(&token, &input, nullptr);

  static Case cases[] = {{"ct", folder + "/CT000001.dcm", 1024, {}}, {"cr", folder + "/CR3000.dcm", 1000, {}}};
  try {
    for (Case& c : cases) c.image = ImageOf(c.file);
  } catch (const std::exception& failure) {
    std::cerr << "render_bench: " << failure.what() << "\n";
    return 1;
  }
  for (const Case& c : cases) {
    const std::string prefix = "render/" + c.name + "/";
    const auto add = [&](const std::string& name, void (*run)(benchmark::State&, const Case*)) {
      benchmark::RegisterBenchmark((prefix + name).c_str(), run, &c)->Unit(benchmark::kMillisecond);
    };
    add("wl_lut/ondrel", WlLutOndrel);
    add("wl_drag/ondrel", WlDragOndrel);
    add("wl_drag/dcmtk", WlDragDcmtk);
    add("lut_gather", LutGather);
    add("memcpy", Memcpy);
    add("full_draw/ondrel", FullDrawOndrel);
    add("full_draw/dcmtk", FullDrawDcmtk);
    add("first/ondrel", FirstOndrel);
    add("first/dcmtk", FirstDcmtk);
    add("first/dcmtk_scaled", FirstDcmtkScaled);
    add("zoom_drag/ondrel", ZoomDragOndrel);
    add("meas_move/ondrel", MeasMoveLineOndrel);
    add("meas_move_ellipse/ondrel", MeasMoveEllipseOndrel);
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  for (Case& c : cases) c.image.Reset();
  Gdiplus::GdiplusShutdown(token);
  return 0;
}
