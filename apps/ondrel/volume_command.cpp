#include "volume_command.h"

#include <cmath>
#include <iostream>
#include <string>
#include <vector>

#include "command_table.h"
#include "failure_text.h"
#include "host_setup.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/volume3d.h"
#include "option_numbers.h"
#include "window_picture.h"

namespace ondrel::cli {
namespace {

using platform::ComPtr;

struct VolumeOptions {
  double azimuth = 0.0;
  double elevation = 0.0;
  std::optional<std::pair<int, int>> threshold;
  bool mip = false;
};

double AngleOf(std::string_view option, std::string_view text) {
  const std::optional<double> angle = NumberOf<double>(text);
  if (!angle || std::abs(*angle) > 3600) {
    throw UsageError{std::string(option) + " takes degrees from -3600 to 3600, not '" + std::string(text) + "'"};
  }
  return *angle;
}

void Check(const char* method, HRESULT hr) {
  if (FAILED(hr)) throw MethodFailure(method, hr, TakeErrorDescription());
}

// A drag from the window's centre: first sideways, then up or down, the pointer put at each event.
void Drag(IOndrel& core, HWND window, int size, const VolumeOptions& options) {
  const LONG centre = size / 2;
  // The server turns half a degree a pixel; a rightward drag moves the eye to the left.
  const auto dx = static_cast<LONG>(std::lround(-options.azimuth * 2));
  const auto dy = static_cast<LONG>(std::lround(options.elevation * 2));
  VARIANT_BOOL processed = VARIANT_FALSE;
  VARIANT_BOOL complete = VARIANT_FALSE;
  const auto at = [&](LONG x, LONG y) {
    platform::MoveHostCursor(window, POINT{x, y});
    return tagPOINT{x, y};
  };
  Check("VolumeOnMouseButtonDown", core.VolumeOnMouseButtonDown(window, at(centre, centre), &processed));
  if (processed != VARIANT_TRUE) throw Failure{"the volume image did not take the mouse", {}};
  Check("VolumeOnMouseMove", core.VolumeOnMouseMove(window, at(centre + dx, centre), &processed));
  Check("VolumeOnMouseMove", core.VolumeOnMouseMove(window, at(centre + dx, centre + dy), &processed));
  Check("VolumeOnMouseButtonUp", core.VolumeOnMouseButtonUp(window, at(centre + dx, centre + dy), &processed, &complete));
}

}  // namespace

int RunVolume(std::span<const std::string_view> args) {
  VolumeOptions options;
  std::vector<std::string_view> rest;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    const bool valued = arg == "--azimuth" || arg == "--elevation" || arg == "--threshold";
    if (valued && i + 1 == args.size()) throw UsageError{std::string(arg) + " needs a value"};
    if (arg == "--azimuth") {
      options.azimuth = AngleOf(arg, args[++i]);
    } else if (arg == "--elevation") {
      options.elevation = AngleOf(arg, args[++i]);
    } else if (arg == "--threshold") {
      options.threshold = PairOf<int>(args[++i], ',');
      if (!options.threshold) {
        throw UsageError{"--threshold takes MIN,MAX, two whole numbers, like 300,3000, not '" + std::string(args[i]) +
                         "'"};
      }
    } else if (arg == "--mip") {
      options.mip = true;
    } else {
      rest.push_back(arg);
    }
  }
  const auto [input, output] = ParseInputAndOutput(rest, "volume", "FILE|DIR", "OUT.png");
  const auto [low, high] = options.threshold.value_or(options.mip ? std::pair{-1000, 3000} : std::pair{300, 3000});

  StartComponentHost();
  const GdiplusSession gdiplus;
  if (!Started(gdiplus)) return kExitFailure;
  const std::vector<ComPtr<IImageInfoNW>> stack = LargestSeries(input);

  const ComPtr<IOndrel> core = MakeObject<IOndrel>(CLSID_OndrelImpl);
  ComPtr<ISeriesInfoNW> volume;
  Check("GenerateVolumeSeries",
        core->GenerateVolumeSeries(stack[stack.size() / 2].Get(), volume.GetAddressOf(), low, high));
  const ComPtr<IImageInfoNW> image = SeriesImages(volume.Get()).front();
  USHORT size = 0;
  image->GetRows(&size);
  const HWND window = platform::CreateHostWindow(size, size);
  try {
    Check("RenderImage", core->RenderImage(image.Get(), window, VARIANT_FALSE));
    VARIANT_BOOL started = VARIANT_FALSE;
    Check("StartVolumeMode", core->StartVolumeMode(window, &started));
    if (started != VARIANT_TRUE) throw Failure{"the volume view did not come up", {}};
    if (options.mip) Check("VolumeApplyThreshold", core->VolumeApplyThreshold(image.Get(), window, low, high, VOLUME_MODE_MIP));
    Drag(*core.Get(), window, size, options);
    WriteWindowPicture(window, output);
  } catch (...) {
    core->EndVolumeMode();
    DestroyWindow(window);
    throw;
  }
  Check("EndVolumeMode", core->EndVolumeMode());
  DestroyWindow(window);
  std::cout << "wrote " << output << ": " << size << "x" << size << "\n";
  return kExitSuccess;
}

}  // namespace ondrel::cli
