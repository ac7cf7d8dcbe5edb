// The methods of the two components as the script host calls them: each with the kinds of its
// parameters in slot order, and a call that takes the script's values.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ondrel/measurements.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/bstr.h"

namespace ondrel::cli {

enum class Kind {
  Window,
  Image,       // a workstation image object (IImageInfoNW)
  MediaImage,  // a media image object (IDicomDirImage)
  Long,
  ULong,
  Short,
  Double,
  Text,
  Bool,
  Point,
  Palette,
  RotationFlip,
  Measurement,
  ReferenceLines,
  Synchronize,
  MipMode,  // enumerations in
  OutBool,
  OutLong,
  OutULong,
  OutPalette,
  OutReferenceLines,
  OutSynchronize,
  OutMprMode,
  OutMipMode,
  OutSeries,
  OutBitmap,
  OutBytes,
  OutText,
};

bool IsOut(Kind kind);

// One argument of a call. An out-parameter's value lands in the field of its kind; `null` marks an
// argument given as null (a null handle, pointer, BSTR or out pointer).
struct Value {
  bool null = false;
  HWND window = nullptr;
  IImageInfoNW* image = nullptr;
  IDicomDirImage* mediaImage = nullptr;
  LONG number = 0;
  double real = 0.0;
  platform::BStr text;
  VARIANT_BOOL flag = 0;
  tagPOINT point{};
  USHORT enumeration = 0;
  // Out values.
  VARIANT_BOOL outFlag = 0;
  LONG outLong = 0;
  ULONG outULong = 0;
  USHORT outEnum = 0;
  ISeriesInfoNW* outSeries = nullptr;
  HBITMAP outBitmap = nullptr;
  SAFEARRAY* outBytes = nullptr;
  BSTR outText = nullptr;

  template <class T>
  T* Out(T& field) {
    return null ? nullptr : &field;
  }
};

template <class Interface>
struct MethodOf {
  std::string_view name;
  std::vector<Kind> kinds;
  HRESULT (*call)(Interface& component, std::span<Value> values);
};
using Method = MethodOf<IOndrel>;
using MediaMethod = MethodOf<IOndrelDicomDir>;
// A method of IOndrelMeasurements, which the call asks the component for.
using MeasurementsMethod = MethodOf<IUnknown>;

// Every method of IOndrel, in slot order; the one of a name, or null.
std::span<const Method> Methods();
const Method* FindMethod(std::string_view name);
// Every method of IOndrelDicomDir (the media component), in slot order; the one of a name, or null.
std::span<const MediaMethod> MediaMethods();
const MediaMethod* FindMediaMethod(std::string_view name);

// Every method of IOndrelMeasurements, the second interface of both components; the one of a name,
// or null.
std::span<const MeasurementsMethod> MeasurementsMethods();
const MeasurementsMethod* FindMeasurementsMethod(std::string_view name);

// An enumerator of the interface's enumerations.
struct Enumerator {
  std::string_view name;
  USHORT value;
};
// The enumerators of an enumeration kind (in or out), in value order; none for another kind.
std::span<const Enumerator> Enumerators(Kind kind);

// The enumerators of an enumeration kind (in or out), or none for another kind.
std::optional<USHORT> EnumValue(Kind kind, std::string_view name);
std::string EnumName(Kind kind, USHORT value);
// The names of an enumeration kind's enumerators, "A, B or C"; empty for another kind.
std::string EnumChoices(Kind kind);

// What `ondrel run --methods` prints: every method of both components, in slot order, then those of
// IOndrelMeasurements, with the kinds of its parameters as a call writes them (an out-parameter as
// "?KIND"), and the enumerators of each enumeration by name and number.
std::string MethodsText();

}  // namespace ondrel::cli
