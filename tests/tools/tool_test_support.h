// What the tools' tests share: a made grey image shown fitted in an off-screen window, with its
// measurements attached as the renderer attaches them, and the gestures of a user on it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "foundation/text_utils.h"
#include "foundation/user_preferences.h"
#include "image/image.h"
#include "image/pixels_support.h"
#include "ondrel/platform/host_window.h"
#include "sources/image_info_strategies.h"
#include "tools/measurement_list.h"
#include "tools/measurements.h"
#include "tools/reference_lines_mode.h"
#include "workstation/graph_support.h"

namespace tools_test {

using namespace workstation_test;

// The value of the stored pixel at column x, row y.
using PixelValues = std::function<std::uint16_t(int x, int y)>;

struct ImageShape {
  int columns = 100;
  int rows = 100;
  int windowWidth = 100;
  int windowHeight = 100;
};

// A grey image of 16-bit stored values in a window, zoom 100: fitted and centred, one image pixel per
// window pixel when the sizes agree. `configure` sets more of the image's facts before it is made.
class MeasuredImage {
 public:
  explicit MeasuredImage(ImageShape shape = {}, const PixelValues& values = nullptr,
                         const std::function<void(Graph&)>& configure = nullptr)
      : window_(ondrel::platform::CreateHostWindow(shape.windowWidth, shape.windowHeight)) {
    graph_.image->SetRows(static_cast<USHORT>(shape.rows));
    graph_.image->SetColumns(static_cast<USHORT>(shape.columns));
    graph_.image->SetSamplesPerPixel(1);
    graph_.image->SetBitsStored(16);
    graph_.image->SetBitsAllocated(16);
    graph_.image->SetPhotometricInterpretation(BStr(u"MONOCHROME2").Get());
    if (configure) configure(graph_);
    std::vector<BYTE> bytes;
    for (int y = 0; y < shape.rows; ++y)
      for (int x = 0; x < shape.columns; ++x) {
        const std::uint16_t value = values ? values(x, y) : 0;
        bytes.push_back(static_cast<BYTE>(value));
        bytes.push_back(static_cast<BYTE>(value >> 8));
      }
    image_ = std::make_unique<Image>(image_test::FrameOf(bytes),
                                     std::make_unique<ImageInfoWStationStrategy>(graph_.image.Get()), &intent_);
    image_->AttachAnnotations(std::make_unique<Measurements>(*image_));
    image_->RecalculateDisplayRect(window_);
  }
  ~MeasuredImage() {
    image_.reset();
    DestroyWindow(window_);
  }
  MeasuredImage(const MeasuredImage&) = delete;
  MeasuredImage& operator=(const MeasuredImage&) = delete;

  Measurements& Tools() { return *MeasurementsOf(*image_); }
  Image& Shown() { return *image_; }
  PresentationIntent& Intent() { return intent_; }
  HWND Window() const { return window_; }
  Graph& Objects() { return graph_; }

  bool Press(POINT point, USHORT type = MEAS_NONE) { return Tools().OnButtonDown(window_, point, type); }
  void Move(POINT point) { Tools().OnMouseMove(window_, point); }
  bool Release(POINT point) { return Tools().OnButtonUp(window_, point); }
  // Press at `from` with `type`, a move to `to` and the release there.
  bool Drag(USHORT type, POINT from, POINT to) {
    Press(from, type);
    Move(to);
    return Release(to);
  }
  // The three clicks of an angle: first end, vertex, second end.
  bool Angle(POINT first, POINT vertex, POINT second) {
    Press(first, MEAS_ANGLE);
    Release(first);
    Move(vertex);
    Press(vertex, MEAS_ANGLE);
    Release(vertex);
    Move(second);
    Press(second, MEAS_ANGLE);
    return Release(second);
  }
  // The measurement list as a host reads it.
  std::string List() { return ToNarrow(MeasurementListText(Tools())); }
  std::size_t ToolCount() { return Tools().Tools().size(); }

 private:
  ClassesRegistered registered_;
  Graph graph_;
  PresentationIntent intent_;
  HWND window_;
  std::unique_ptr<Image> image_;
};

// Sets one of the user's preferences for a test and puts it back afterwards.
template <class T>
class PreferenceSet {
 public:
  PreferenceSet(T& preference, T value) : preference_(preference), saved_(preference) { preference_ = value; }
  ~PreferenceSet() { preference_ = saved_; }
  PreferenceSet(const PreferenceSet&) = delete;
  PreferenceSet& operator=(const PreferenceSet&) = delete;

 private:
  T& preference_;
  T saved_;
};

// Sets the process's reference-line mode for a test and puts it back afterwards.
class ReferenceLinesModeSet {
 public:
  explicit ReferenceLinesModeSet(ReferenceLinesEnum mode) : saved_(ReferenceLinesMode()) {
    SetReferenceLinesMode(mode);
  }
  ~ReferenceLinesModeSet() { SetReferenceLinesMode(saved_); }
  ReferenceLinesModeSet(const ReferenceLinesModeSet&) = delete;
  ReferenceLinesModeSet& operator=(const ReferenceLinesModeSet&) = delete;

 private:
  ReferenceLinesEnum saved_;
};

}  // namespace tools_test
