#include "viewport.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "arguments.h"
#include "console_text.h"
#include "errors.h"
#include "host.h"
#include "host_setup.h"
#include "ondrel/platform/host_window.h"
#include "pictures.h"
#include "study.h"
#include "window_picture.h"

namespace py = pybind11;

namespace ondrel::python {
namespace {

// The parameters a Python caller gives: all but the out-parameters and the first window.
std::vector<std::size_t> GivenParameters(const std::vector<cli::Kind>& kinds) {
  std::vector<std::size_t> given;
  bool ownWindow = false;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const cli::Kind kind = kinds[i];
    if (cli::IsOut(kind)) continue;
    if (kind == cli::Kind::Window && !ownWindow) {
      ownWindow = true;
      continue;
    }
    given.push_back(i);
  }
  return given;
}

// "PanImage(int, int) -> None", and what the viewport stands for.
std::string Signature(std::string_view name, const std::vector<cli::Kind>& kinds) {
  std::string text = std::string(name) + "(";
  const std::vector<std::size_t> given = GivenParameters(kinds);
  for (std::size_t i = 0; i < given.size(); ++i) text += (i > 0 ? ", " : "") + PythonTypeName(kinds[given[i]]);
  std::vector<std::string> outs;
  for (const cli::Kind kind : kinds)
    if (cli::IsOut(kind)) outs.push_back(PythonTypeName(kind));
  text += ") -> ";
  if (outs.empty()) text += "None";
  if (outs.size() == 1) text += outs.front();
  if (outs.size() > 1) {
    text += "tuple[";
    for (std::size_t i = 0; i < outs.size(); ++i) text += (i > 0 ? ", " : "") + outs[i];
    text += "]";
  }
  const bool window = std::find(kinds.begin(), kinds.end(), cli::Kind::Window) != kinds.end();
  text += "\n\nThe component's " + std::string(name) +
          (window ? ", on the viewport's window (its first window parameter)." : ".") +
          " Raises ondrel.Error when it fails.";
  return text;
}

}  // namespace

Viewport::Viewport(int width, int height) : width_(width), height_(height) {
  const auto fits = [](int side) { return side >= 1 && side <= kLargestSide; };
  if (!fits(width) || !fits(height))
    throw py::value_error("a viewport's sides lie from 1 to " + std::to_string(kLargestSide) + " pixels, not " +
                          std::to_string(width) + " x " + std::to_string(height));
  window_ = platform::CreateHostWindow(width, height);
  if (window_ == nullptr) throw CoreError{"the window can't be made", E_OUTOFMEMORY, {}};
  AddViewport(this);
}

Viewport::~Viewport() { Close(); }

void Viewport::Close() {
  if (window_ == nullptr) return;
  RemoveViewport(this);
  const HWND window = std::exchange(window_, nullptr);
  {
    const std::lock_guard<std::mutex> guard(CoreLock());
    // A window the component never saw is no failure of ReleaseWindow, and a failure here has nobody
    // to be told to: the viewport goes.
    if (IOndrel* component = ComponentIfMade()) component->ReleaseWindow(window);
    DestroyWindow(window);
  }
  shown_ = py::object();
}

HWND Viewport::Window() const {
  if (window_ == nullptr) throw py::value_error("the viewport is closed");
  return window_;
}

py::object Viewport::Call(const Method& method, const py::args& args) {
  const std::vector<cli::Kind>& kinds = *method.kinds;
  std::vector<cli::Value> values(kinds.size());
  const std::vector<std::size_t> given = GivenParameters(kinds);
  if (args.size() != given.size())
    throw py::type_error(std::string(method.name) + "() takes " + std::to_string(given.size()) + " arguments, not " +
                         std::to_string(args.size()));
  const auto own = std::find(kinds.begin(), kinds.end(), cli::Kind::Window);
  if (own != kinds.end()) values[static_cast<std::size_t>(own - kinds.begin())].window = Window();
  for (std::size_t i = 0; i < given.size(); ++i)
    ArgumentOf(kinds[given[i]], args[i], values[given[i]], method.name, i + 1);

  std::optional<CoreError> failure;
  InCore([&] {
    const HRESULT result = method.call(Component(), values);
    if (FAILED(result)) failure = MethodError(method.name, result);
  });
  // Taken whether or not the call failed, so that nothing it handed over stays behind.
  py::list outs;
  for (std::size_t i = 0; i < kinds.size(); ++i)
    if (cli::IsOut(kinds[i])) outs.append(ResultOf(kinds[i], values[i]));
  if (failure) throw *failure;
  if (outs.empty()) return py::none();
  if (outs.size() == 1) return outs[0];
  return py::tuple(outs);
}

