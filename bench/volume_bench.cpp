// The volume server's pictures of the 300-slice 512 x 512 CT series of bench/make_ct_series.py, drawn
// into a 512 x 512 window through the server's interface, as volume mode asks for them:
//   volume/drag_{surface,mip}/ondrel   one move of a rotation drag: the view turned by a pixel's travel
//                                      and the coarse picture (256 x 256 rays, samples 1.40625 mm apart)
//   volume/full_{surface,mip}/ondrel   the full picture of a turned view (512 x 512 rays, samples the
//                                      smallest spacing apart, 0.703125 mm), as on release
// Times are wall-clock: the server renders on two threads.
// The surface is the bone range 300..3000 HU, the projection -1000..3000 HU. The peer, VTK's
// vtkFixedPointVolumeRayCastMapper rendering the same volume and view at the same sampling distance,
// is timed by bench/volume_vtk_peer.py in the same run of scripts/bench. The counters give the volume's
// bytes and the process's peak resident memory, which holds one copy of it.
//
// Usage: volume_bench [benchmark flags] [--data=DIR]; DIR (default /tmp/ondrel-bench-data) holds the
// series CT000001.dcm ... CT000300.dcm.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "bench_arguments.h"
#include "ct_series.h"
#include "ondrel/module.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/study_builder.h"
#include "ondrel/volume3d.h"

namespace {

using ondrel::platform::ComPtr;

std::string data_dir = "/tmp/ondrel-bench-data";
constexpr int kWindow = 512;

struct Session {
  ComPtr<IOndrel3D> server;
  HWND window = nullptr;
  double volumeBytes = 0;

  Session() {
    const std::vector<ComPtr<IImageInfoNW>> slices = CtSeries(data_dir);
    const ComPtr<IImageInfoNW> image = slices[(slices.size() - 1) / 2];
    CoCreateInstance(CLSID_Ondrel3D, nullptr, CLSCTX_ALL, IID_IOndrel3D, reinterpret_cast<void**>(server.GetAddressOf()));
    ComPtr<ISeriesInfoNW> series;
    if (!server || FAILED(server->GenerateVolume3D(image.Get(), series.GetAddressOf(), 300, 3000))) {
      ComPtr<IErrorInfo> info;
      ondrel::platform::BStr text;
      if (GetErrorInfo(0, info.GetAddressOf()) == S_OK) info->GetDescription(text.Out());
      throw std::runtime_error("the volume server can't load the series: " +
                               std::string(text.View().begin(), text.View().end()));
    }
    USHORT rows = 0;
    image->GetRows(&rows);
    volumeBytes = static_cast<double>(slices.size()) * rows * rows * 2;
    window = ondrel::platform::CreateHostWindow(kWindow, kWindow);
    VARIANT_BOOL started = VARIANT_FALSE;
    server->StartVolume3D(window, 0xFF80FF, &started);
    if (started != VARIANT_TRUE) throw std::runtime_error("the volume view did not come up");
  }
};

Session& TheSession() {
  static Session session;
  return session;
}

void Select(Session& session, bool mip) {
  session.server->ApplyThreshold3D(nullptr, session.window, mip ? -1000 : 300, 3000,
                                   mip ? VOLUME_MODE_MIP : VOLUME_MODE_SURFACE);
}

// Moves the pointer a pixel back or forth and lets the server turn its view by it.
void Turn(Session& session, int& x) {
  x = x == kWindow / 2 ? kWindow / 2 + 1 : kWindow / 2;
  ondrel::platform::MoveHostCursor(session.window, POINT{x, kWindow / 2});
  SHORT redraw = 0;
  session.server->VolumeMouseMove3D(&redraw);
}

void Report(benchmark::State& state, const Session& session) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["volume_MB"] = session.volumeBytes / 1e6;
  state.counters["peak_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1e3;
}

void Drag(benchmark::State& state, bool mip) {
  Session& session = TheSession();
  Select(session, mip);
  int x = kWindow / 2;
  ondrel::platform::MoveHostCursor(session.window, POINT{x, kWindow / 2});
  session.server->VolumeMouseDown3D();
  session.server->SetVolumeTracking3D(VARIANT_TRUE);
  for (auto _ : state) {
    Turn(session, x);
    session.server->DrawVolume3D();
  }
  session.server->SetVolumeTracking3D(VARIANT_FALSE);
  Report(state, session);
}

void Full(benchmark::State& state, bool mip) {
  Session& session = TheSession();
  Select(session, mip);
  int x = kWindow / 2;
  session.server->VolumeMouseDown3D();
  for (auto _ : state) {
    session.server->SetVolumeTracking3D(VARIANT_TRUE);
    Turn(session, x);
    session.server->SetVolumeTracking3D(VARIANT_FALSE);  // the full picture, as on release
  }
  Report(state, session);
}

}  // namespace

BENCHMARK_CAPTURE(Drag, surface, false)->Name("volume/drag_surface/ondrel")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Drag, mip, true)->Name("volume/drag_mip/ondrel")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Full, surface, false)->Name("volume/full_surface/ondrel")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Full, mip, true)->Name("volume/full_mip/ondrel")->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
  if (!ReadBenchmarkArguments(argc, argv, "volume_bench", data_dir)) return 2;
  RegisterWorkstationClasses();
  RegisterOndrel3DClass();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
