#include "render_command.h"

#include <charconv>
#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "command_table.h"
#include "console_text.h"
#include "failure_text.h"
#include "foundation/text_utils.h"
#include "host_setup.h"
#include "ondrel/measurements.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/platform/hresult_exception.h"
#include "ondrel/study_builder.h"
#include "option_numbers.h"
#include "output_file.h"
#include "pixel_warnings.h"
#include "window_picture.h"

namespace ondrel::cli {
namespace {

// Larger windows would take gigabytes of pixels for no picture anyone looks at.
constexpr int kLargestSide = 16384;

// One call of the component on the window, named by its method for the failure message.
struct Operation {
  std::string_view method;
  std::function<HRESULT(IOndrel&, HWND)> call;
};

// A measurement drawn as a user draws it: the tool, and its points in window pixels.
struct Measure {
  std::string text;  // as the command line gives it, for messages
  MeasurementsEnum tool = MEAS_LINE;
  std::vector<tagPOINT> points;
};

struct RenderOptions {
  std::string input;
  std::string output;
  USHORT frame = 0;
  int width = 512;
  int height = 512;
  bool select = false;
  bool noOverlays = false;
  bool noShutter = false;
  std::vector<Operation> operations;  // in command-line order
  bool measured = false;
  std::optional<tagPOINT> magnify;
  std::u16string encoding;  // empty: the host's own capture, by OUT's extension
  std::string displayRaw;
};

std::string Quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

std::pair<int, int> SizeOf(std::string_view text) {
  const std::optional<std::pair<int, int>> size = PairOf<int>(text, 'x');
  const auto fits = [](int side) { return side >= 1 && side <= kLargestSide; };
  if (!size || !fits(size->first) || !fits(size->second))
    throw UsageError{"--size takes WIDTHxHEIGHT in pixels, each from 1 to " + std::to_string(kLargestSide) +
                     ", like 512x512, not " + Quoted(text)};
  return *size;
}

std::pair<LONG, LONG> OffsetOf(std::string_view text) {
  const std::optional<std::pair<LONG, LONG>> offset = PairOf<LONG>(text, ',');
  if (!offset) throw UsageError{"--pan takes DX,DY in window pixels, like 10,-5, not " + Quoted(text)};
  return *offset;
}

tagPOINT PointOf(std::string_view text) {
  const std::optional<std::pair<LONG, LONG>> point = PairOf<LONG>(text, ',');
  if (!point) throw UsageError{"--magnify takes X,Y in window pixels, like 100,80, not " + Quoted(text)};
  return tagPOINT{point->first, point->second};
}

ColorPaletteEnum PaletteOf(std::string_view text) {
  if (text == "none") return COLOR_PALETTE_NONE;
  if (text == "rainbow") return COLOR_PALETTE_RAINBOW;
  if (text == "hot-iron") return COLOR_PALETTE_HOT_IRON;
  if (text == "hot-blue-metal") return COLOR_PALETTE_HOT_BLUE_METAL;
  throw UsageError{"--palette takes none, rainbow, hot-iron or hot-blue-metal, not " + Quoted(text)};
}

Measure MeasureOf(std::string_view text) {
  const std::string usage = "--measure takes line:X1,Y1:X2,Y2, ellipse:X1,Y1:X2,Y2 or angle:X1,Y1:X2,Y2:X3,Y3 in "
                            "window pixels, not " + Quoted(text);
  Measure measure{std::string(text), MEAS_LINE, {}};
  const std::size_t colon = text.find(':');
  const std::string_view kind = text.substr(0, colon);
  std::size_t count = 2;
  if (kind == "ellipse") {
    measure.tool = MEAS_ELLIPSE;
  } else if (kind == "angle") {
    measure.tool = MEAS_ANGLE;
    count = 3;
  } else if (kind != "line") {
    throw UsageError{usage};
  }
  for (std::size_t at = colon; at != std::string_view::npos;) {
    const std::size_t next = text.find(':', at + 1);
    const std::optional<std::pair<LONG, LONG>> point =
        PairOf<LONG>(text.substr(at + 1, next == std::string_view::npos ? std::string_view::npos : next - at - 1), ',');
    if (!point) throw UsageError{usage};
    measure.points.push_back(tagPOINT{point->first, point->second});
    at = next;
  }
  if (measure.points.size() != count) throw UsageError{usage};
  return measure;
}

// The gesture of the measure: press, move, release for a line or an ellipse; three clicks, each at
// the point the pointer moved to, for an angle. Throws Failure for a step that fails, naming the
// measure, and for a measure that was not made: among them one whose first press fell on an earlier
// measurement, which took hold of that one instead, as a user's press would.
void DrawMeasure(IOndrel& core, HWND window, const Measure& measure) {
  VARIANT_BOOL complete = VARIANT_FALSE;
  const auto step = [&](std::string_view method, HRESULT hr) {
    if (SUCCEEDED(hr)) return;
    const std::string description = TakeErrorDescription();
    // The one failure of a release that is not the core's own exception: two points that overlap.
    if (method == "MeasOnMouseButtonUp" && description == "The Ondrel caught an unknown error.")
      throw Failure{"--measure " + measure.text +
                        ": the points overlap on the image: each must lie further than the grip handle size "
                        "(userMeasGripHandleSize image pixels) from the others",
                    description};
    Failure failure = MethodFailure(method, hr, description);
    failure.line = "--measure " + measure.text + ": " + failure.line;
    throw failure;
  };
  const auto click = [&](tagPOINT at) {
    VARIANT_BOOL processed = VARIANT_FALSE;
    step("MeasOnMouseButtonDown", core.MeasOnMouseButtonDown(window, at, measure.tool, &processed));
    step("MeasOnMouseButtonUp", core.MeasOnMouseButtonUp(window, at, &complete));
  };
  const auto move = [&](tagPOINT at) { step("MeasOnMouseMove", core.MeasOnMouseMove(window, at)); };
  // The measurements and texts the image holds: the reader's lines before its reference lines.
  const auto count = [&] {
    platform::ComPtr<IOndrelMeasurements> reader;
    step("QueryInterface",
         core.QueryInterface(IOndrelMeasurements::kIid, reinterpret_cast<void**>(reader.GetAddressOf())));
    platform::BStr text;
    step("GetMeasurementsText", reader->GetMeasurementsText(window, text.Out()));
    std::size_t lines = 0;
    for (std::u16string_view rest = text.View(); !rest.empty();) {
      if (!rest.starts_with(u"reference ")) ++lines;
      const std::size_t end = rest.find(u'\n');
      rest = end == std::u16string_view::npos ? std::u16string_view() : rest.substr(end + 1);
    }
    return lines;
  };
  const std::size_t before = count();
  if (measure.tool == MEAS_ANGLE) {
    click(measure.points[0]);
    for (std::size_t i = 1; i < measure.points.size(); ++i) {
      move(measure.points[i]);
      click(measure.points[i]);
    }
  } else {
    VARIANT_BOOL processed = VARIANT_FALSE;
    step("MeasOnMouseButtonDown", core.MeasOnMouseButtonDown(window, measure.points[0], measure.tool, &processed));
    move(measure.points[1]);
    step("MeasOnMouseButtonUp", core.MeasOnMouseButtonUp(window, measure.points[1], &complete));
  }
  // A tool whose first press falls beside the image ends at once; its release finds nothing going on.
  if (complete != VARIANT_TRUE)
    throw Failure{"--measure " + measure.text + ": its first point is not on the image", {}};
  if (count() == before)
    throw Failure{"--measure " + measure.text +
                      ": its first point falls on an earlier measurement, which the press took hold of (as a "
                      "user's would) instead of starting a new one",
                  {}};
}

Operation RotateFlip(ImageRotationFlipEnum change) {
  return {"RotateFlipImage", [change](IOndrel& core, HWND window) { return core.RotateFlipImage(window, change); }};
}

RenderOptions ParseOptions(std::span<const std::string_view> args) {
  RenderOptions options;
  // A window and a level wait for each other; the preset is applied where the pair is complete.
  LONG width = 0;
  LONG level = 0;
  bool widthGiven = false;
  bool levelGiven = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string_view option = args[i];
    const auto value = [&]() {
      if (i + 1 == args.size()) throw UsageError{std::string(option) + " needs a value"};
      return args[++i];
    };
    if (option == "-o" || option == "--output") {
      options.output = value();
    } else if (option == "--frame") {
      const std::string_view text = value();
      const std::optional<USHORT> frame = NumberOf<USHORT>(text);
      if (!frame) throw UsageError{"--frame takes a frame number from 0 to 65535, not " + Quoted(text)};
      options.frame = *frame;
    } else if (option == "--size") {
      std::tie(options.width, options.height) = SizeOf(value());
    } else if (option == "--select") {
      options.select = true;
    } else if (option == "--no-overlays") {
      options.noOverlays = true;
    } else if (option == "--no-shutter") {
      options.noShutter = true;
    } else if (option == "--magnify") {
      options.magnify = PointOf(value());
    } else if (option == "--encoding") {
      const std::string_view text = value();
      if (text.empty()) throw UsageError{"--encoding takes a MIME type, like image/png"};
      options.encoding = ToWide(text);
    } else if (option == "--display-raw") {
      options.displayRaw = value();
      if (options.displayRaw.empty()) throw UsageError{"--display-raw takes a file name"};
    } else if (option == "--window" || option == "--level") {
      const std::string_view text = value();
      const std::optional<LONG> number = NumberOf<LONG>(text);
      if (!number) throw UsageError{std::string(option) + " takes an integer, not " + Quoted(text)};
      if (option == "--window" && *number < 1)
        throw UsageError{"--window takes a width of 1 or more, not " + Quoted(text)};
      (option == "--window" ? width : level) = *number;
      (option == "--window" ? widthGiven : levelGiven) = true;
      if (widthGiven && levelGiven) {
        options.operations.push_back({"ApplyWindowLevelPreset", [width, level](IOndrel& core, HWND window) {
                                        return core.ApplyWindowLevelPreset(window, width, level);
                                      }});
        widthGiven = levelGiven = false;
      }
    } else if (option == "--zoom") {
      const std::string_view text = value();
      const std::optional<ULONG> zoom = NumberOf<ULONG>(text);
      if (!zoom) throw UsageError{"--zoom takes a whole percentage, 0 or more, not " + Quoted(text)};
      options.operations.push_back(
          {"ZoomImage", [z = *zoom](IOndrel& core, HWND window) { return core.ZoomImage(window, z); }});
    } else if (option == "--pan") {
      const auto [dx, dy] = OffsetOf(value());
      options.operations.push_back(
          {"PanImage", [dx, dy](IOndrel& core, HWND window) { return core.PanImage(window, dx, dy); }});
    } else if (option == "--rotate") {
      const std::string_view text = value();
      if (text != "right" && text != "left")
        throw UsageError{"--rotate takes right or left, not " + Quoted(text)};
      options.operations.push_back(RotateFlip(text == "right" ? ROTATE_RIGHT : ROTATE_LEFT));
    } else if (option == "--flip") {
      const std::string_view text = value();
      if (text != "lr" && text != "ud") throw UsageError{"--flip takes lr or ud, not " + Quoted(text)};
      options.operations.push_back(RotateFlip(text == "lr" ? FLIP_LR : FLIP_UD));
    } else if (option == "--measure") {
      options.measured = true;
      options.operations.push_back({"MeasOnMouseButtonDown", [measure = MeasureOf(value())](IOndrel& core, HWND window) {
                                      DrawMeasure(core, window, measure);
                                      return S_OK;
                                    }});
    } else if (option == "--invert") {
      options.operations.push_back(
          {"InvertImage", [](IOndrel& core, HWND window) { return core.InvertImage(window); }});
    } else if (option == "--palette") {
      const ColorPaletteEnum palette = PaletteOf(value());
      options.operations.push_back({"ApplyColorPalette", [palette](IOndrel& core, HWND window) {
                                      return core.ApplyColorPalette(window, palette);
                                    }});
    } else if (option.starts_with("-")) {
      throw UsageError{"unknown option " + Quoted(option)};
    } else if (options.input.empty()) {
      options.input = option;
    } else {
      throw UsageError{"render takes one INPUT"};
    }
  }
  if (widthGiven) throw UsageError{"--window needs --level"};
  if (levelGiven) throw UsageError{"--level needs --window"};
  if (options.input.empty()) throw UsageError{"render needs an INPUT file"};
  if (options.output.empty()) throw UsageError{"render needs -o OUT.png"};
  if (options.encoding.empty() && PictureMimeType(options.output).empty())
    throw UsageError{Quoted(options.output) + ": the picture format is chosen by the extension " +
                     std::string(kPictureExtensions)};
  return options;
}

// Reports a failed method of the core on the image of `file`, naming the file; true when it failed.
bool Failed(std::string_view file, std::string_view method, HRESULT hr) {
  if (SUCCEEDED(hr)) return false;
  Report(MethodFailure(method, hr, TakeErrorDescription()), std::string(file) + ": ");
  return true;
}

struct WindowDestroyer {
  void operator()(HWND window) const { DestroyWindow(window); }
};

// GetImageCurrentPixelData of the window's image into the file, and its line on standard output.
bool WriteDisplayPixels(IOndrel& core, HWND window, IImageInfoNW* image, const RenderOptions& options) {
  platform::BStr uid;
  image->GetSopInstanceUid(uid.Out());
  SAFEARRAY* array = nullptr;
  LONG rows = 0;
  LONG columns = 0;
  VARIANT_BOOL colour = VARIANT_FALSE;
  if (Failed(options.input, "GetImageCurrentPixelData",
             core.GetImageCurrentPixelData(window, uid.Get(), static_cast<SHORT>(options.frame), &array, &rows,
                                           &columns, &colour)))
    return false;
  const std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY*)> owner(array, &SafeArrayDestroy);
  LONG upper = -1;
  SafeArrayGetUBound(array, 1, &upper);
  void* bytes = nullptr;
  SafeArrayAccessData(array, &bytes);
  const std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY*)> access(array, &SafeArrayUnaccessData);
  WriteOutputFile(options.displayRaw, bytes, static_cast<std::size_t>(upper + 1));
  std::cout << "rows=" << rows << " columns=" << columns << " colour=" << (colour == VARIANT_TRUE ? "yes" : "no")
            << "\n";
  return true;
}