py::object Viewport::CallNamed(std::string_view name, const py::args& args) {
  const cli::Method& method = *cli::FindMethod(name);
  return Call({method.name, &method.kinds, method.call}, args);
}

void Viewport::Show(py::handle image, bool keepIntent) {
  py::object shown = py::isinstance<ImageObject>(image) ? py::reinterpret_borrow<py::object>(image)
                                                         : py::cast(ImageOfPath(PathText(image), 0));
  WarnAboutPixels(*shown.cast<ImageObject&>().object.Get());
  CallNamed("RenderImage", py::make_tuple(shown, keepIntent));
  shown_ = std::move(shown);
}

py::array_t<std::uint8_t> Viewport::Picture() const {
  return WindowPicture(Window());
}

void Viewport::Save(py::handle path, const std::optional<std::string>& mime) {
  const std::string file = PathText(path);
  const HWND window = Window();
  if (!mime) {
    if (cli::PictureMimeType(file).empty())
      throw py::value_error("'" + file + "': the picture format is chosen by the extension " +
                            std::string(cli::kPictureExtensions) + ", or by a MIME type");
    InCore([&] { cli::WriteWindowPicture(window, file); });
    return;
  }
  std::optional<CoreError> failure;
  InCore([&] {
    const HRESULT result = cli::SaveThroughCore(Component(), window, file, cli::FromConsole(*mime));
    if (FAILED(result)) failure = MethodError("SaveImageAsFile", result);
  });
  if (failure) throw *failure;
}

