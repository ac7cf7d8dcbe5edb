#include "script_methods.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <utility>

namespace ondrel::cli {
namespace {

using K = Kind;
using V = std::span<Value>;

constexpr std::array<Enumerator, 4> kPalettes{{{"COLOR_PALETTE_NONE", 0},
                                               {"COLOR_PALETTE_RAINBOW", 1},
                                               {"COLOR_PALETTE_HOT_IRON", 2},
                                               {"COLOR_PALETTE_HOT_BLUE_METAL", 3}}};
constexpr std::array<Enumerator, 5> kRotationFlips{
    {{"ROT_FLIP_NONE", 0}, {"ROTATE_RIGHT", 1}, {"ROTATE_LEFT", 2}, {"FLIP_UD", 3}, {"FLIP_LR", 4}}};
constexpr std::array<Enumerator, 10> kMeasurements{{{"MEAS_NONE", 0},
                                                    {"MEAS_LINE", 1},
                                                    {"MEAS_ELLIPSE", 2},
                                                    {"MEAS_ANGLE", 3},
                                                    {"MEAS_ARROW", 4},
                                                    {"MEAS_TEXT", 5},
                                                    {"MEAS_DELETE", 6},
                                                    {"MEAS_DELETE_ALL", 7},
                                                    {"MEAS_EDIT", 8},
                                                    {"MEAS_CALIBRATION", 9}}};
constexpr std::array<Enumerator, 3> kReferenceLines{
    {{"REFERENCE_LINE_OFF", 0}, {"REFERENCE_LINE_CURRENT_IMAGE", 1}, {"REFERENCE_LINE_CURRENT_SERIES", 2}}};
constexpr std::array<Enumerator, 3> kSynchronize{
    {{"SYNCH_SERIES_OFF", 0}, {"SYNCH_SERIES_AUTO", 1}, {"SYNCH_SERIES_MANUAL", 2}}};
constexpr std::array<Enumerator, 4> kMprModes{
    {{"MPR_MODE_NONE", 0}, {"MPR_MODE_GENERATED", 1}, {"MPR_MODE_TRANSLATION", 2}, {"MPR_MODE_ROTATION", 3}}};
constexpr std::array<Enumerator, 4> kMipModes{
    {{"MIP_MODE_NONE", 0}, {"MIP_MODE_MAXIP", 1}, {"MIP_MODE_MINIP", 2}, {"MIP_MODE_TRANSLATION", 16}}};

std::string_view KindName(Kind kind) {
  switch (kind) {
    case K::Window: return "window";
    case K::Image: return "image";
    case K::MediaImage: return "media-image";
    case K::Long: return "long";
    case K::ULong: return "ulong";
    case K::Short: return "short";
    case K::Double: return "number";
    case K::Text: return "\"text\"";
    case K::Bool: return "bool";
    case K::Point: return "x,y";
    case K::Palette: return "palette";
    case K::RotationFlip: return "rotation-flip";
    case K::Measurement: return "measurement";
    case K::ReferenceLines: return "reference-lines";
    case K::Synchronize: return "synchronize";
    case K::MipMode: return "mip-mode";
    case K::OutBool: return "?bool";
    case K::OutLong: return "?long";
    case K::OutULong: return "?ulong";
    case K::OutPalette: return "?palette";
    case K::OutReferenceLines: return "?reference-lines";
    case K::OutSynchronize: return "?synchronize";
    case K::OutMprMode: return "?mpr-mode";
    case K::OutMipMode: return "?mip-mode";
    case K::OutSeries: return "?series";
    case K::OutBitmap: return "?bitmap";
    case K::OutBytes: return "?bytes";
    case K::OutText: return "?text";
  }
  return "?";
}

template <class Enum>
Enum* OutEnum(Value& value) {
  return value.null ? nullptr : reinterpret_cast<Enum*>(&value.outEnum);
}

// The mouse methods of the MPR, MIP and volume tools share their shapes.
const std::vector<Kind> kMouse{K::Window, K::Point, K::OutBool};
const std::vector<Kind> kMouseUp{K::Window, K::Point, K::OutBool, K::OutBool};
const std::vector<Kind> kDoubleClick{K::Window, K::OutBool};

template <class Row>
const Row* FindRow(const std::vector<Row>& rows, std::string_view name) {
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const Row& row) { return row.name == name; });
  return found == rows.end() ? nullptr : &*found;
}