// What the measures read, a line each, from the component's IOndrelMeasurements.
bool PrintMeasurements(IOndrel& core, HWND window, const RenderOptions& options) {
  platform::ComPtr<IOndrelMeasurements> measurements;
  if (Failed(options.input, "QueryInterface",
             core.QueryInterface(IOndrelMeasurements::kIid, reinterpret_cast<void**>(measurements.GetAddressOf()))))
    return false;
  platform::BStr text;
  if (Failed(options.input, "GetMeasurementsText", measurements->GetMeasurementsText(window, text.Out()))) return false;
  std::cout << ToConsole(text.ToString());
  return true;
}

}  // namespace

int RunRender(std::span<const std::string_view> args) {
  const RenderOptions options = ParseOptions(args);

  StartComponentHost();

  // Declared in this order so that the component goes first, then the image, the window and GDI+.
  const GdiplusSession gdiplus;
  if (!Started(gdiplus)) return kExitFailure;
  const std::unique_ptr<std::remove_pointer_t<HWND>, WindowDestroyer> window(
      platform::CreateHostWindow(options.width, options.height));
  if (!window) {
    std::cerr << "ondrel: the window can't be made\n";
    return kExitFailure;
  }
  const FileImage shown = ImageOfFile(options.input, options.frame);
  if (!shown.image)
    throw UsageError{NoSuchFrame(options.input, shown, "--frame takes", options.frame)};
  const platform::ComPtr<IImageInfoNW>& image = shown.image;
  WarnAboutPixels(*image.Get(), options.input);
  platform::ComPtr<IOndrel> core;
  // Each failure names the file whose image the core was working on.
  const auto failed = [&](std::string_view method, HRESULT hr) { return Failed(options.input, method, hr); };
  if (failed("CoCreateInstance", CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                                                  reinterpret_cast<void**>(core.GetAddressOf()))))
    return kExitFailure;

  if (options.noOverlays && failed("ToggleOverlaysVisibility", core->ToggleOverlaysVisibility())) return kExitFailure;
  if (options.noShutter && failed("ToggleShutter", core->ToggleShutter())) return kExitFailure;
  if (failed("RenderImage", core->RenderImage(image.Get(), window.get(), VARIANT_FALSE))) return kExitFailure;
  if (options.select && failed("SelectWindow", core->SelectWindow(window.get()))) return kExitFailure;
  for (const Operation& operation : options.operations)
    if (failed(operation.method, operation.call(*core.Get(), window.get()))) return kExitFailure;
  if (failed("Draw", core->Draw(window.get()))) return kExitFailure;
  if (options.measured && !PrintMeasurements(*core.Get(), window.get(), options)) return kExitFailure;
  if (options.magnify && failed("MagnifyingGlass", core->MagnifyingGlass(window.get(), *options.magnify)))
    return kExitFailure;
  if (!options.displayRaw.empty() && !WriteDisplayPixels(*core.Get(), window.get(), image.Get(), options))
    return kExitFailure;

  if (!options.encoding.empty())
    return Failed(options.input, "SaveImageAsFile",
                  SaveThroughCore(*core.Get(), window.get(), options.output, options.encoding))
               ? kExitFailure
               : kExitSuccess;
  WriteWindowPicture(window.get(), options.output);
  return kExitSuccess;
}

}  // namespace ondrel::cli
