// ondrel.Viewport: an off-screen window of the host and the core's component that draws into it, as a
// viewport of a workstation. Every method of the component's interface is a method of the viewport
// under its own name (PanImage, MeasOnMouseButtonDown, ...), the viewport's window standing for the
// method's first window parameter, the other parameters given in order with Python types and the
// out-parameters returned (one as itself, several as a tuple). The Pythonic methods (show, window_level,
// zoom, ...) call the same methods.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/stl.h>
#include <pybind11/pybind11.h>

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ondrel/ondrel.h"
#include "ondrel/platform/windows.h"
#include "script_methods.h"

namespace ondrel::python {

class Viewport {
 public:
  // The largest side of a window: larger ones would take gigabytes for no picture anyone looks at.
  static constexpr int kLargestSide = 16384;

  // A new window of width x height pixels. Raises ValueError for a side outside 1 to kLargestSide.
  Viewport(int width, int height);
  ~Viewport();
  Viewport(const Viewport&) = delete;
  Viewport& operator=(const Viewport&) = delete;

  // The component lets the window go (ReleaseWindow: its images and their state) and the window is
  // destroyed; a closed viewport does nothing more. Closing twice does nothing.
  void Close();
  bool Closed() const { return window_ == nullptr; }
  // The window. Raises ValueError once the viewport is closed.
  HWND Window() const;
  int Width() const { return width_; }
  int Height() const { return height_; }

  // A method of the component: of IOndrel, or of IOndrelMeasurements asked of it.
  struct Method {
    std::string_view name;
    const std::vector<cli::Kind>* kinds;
    std::function<HRESULT(IOndrel&, std::span<cli::Value>)> call;
  };

  // Calls `method` of the component with the viewport's window and `args` for its other in-parameters.
  // Raises TypeError for a wrong count or type of arguments, ValueError for a value out of range, and
  // ondrel.Error when the method fails.
  pybind11::object Call(const Method& method, const pybind11::args& args);
  // The same, for a method of IOndrel by its name.
  pybind11::object CallNamed(std::string_view name, const pybind11::args& args);

  // RenderImage of an ondrel.Image, or of frame 0 of a DICOM file given by its path.
  void Show(pybind11::handle image, bool keepIntent);
  // What the window shows, height x width x 3 uint8 (red, green, blue).
  pybind11::array_t<std::uint8_t> Picture() const;
  // Writes what the window shows to `path`: without `mime` as a host captures a window, in the format
  // of the path's extension; with `mime` through the component's SaveImageAsFile.
  void Save(pybind11::handle path, const std::optional<std::string>& mime);

 private:
  HWND window_ = nullptr;
  int width_ = 0;
  int height_ = 0;
  pybind11::object shown_;  // the image shown last, kept alive while the window shows it
};

// Defines ondrel.Viewport in the module, with a method for each of the component's.
void DefineViewport(pybind11::module_& module);

}  // namespace ondrel::python