// The methods both components have. IOndrel and IOndrelDicomDir declare them with the same names and
// parameters, so each row is written once and made for either interface. In IOndrelDicomDir's slot
// order, which follows its RenderImage.
template <class I>
const std::vector<MethodOf<I>>& SharedRows() {
  static const std::vector<MethodOf<I>> rows = {
      {"Draw", {K::Window}, [](I& o, V v) { return o.Draw(v[0].window); }},
      {"SelectWindow", {K::Window}, [](I& o, V v) { return o.SelectWindow(v[0].window); }},
      {"UnloadImage", {K::Text}, [](I& o, V v) { return o.UnloadImage(v[0].text.Get()); }},
      {"PanImage", {K::Window, K::Long, K::Long},
       [](I& o, V v) { return o.PanImage(v[0].window, v[1].number, v[2].number); }},
      {"WindowLevelImage", {K::Window, K::Long, K::Long},
       [](I& o, V v) { return o.WindowLevelImage(v[0].window, v[1].number, v[2].number); }},
      {"MagnifyingGlass", {K::Window, K::Point},
       [](I& o, V v) { return o.MagnifyingGlass(v[0].window, v[1].point); }},
      {"ApplyWindowLevelPreset", {K::Window, K::Long, K::Long},
       [](I& o, V v) { return o.ApplyWindowLevelPreset(v[0].window, v[1].number, v[2].number); }},
      {"InvertImage", {K::Window}, [](I& o, V v) { return o.InvertImage(v[0].window); }},
      {"ApplyColorPalette", {K::Window, K::Palette},
       [](I& o, V v) { return o.ApplyColorPalette(v[0].window, static_cast<ColorPaletteEnum>(v[1].enumeration)); }},
      {"GetColorPaletteMode", {K::Window, K::OutPalette},
       [](I& o, V v) { return o.GetColorPaletteMode(v[0].window, OutEnum<ColorPaletteEnum>(v[1])); }},
      {"ZoomImage", {K::Window, K::ULong},
       [](I& o, V v) { return o.ZoomImage(v[0].window, static_cast<ULONG>(v[1].number)); }},
      {"ZoomImageDynamically", {K::Window, K::Long, K::Long},
       [](I& o, V v) { return o.ZoomImageDynamically(v[0].window, v[1].number, v[2].number); }},
      {"GetCurrentImageZoom", {K::Window, K::OutULong},
       [](I& o, V v) { return o.GetCurrentImageZoom(v[0].window, v[1].Out(v[1].outULong)); }},
      {"RotateFlipImage", {K::Window, K::RotationFlip},
       [](I& o, V v) {
         return o.RotateFlipImage(v[0].window, static_cast<ImageRotationFlipEnum>(v[1].enumeration));
       }},
      {"EndInteractiveTool", {K::Window}, [](I& o, V v) { return o.EndInteractiveTool(v[0].window); }},
      {"ResetImage", {K::Text, K::Window}, [](I& o, V v) { return o.ResetImage(v[0].text.Get(), v[1].window); }},
      {"ToggleOverlaysVisibility", {}, [](I& o, V) { return o.ToggleOverlaysVisibility(); }},
      {"AreOverlaysVisible", {K::OutBool}, [](I& o, V v) { return o.AreOverlaysVisible(v[0].Out(v[0].outFlag)); }},
      {"ToggleShutter", {}, [](I& o, V) { return o.ToggleShutter(); }},
      {"IsShutterApplied", {K::OutBool}, [](I& o, V v) { return o.IsShutterApplied(v[0].Out(v[0].outFlag)); }},
      {"MeasOnMouseButtonDown", {K::Window, K::Point, K::Measurement, K::OutBool},
       [](I& o, V v) {
         return o.MeasOnMouseButtonDown(v[0].window, v[1].point, static_cast<MeasurementsEnum>(v[2].enumeration),
                                        v[3].Out(v[3].outFlag));
       }},
      {"MeasOnMouseMove", {K::Window, K::Point}, [](I& o, V v) { return o.MeasOnMouseMove(v[0].window, v[1].point); }},
      {"MeasOnMouseButtonUp", {K::Window, K::Point, K::OutBool},
       [](I& o, V v) { return o.MeasOnMouseButtonUp(v[0].window, v[1].point, v[2].Out(v[2].outFlag)); }},
      {"MeasOnDoubleClick", {K::Window}, [](I& o, V v) { return o.MeasOnDoubleClick(v[0].window); }},
      {"DeleteSelectedMeasurement", {K::Window}, [](I& o, V v) { return o.DeleteSelectedMeasurement(v[0].window); }},
      {"DeleteAllMeasurements", {K::Window}, [](I& o, V v) { return o.DeleteAllMeasurements(v[0].window); }},
      {"ToggleMeasurementsVisibility", {K::Window},
       [](I& o, V v) { return o.ToggleMeasurementsVisibility(v[0].window); }},
      {"AreMeasurementsVisible", {K::Window, K::OutBool},
       [](I& o, V v) { return o.AreMeasurementsVisible(v[0].window, v[1].Out(v[1].outFlag)); }},
      {"MeasEndInteraction", {K::Window}, [](I& o, V v) { return o.MeasEndInteraction(v[0].window); }},
      {"Calibrate", {K::Window, K::Bool, K::Double, K::Bool, K::OutBool},
       [](I& o, V v) { return o.Calibrate(v[0].window, v[1].flag, v[2].real, v[3].flag, v[4].Out(v[4].outFlag)); }},
      {"InitializeTrace", {K::Text, K::Long},
       [](I& o, V v) { return o.InitializeTrace(v[0].text.Get(), v[1].number); }},
  };
  return rows;
}