void DefineViewport(py::module_& module) {
  py::class_<Viewport> type(module, "Viewport", R"(A viewport: an off-screen window and the core's component that draws into it.

Viewport(width, height) makes a window of that many pixels (each side from 1 to 16384). Every method
of the component's interface is a method of the viewport by its own name, the viewport's window
standing for the method's first window parameter; the other parameters are given in order (windows
as other viewports, images as ondrel.Image, enumerations as their IntEnum, number or name) and the
out-parameters come back (several as a tuple). All viewports share one component, as the windows of
a workstation do. A failing method raises ondrel.Error; a wrong argument TypeError or ValueError.
Use it as a context manager, or call close(), to let the window go.)");
  type.def(py::init<int, int>(), py::arg("width"), py::arg("height"));
  type.def_property_readonly("width", &Viewport::Width);
  type.def_property_readonly("height", &Viewport::Height);
  type.def_property_readonly("closed", &Viewport::Closed);
  type.def("close", &Viewport::Close, "Lets the window go (ReleaseWindow) and destroys it. Closing twice does nothing.");
  type.def("__enter__", [](Viewport& viewport) -> Viewport& { return viewport; });
  type.def("__exit__", [](Viewport& viewport, const py::args&) { viewport.Close(); });

  type.def("show", &Viewport::Show, py::arg("image"), py::arg("keep_intent") = false,
           "show(image, keep_intent=False)\n\n"
           "Shows an ondrel.Image, or frame 0 of the DICOM file at a path (RenderImage). With keep_intent\n"
           "the window keeps its display state (window/level, zoom, rotation, ...) for the new image.\n"
           "What the core shows without decoding or understanding it is told in a PixelWarning.");
  type.def(
      "window_level", [](Viewport& v, LONG width, LONG level) {
        if (width < 1) throw py::value_error("a window width is 1 or more, not " + std::to_string(width));
        v.CallNamed("ApplyWindowLevelPreset", py::make_tuple(width, level));
      },
      py::arg("width"), py::arg("level"), "Sets the window width (1 or more) and level (ApplyWindowLevelPreset).");
  type.def(
      "zoom", [](Viewport& v, py::int_ percent) { v.CallNamed("ZoomImage", py::make_tuple(percent)); },
      py::arg("percent"),
      "Zooms to a whole percentage of the fitted size (ZoomImage); 0 shows one image pixel per window pixel.");
  type.def(
      "pan", [](Viewport& v, py::int_ dx, py::int_ dy) { v.CallNamed("PanImage", py::make_tuple(dx, dy)); },
      py::arg("dx"), py::arg("dy"), "Moves the image by dx, dy window pixels (PanImage).");
  type.def(
      "rotate", [](Viewport& v, const std::string& direction) {
        if (direction != "right" && direction != "left")
          throw py::value_error("rotate takes 'right' or 'left', not '" + direction + "'");
        v.CallNamed("RotateFlipImage", py::make_tuple(direction == "right" ? "ROTATE_RIGHT" : "ROTATE_LEFT"));
      },
      py::arg("direction") = "right", "Turns the image a quarter to the 'right' or 'left' (RotateFlipImage).");
  type.def(
      "flip", [](Viewport& v, const std::string& axis) {
        if (axis != "lr" && axis != "ud") throw py::value_error("flip takes 'lr' or 'ud', not '" + axis + "'");
        v.CallNamed("RotateFlipImage", py::make_tuple(axis == "lr" ? "FLIP_LR" : "FLIP_UD"));
      },
      py::arg("axis"), "Mirrors the image left-right ('lr') or upside-down ('ud') (RotateFlipImage).");
  type.def(
      "invert", [](Viewport& v) { v.CallNamed("InvertImage", py::tuple()); }, "Inverts the grey scale (InvertImage).");
  type.def(
      "palette", [](Viewport& v, py::object palette) { v.CallNamed("ApplyColorPalette", py::make_tuple(palette)); },
      py::arg("palette"),
      "Applies a colour palette (ApplyColorPalette): a ColorPaletteEnum, its number or its name, like\n"
      "'COLOR_PALETTE_HOT_IRON'.");
  type.def(
      "magnify", [](Viewport& v, py::int_ x, py::int_ y) { v.CallNamed("MagnifyingGlass", py::make_tuple(py::make_tuple(x, y))); },
      py::arg("x"), py::arg("y"), "Shows the magnifying glass around window pixel x, y (MagnifyingGlass).");
  type.def("picture", &Viewport::Picture, "What the window shows, as a height x width x 3 uint8 array (RGB).");
  type.def("save", &Viewport::Save, py::arg("path"), py::arg("mime") = py::none(),
           "save(path, mime=None)\n\n"
           "Writes what the window shows. Without mime, as a host captures the window, in the format of the\n"
           "path's extension (.png, .bmp, .jpg, .gif or .tif; ValueError for another). With a MIME type\n"
           "('image/png', ...), through the component's SaveImageAsFile, which draws the window afresh\n"
           "first. The file is written under a temporary name and put in place once whole; ondrel.Error\n"
           "when it can't be written or no encoder has that MIME type.");

  // Every method of the component, and those of IOndrelMeasurements, which it answers too. Their
  // docstrings give their signatures: pybind11's would only say *args.
  py::options options;
  options.disable_function_signatures();
  const auto define = [&type](const Viewport::Method& method) {
    type.def(
        method.name.data(), [method](Viewport& viewport, const py::args& args) { return viewport.Call(method, args); },
        Signature(method.name, *method.kinds).c_str());
  };
  for (const cli::Method& method : cli::Methods()) define({method.name, &method.kinds, method.call});
  for (const cli::MeasurementsMethod& method : cli::MeasurementsMethods())
    define({method.name, &method.kinds, [call = method.call](IOndrel& component, std::span<cli::Value> values) {
              return call(component, values);
            }});
}

}  // namespace ondrel::python
