#include "arguments.h"

#include <limits>
#include <memory>
#include <utility>

#include "console_text.h"
#include "errors.h"
#include "pictures.h"
#include "study.h"
#include "viewport.h"

namespace py = pybind11;

namespace ondrel::python {
namespace {

using cli::Kind;

// The enumeration kinds, their in and out forms sharing one class.
constexpr std::pair<Kind, const char*> kEnumerations[] = {
    {Kind::Palette, "ColorPaletteEnum"},      {Kind::RotationFlip, "ImageRotationFlipEnum"},
    {Kind::Measurement, "MeasurementsEnum"},  {Kind::ReferenceLines, "ReferenceLinesEnum"},
    {Kind::Synchronize, "SynchronizeSeriesEnum"}, {Kind::OutMprMode, "MprOperationsEnum"},
    {Kind::MipMode, "MipOperationsEnum"},
};

Kind InKindOf(Kind kind) {
  switch (kind) {
    case Kind::OutPalette: return Kind::Palette;
    case Kind::OutReferenceLines: return Kind::ReferenceLines;
    case Kind::OutSynchronize: return Kind::Synchronize;
    case Kind::OutMipMode: return Kind::MipMode;
    default: return kind;
  }
}

const char* EnumerationName(Kind kind) {
  for (const auto& [enumeration, name] : kEnumerations)
    if (enumeration == InKindOf(kind)) return name;
  return nullptr;
}

std::string Where(std::string_view method, std::size_t position) {
  return std::string(method) + "() argument " + std::to_string(position);
}

template <class T>
T IntegerOf(py::handle argument, std::string_view method, std::size_t position) {
  if (!py::isinstance<py::int_>(argument))
    throw py::type_error(Where(method, position) + " must be int, not " +
                         std::string(py::str(argument.get_type().attr("__name__"))));
  // Through long long: a Python int beyond it raises OverflowError, which is also out of range.
  long long number = 0;
  try {
    number = argument.cast<long long>();
  } catch (const py::cast_error&) {
    throw py::value_error(Where(method, position) + " is out of range");
  }
  if (number < std::numeric_limits<T>::min() || number > static_cast<long long>(std::numeric_limits<T>::max()))
    throw py::value_error(Where(method, position) + " must lie from " +
                          std::to_string(std::numeric_limits<T>::min()) + " to " +
                          std::to_string(std::numeric_limits<T>::max()) + ", not " + std::to_string(number));
  return static_cast<T>(number);
}

USHORT EnumeratorOf(Kind kind, py::handle argument, std::string_view method, std::size_t position) {
  if (py::isinstance<py::str>(argument)) {
    const std::string name = argument.cast<std::string>();
    if (const std::optional<USHORT> value = cli::EnumValue(kind, name)) return *value;
    throw py::value_error(Where(method, position) + " must be " + cli::EnumChoices(kind) + ", not '" + name + "'");
  }
  const auto number = IntegerOf<USHORT>(argument, method, position);
  for (const cli::Enumerator& enumerator : cli::Enumerators(kind))
    if (enumerator.value == number) return number;
  throw py::value_error(Where(method, position) + " must be " + cli::EnumChoices(kind) + ", not " +
                        std::to_string(number));
}

}  // namespace

void DefineEnumerations(py::module_& module) {
  const py::object intEnum = py::module_::import("enum").attr("IntEnum");
  for (const auto& [kind, name] : kEnumerations) {
    py::list members;
    for (const cli::Enumerator& enumerator : cli::Enumerators(kind))
      members.append(py::make_tuple(std::string(enumerator.name), enumerator.value));
    module.attr(name) = intEnum(name, members, py::arg("module") = "ondrel");
  }
}

py::object EnumerationType(Kind kind) { return py::module_::import("ondrel._ondrel").attr(EnumerationName(kind)); }

void ArgumentOf(Kind kind, py::handle argument, cli::Value& value, std::string_view method, std::size_t position) {
  const auto wrongType = [&](const char* wanted) {
    return py::type_error(Where(method, position) + " must be " + wanted + ", not " +
                          std::string(py::str(argument.get_type().attr("__name__"))));
  };
  switch (kind) {
    case Kind::Window:
      if (!py::isinstance<Viewport>(argument)) throw wrongType("a Viewport");
      value.window = argument.cast<Viewport&>().Window();
      return;
    case Kind::Image:
      if (!py::isinstance<ImageObject>(argument)) throw wrongType("an ondrel.Image");
      value.image = argument.cast<ImageObject&>().object.Get();
      return;
    case Kind::Long:
      value.number = IntegerOf<LONG>(argument, method, position);
      return;
    case Kind::ULong:
      value.number = static_cast<LONG>(IntegerOf<ULONG>(argument, method, position));
      return;
    case Kind::Short:
      value.number = IntegerOf<SHORT>(argument, method, position);
      return;
    case Kind::Double:
      if (!py::isinstance<py::float_>(argument) && !py::isinstance<py::int_>(argument)) throw wrongType("a number");
      value.real = argument.cast<double>();
      return;
    case Kind::Text:
      value.text = platform::BStr(cli::FromConsole(PathText(argument)));
      return;
    case Kind::Bool:
      if (!py::isinstance<py::bool_>(argument)) throw wrongType("bool");
      value.flag = argument.cast<bool>() ? VARIANT_TRUE : VARIANT_FALSE;
      return;
    case Kind::Point: {
      if (!py::isinstance<py::sequence>(argument) || py::len(argument) != 2) throw wrongType("an (x, y) pair");
      const py::sequence pair = py::reinterpret_borrow<py::sequence>(argument);
      value.point = tagPOINT{IntegerOf<LONG>(pair[0], method, position), IntegerOf<LONG>(pair[1], method, position)};
      return;
    }
    default:
      value.enumeration = EnumeratorOf(kind, argument, method, position);
      return;
  }
}

py::object ResultOf(Kind kind, cli::Value& value) {
  switch (kind) {
    case Kind::OutBool:
      return py::bool_(value.outFlag != VARIANT_FALSE);
    case Kind::OutLong:
      return py::int_(value.outLong);
    case Kind::OutULong:
      return py::int_(value.outULong);
    case Kind::OutSeries: {
      platform::ComPtr<ISeriesInfoNW> series;
      series.Attach(std::exchange(value.outSeries, nullptr));
      return series ? py::cast(SeriesObject{series}) : py::none();
    }
    case Kind::OutBitmap:
      if (value.outBitmap == nullptr) return py::none();
      return BitmapPicture(value.outBitmap);
    case Kind::OutBytes: {
      const std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY*)> array(std::exchange(value.outBytes, nullptr),
                                                                       &SafeArrayDestroy);
      if (!array) return py::none();
      LONG upper = -1;
      SafeArrayGetUBound(array.get(), 1, &upper);
      void* bytes = nullptr;
      SafeArrayAccessData(array.get(), &bytes);
      py::bytes copy(static_cast<const char*>(bytes), static_cast<std::size_t>(upper + 1));
      SafeArrayUnaccessData(array.get());
      return copy;
    }
    case Kind::OutText: {
      const platform::BStr text = platform::BStr::Attach(std::exchange(value.outText, nullptr));
      if (text.IsNull()) return py::none();
      return py::str(cli::ToConsole(text.ToString()));
    }
    default:
      return EnumerationType(kind)(value.outEnum);
  }
}

std::string PythonTypeName(Kind kind) {
  if (const char* name = EnumerationName(kind)) return name;
  switch (kind) {
    case Kind::Window: return "Viewport";
    case Kind::Image: return "Image";
    case Kind::MediaImage: return "media image";
    case Kind::Long: return "int";
    case Kind::ULong: return "int (0 or more)";
    case Kind::Short: return "int (16 bits)";
    case Kind::Double: return "float";
    case Kind::Text: return "str";
    case Kind::Bool:
    case Kind::OutBool: return "bool";
    case Kind::Point: return "(x, y)";
    case Kind::OutLong:
    case Kind::OutULong: return "int";
    case Kind::OutSeries: return "Series";
    case Kind::OutBitmap: return "numpy.ndarray";
    case Kind::OutBytes: return "bytes";
    case Kind::OutText: return "str";
    default: return "?";
  }
}

}  // namespace ondrel::python