// The shared row of a method, for IOndrel's table, which interleaves them with its own.
const Method& Shared(std::string_view name) {
  const Method* row = FindRow(SharedRows<IOndrel>(), name);
  if (row == nullptr) throw std::logic_error("no shared script method " + std::string(name));
  return *row;
}

const std::vector<Method>& Table() {
  static const std::vector<Method> methods = {
      {"RenderImage", {K::Image, K::Window, K::Bool},
       [](IOndrel& o, V v) { return o.RenderImage(v[0].image, v[1].window, v[2].flag); }},
      {"RenderConsultImage", {K::Window, K::Window, K::Image},
       [](IOndrel& o, V v) { return o.RenderConsultImage(v[0].window, v[1].window, v[2].image); }},
      Shared("Draw"),
      Shared("SelectWindow"),
      {"ReleaseWindow", {K::Window}, [](IOndrel& o, V v) { return o.ReleaseWindow(v[0].window); }},
      Shared("UnloadImage"),
      Shared("PanImage"),
      Shared("MagnifyingGlass"),
      Shared("WindowLevelImage"),
      Shared("ApplyWindowLevelPreset"),
      Shared("InvertImage"),
      Shared("ApplyColorPalette"),
      Shared("GetColorPaletteMode"),
      Shared("ZoomImage"),
      Shared("ZoomImageDynamically"),
      Shared("GetCurrentImageZoom"),
      Shared("RotateFlipImage"),
      Shared("EndInteractiveTool"),
      Shared("ResetImage"),
      {"SaveImageAsFile", {K::Window, K::Text, K::Text},
       [](IOndrel& o, V v) { return o.SaveImageAsFile(v[0].window, v[1].text.Get(), v[2].text.Get()); }},
      {"SaveImageAsDICOMFile", {K::Window, K::Text, K::Image},
       [](IOndrel& o, V v) { return o.SaveImageAsDICOMFile(v[0].window, v[1].text.Get(), v[2].image); }},
      {"SaveConsultImage", {K::Window, K::Image},
       [](IOndrel& o, V v) { return o.SaveConsultImage(v[0].window, v[1].image); }},
      {"ImportImageAsDICOMFile", {K::Text, K::Image},
       [](IOndrel& o, V v) { return o.ImportImageAsDICOMFile(v[0].text.Get(), v[1].image); }},
      Shared("ToggleOverlaysVisibility"),
      Shared("AreOverlaysVisible"),
      Shared("ToggleShutter"),
      Shared("IsShutterApplied"),
      {"GetImageHBITMAP", {K::Window, K::Long, K::Long, K::Long, K::Long, K::OutBitmap},
       [](IOndrel& o, V v) {
         return o.GetImageHBITMAP(v[0].window, v[1].number, v[2].number, v[3].number, v[4].number,
                                  v[5].Out(v[5].outBitmap));
       }},
      {"ReleaseHBITMAP", {K::Window}, [](IOndrel& o, V v) { return o.ReleaseHBITMAP(v[0].window); }},
      {"GetImageCurrentPixelData", {K::Window, K::Text, K::Short, K::OutBytes, K::OutLong, K::OutLong, K::OutBool},
       [](IOndrel& o, V v) {
         return o.GetImageCurrentPixelData(v[0].window, v[1].text.Get(), static_cast<SHORT>(v[2].number),
                                           v[3].Out(v[3].outBytes), v[4].Out(v[4].outLong), v[5].Out(v[5].outLong),
                                           v[6].Out(v[6].outFlag));
       }},
      Shared("MeasOnMouseButtonDown"),
      Shared("MeasOnMouseMove"),
      Shared("MeasOnMouseButtonUp"),
      Shared("MeasOnDoubleClick"),
      Shared("DeleteSelectedMeasurement"),
      Shared("DeleteAllMeasurements"),
      Shared("ToggleMeasurementsVisibility"),
      Shared("AreMeasurementsVisible"),
      Shared("MeasEndInteraction"),
      Shared("Calibrate"),
      {"SetReferenceLinesMode", {K::ReferenceLines},
       [](IOndrel& o, V v) { return o.SetReferenceLinesMode(static_cast<ReferenceLinesEnum>(v[0].enumeration)); }},
      {"GetReferenceLinesMode", {K::OutReferenceLines},
       [](IOndrel& o, V v) { return o.GetReferenceLinesMode(OutEnum<ReferenceLinesEnum>(v[0])); }},
      {"CalculateReferenceLines", {K::Window, K::Window},
       [](IOndrel& o, V v) { return o.CalculateReferenceLines(v[0].window, v[1].window); }},
      {"SetSynchronizeSeriesMode", {K::Synchronize},
       [](IOndrel& o, V v) {
         return o.SetSynchronizeSeriesMode(static_cast<SynchronizeSeriesEnum>(v[0].enumeration));
       }},
      {"GetSynchronizeSeriesMode", {K::OutSynchronize},
       [](IOndrel& o, V v) { return o.GetSynchronizeSeriesMode(OutEnum<SynchronizeSeriesEnum>(v[0])); }},
      {"SynchronizeSeries", {K::Window, K::Window, K::Bool},
       [](IOndrel& o, V v) { return o.SynchronizeSeries(v[0].window, v[1].window, v[2].flag); }},
      {"CalculateSynchronizeSeriesOffset", {K::Window, K::Window},
       [](IOndrel& o, V v) { return o.CalculateSynchronizeSeriesOffset(v[0].window, v[1].window); }},
      {"GenerateMprSeries", {K::Image, K::OutSeries, K::OutSeries, K::OutSeries},
       [](IOndrel& o, V v) {
         return o.GenerateMprSeries(v[0].image, v[1].Out(v[1].outSeries), v[2].Out(v[2].outSeries),
                                    v[3].Out(v[3].outSeries));
       }},
      {"SaveMprSeries", {K::Text, K::Text, K::Text},
       [](IOndrel& o, V v) { return o.SaveMprSeries(v[0].text.Get(), v[1].text.Get(), v[2].text.Get()); }},
      {"EndMprMode", {}, [](IOndrel& o, V) { return o.EndMprMode(); }},
      {"GetMprMode", {K::OutMprMode}, [](IOndrel& o, V v) { return o.GetMprMode(OutEnum<MprOperationsEnum>(v[0])); }},
      {"MprOnMouseButtonDown", kMouse,
       [](IOndrel& o, V v) { return o.MprOnMouseButtonDown(v[0].window, v[1].point, v[2].Out(v[2].outFlag)); }},
      {"MprOnMouseMove", kMouse,
       [](IOndrel& o, V v) { return o.MprOnMouseMove(v[0].window, v[1].point, v[2].Out(v[2].outFlag)); }},
      {"MprOnMouseButtonUp", kMouseUp,
       [](IOndrel& o, V v) {
         return o.MprOnMouseButtonUp(v[0].window, v[1].point, v[2].Out(v[2].outFlag), v[3].Out(v[3].outFlag));
       }},
      {"MprOnDoubleClick", kDoubleClick,
       [](IOndrel& o, V v) { return o.MprOnDoubleClick(v[0].window, v[1].Out(v[1].outFlag)); }},
      {"GenerateMipSeries", {K::Image, K::OutSeries},
       [](IOndrel& o, V v) { return o.GenerateMipSeries(v[0].image, v[1].Out(v[1].outSeries)); }},
      {"EndMipMode", {}, [](IOndrel& o, V) { return o.EndMipMode(); }},
      {"GetMipMode", {K::OutMipMode}, [](IOndrel& o, V v) { return o.GetMipMode(OutEnum<MipOperationsEnum>(v[0])); }},
      {"SetMipMode", {K::MipMode},
       [](IOndrel& o, V v) { return o.SetMipMode(static_cast<MipOperationsEnum>(v[0].enumeration)); }},
      {"MipOnMouseButtonDown", kMouse,
       [](IOndrel& o, V v) { return o.MipOnMouseButtonDown(v[0].window, v[1].point, v[2].Out(v[2].outFlag)); }},
      {"MipOnMouseMove", kMouse,
       [](IOndrel& o, V v) { return o.MipOnMouseMove(v[0].window, v[1].point, v[2].Out(v[2].outFlag)); }},
      {"MipOnMouseButtonUp", kMouseUp,
       [](IOndrel& o, V v) {
         return o.MipOnMouseButtonUp(v[0].window, v[1].point, v[2].Out(v[2].outFlag), v[3].Out(v[3].outFlag));
       }},
      {"MipOnDoubleClick", kDoubleClick,
       [](IOndrel& o, V v) { return o.MipOnDoubleClick(v[0].window, v[1].Out(v[1].outFlag)); }},
      {"MipRotate", {K::Window, K::Long, K::Long},
       [](IOndrel& o, V v) { return o.MipRotate(v[0].window, v[1].number, v[2].number); }},
      {"GenerateVolumeSeries", {K::Image, K::OutSeries, K::Long, K::Long},
       [](IOndrel& o, V v) {
         return o.GenerateVolumeSeries(v[0].image, v[1].Out(v[1].outSeries), v[2].number, v[3].number);
       }},
      {"StartVolumeMode", {K::Window, K::OutBool},
       [](IOndrel& o, V v) { return o.StartVolumeMode(v[0].window, v[1].Out(v[1].outFlag)); }},
      {"EndVolumeMode", {}, [](IOndrel& o, V) { return o.EndVolumeMode(); }},
      {"GetVolumeMode", {K::OutLong}, [](IOndrel& o, V v) { return o.GetVolumeMode(v[0].Out(v[0].outLong)); }},
      {"VolumeApplyThreshold", {K::Image, K::Window, K::Long, K::Long, K::Short},
       [](IOndrel& o, V v) {
         return o.VolumeApplyThreshold(v[0].image, v[1].window, v[2].number, v[3].number,
                                       static_cast<SHORT>(v[4].number));
       }},
      {"VolumeOnMouseButtonDown", kMouse,
       [](IOndrel& o, V v) { return o.VolumeOnMouseButtonDown(v[0].window, v[1].point, v[2].Out(v[2].outFlag)); }},
      {"VolumeOnMouseMove", kMouse,
       [](IOndrel& o, V v) { return o.VolumeOnMouseMove(v[0].window, v[1].point, v[2].Out(v[2].outFlag)); }},
      {"VolumeOnMouseButtonUp", kMouseUp,
       [](IOndrel& o, V v) {
         return o.VolumeOnMouseButtonUp(v[0].window, v[1].point, v[2].Out(v[2].outFlag), v[3].Out(v[3].outFlag));
       }},
      {"VolumeOnDoubleClick", kDoubleClick,
       [](IOndrel& o, V v) { return o.VolumeOnDoubleClick(v[0].window, v[1].Out(v[1].outFlag)); }},
      Shared("InitializeTrace"),
  };
  return methods;
}

const std::vector<MediaMethod>& MediaTable() {
  static const std::vector<MediaMethod> methods = [] {
    std::vector<MediaMethod> rows = {
        {"RenderImage", {K::MediaImage, K::Window, K::Bool},
         [](IOndrelDicomDir& o, V v) { return o.RenderImage(v[0].mediaImage, v[1].window, v[2].flag); }}};
    const auto& shared = SharedRows<IOndrelDicomDir>();
    rows.insert(rows.end(), shared.begin(), shared.end());
    return rows;
  }();
  return methods;
}

const std::vector<MeasurementsMethod>& MeasurementsTable() {
  static const std::vector<MeasurementsMethod> methods = {
      {"GetMeasurementsText", {K::Window, K::OutText},
       [](IUnknown& o, V v) {
         platform::ComPtr<IOndrelMeasurements> measurements;
         const HRESULT asked =
             o.QueryInterface(IOndrelMeasurements::kIid, reinterpret_cast<void**>(measurements.GetAddressOf()));
         if (FAILED(asked)) return asked;
         return measurements->GetMeasurementsText(v[0].window, v[1].Out(v[1].outText));
       }},
  };
  return methods;
}

}  // namespace

bool IsOut(Kind kind) { return kind >= K::OutBool; }

std::span<const Enumerator> Enumerators(Kind kind) {
  switch (kind) {
    case K::Palette:
    case K::OutPalette:
      return kPalettes;
    case K::RotationFlip:
      return kRotationFlips;
    case K::Measurement:
      return kMeasurements;
    case K::ReferenceLines:
    case K::OutReferenceLines:
      return kReferenceLines;
    case K::Synchronize:
    case K::OutSynchronize:
      return kSynchronize;
    case K::OutMprMode:
      return kMprModes;
    case K::MipMode:
    case K::OutMipMode:
      return kMipModes;
    default:
      return {};
  }
}

std::span<const MeasurementsMethod> MeasurementsMethods() { return MeasurementsTable(); }

const MeasurementsMethod* FindMeasurementsMethod(std::string_view name) { return FindRow(MeasurementsTable(), name); }

std::span<const Method> Methods() { return Table(); }

const Method* FindMethod(std::string_view name) { return FindRow(Table(), name); }

std::span<const MediaMethod> MediaMethods() { return MediaTable(); }

const MediaMethod* FindMediaMethod(std::string_view name) { return FindRow(MediaTable(), name); }

std::optional<USHORT> EnumValue(Kind kind, std::string_view name) {
  for (const Enumerator& e : Enumerators(kind))
    if (e.name == name) return e.value;
  return std::nullopt;
}

std::string EnumName(Kind kind, USHORT value) {
  for (const Enumerator& e : Enumerators(kind))
    if (e.value == value) return std::string(e.name);
  return std::to_string(value);
}

std::string EnumChoices(Kind kind) {
  const std::span<const Enumerator> enumerators = Enumerators(kind);
  std::string text;
  for (std::size_t i = 0; i < enumerators.size(); ++i) {
    if (i > 0) text += i + 1 == enumerators.size() ? " or " : ", ";
    text += enumerators[i].name;
  }
  return text;
}

std::string MethodsText() {
  std::string text;
  const auto list = [&text](const auto& methods) {
    for (const auto& method : methods) {
      text.append("  ").append(method.name);
      for (const Kind kind : method.kinds) text.append(" ").append(KindName(kind));
      text += "\n";
    }
  };
  text += "IOndrel, the main component (component main), in slot order:\n";
  list(Methods());
  text += "\nIOndrelDicomDir, the media component (component dicomdir), in slot order:\n";
  list(MediaMethods());
  text += "\nIOndrelMeasurements, asked of the component in use (QueryInterface), in slot order:\n";
  list(MeasurementsMethods());
  text += "\nEnumerations, given by name or number:\n";
  for (const Kind kind : {K::Palette, K::RotationFlip, K::Measurement, K::ReferenceLines, K::Synchronize,
                          K::OutMprMode, K::MipMode}) {
    text.append("  ").append(KindName(kind).substr(IsOut(kind) ? 1 : 0)).append(":");
    for (const Enumerator& e : Enumerators(kind))
      text.append(" ").append(e.name).append("=").append(std::to_string(e.value));
    text += "\n";
  }
  return text;
}

}  // namespace ondrel::cli
