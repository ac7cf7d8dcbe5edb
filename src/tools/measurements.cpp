#include "tools/measurements.h"

#include <algorithm>
#include <utility>

#include "foundation/exceptions.h"
#include "foundation/user_preferences.h"
#include "tools/angle_tool.h"
#include "tools/ellipse_tool.h"
#include "tools/gdi_scope.h"
#include "tools/line_tool.h"
#include "tools/reference_lines_mode.h"
#include "tools/text_annotation_tool.h"

namespace {

// Spacing below a millionth of a millimetre (or not a number) is none.
std::optional<Calibration> CalibrationOf(double x, double y) {
  if (!(x >= 1e-6) || !(y >= 1e-6)) return std::nullopt;
  return Calibration{x, y};
}

// The context a move or a release draws in: the window's context with a white pen of the user's
// measurement width and no brush, mixing by exclusive-or, so that a shape drawn twice leaves the
// picture as it was. Everything is given back at the end, also when the tool fails (a release that
// finds overlapped points): no context or pen outlives the gesture.
class XorContext {
 public:
  explicit XorContext(HWND window)
      : dc_(window),
        pen_(CreatePen(PS_SOLID, Preferences().userMeasWidth, RGB(255, 255, 255))),
        penSelection_(dc_.Get(), pen_.Get()),
        brushSelection_(dc_.Get(), GetStockObject(NULL_BRUSH)),
        previousMix_(SetROP2(dc_.Get(), R2_XORPEN)) {}
  ~XorContext() {
    if (previousMix_ != 0) SetROP2(dc_.Get(), previousMix_);
  }
  XorContext(const XorContext&) = delete;
  XorContext& operator=(const XorContext&) = delete;

  HDC Get() const { return dc_.Get(); }

 private:
  ScopedWindowDC dc_;
  ScopedGdiObject<HPEN> pen_;
  ScopedSelection penSelection_;
  ScopedSelection brushSelection_;
  int previousMix_;
};

// Draws `tools` head to tail with a solid pen of `width` and `colour` and no brush.
void DrawWithPen(HDC dc, const ToolList& tools, int width, COLORREF colour) {
  const ScopedGdiObject<HPEN> pen(CreatePen(PS_SOLID, width, colour));
  const ScopedSelection penSelection(dc, pen.Get());
  const ScopedSelection brushSelection(dc, GetStockObject(NULL_BRUSH));
  for (const auto& tool : tools) tool->Draw(dc);
}

// Sets a draw's destination for its duration.
class DrawDestination {
 public:
  DrawDestination(std::optional<RECT>& slot, const RECT& dest) : slot_(slot) { slot_ = dest; }
  ~DrawDestination() { slot_.reset(); }
  DrawDestination(const DrawDestination&) = delete;
  DrawDestination& operator=(const DrawDestination&) = delete;

 private:
  std::optional<RECT>& slot_;
};

}  // namespace

Measurements::Measurements(Image& image) : image_(image) { LoadCalibration(); }

Measurements::~Measurements() {
  DeleteAll();
  referenceLines_.clear();
}

void Measurements::LoadCalibration() {
  ImageInfoStrategy* info = image_.Info();
  if (info == nullptr) THROW_MY_EXCEPTION("Invalid image info object.");
  double x = 0.0;
  double y = 0.0;
  calibration_ = info->GetPixelSpacing(&x, &y) ? CalibrationOf(x, y) : std::nullopt;
}

DisplayGeometry Measurements::Geometry() const {
  ImageInfoStrategy* info = image_.Info();
  if (info == nullptr) THROW_MY_EXCEPTION("Invalid image info object.");
  DisplayGeometry geometry;
  if (const PresentationIntent* intent = image_.Intent()) {
    geometry.rotation = intent->rotation;
    geometry.verticalFlip = intent->flipY != 0;
    geometry.horizontalFlip = intent->flipX != 0;
  }
  geometry.dest = drawDest_.value_or(image_.DisplayRect());
  geometry.rows = info->GetRows();
  geometry.columns = info->GetColumns();
  return geometry;
}

bool Measurements::OnButtonDown(HWND window, POINT point, USHORT measType) {
  if (!IsWindow(window)) return false;
  image_.RecalculateDisplayRect(window);
  // The text tool needs the window of this context (WindowFromDC) during the press only: the context
  // is released when the press ends.
  const ScopedWindowDC context(window);
  const HDC dc = context.Get();

  if (selected_ != nullptr) {
    const MeasOperationsEnum mode = selected_->GetMode();
    if (mode == MEAS_MODE_CREATING || mode == MEAS_MODE_MOVING_TEXT || mode == MEAS_MODE_EDITING_TEXT) {
      selected_->OnButtonDown(dc, point);
      return true;
    }
  }

  // Grip handles win over outlines, outlines over text boxes; among equals the oldest tool.
  const auto hit = [&](MeasOperationsEnum mode, auto test) {
    for (const auto& tool : tools_) {
      if (!test(*tool)) continue;
      selected_ = tool.get();
      selected_->SetMode(mode);
      selected_->OnButtonDown(dc, point);
      return true;
    }
    return false;
  };
  if (hit(MEAS_MODE_MOVING_ANCHOR, [&](MeasAnnotTool& tool) { return tool.HitTestAnchor(point); }) ||
      hit(MEAS_MODE_MOVING_SHAPE, [&](MeasAnnotTool& tool) { return tool.HitTestShape(point); }) ||
      hit(MEAS_MODE_MOVING_TEXT, [&](MeasAnnotTool& tool) { return tool.HitTestText(dc, point); }))
    return true;

  if (measType == MEAS_CALIBRATION) {
    const auto calibration = std::find_if(tools_.begin(), tools_.end(), [](const auto& tool) {
      return dynamic_cast<CalibrationTool*>(tool.get()) != nullptr;
    });
    if (calibration != tools_.end()) {
      selected_ = calibration->get();
      return true;
    }
  }

  selected_ = nullptr;
  std::unique_ptr<MeasAnnotTool> made;
  switch (measType) {
    case MEAS_LINE:
      made = std::make_unique<LineTool>(*this);
      break;
    case MEAS_ELLIPSE:
      made = std::make_unique<EllipseTool>(*this);
      break;
    case MEAS_ANGLE:
      made = std::make_unique<AngleTool>(*this);
      break;
    case MEAS_TEXT:
      made = std::make_unique<TextAnnotationTool>(*this);
      break;
    case MEAS_CALIBRATION:
      made = std::make_unique<CalibrationTool>(*this);
      break;
    case MEAS_EDIT:
      return false;
    default:
      return true;
  }
  // The new tool takes its press before it joins the list; one whose press fails is not kept, and
  // nothing stays selected.
  selected_ = made.get();
  try {
    made->OnButtonDown(dc, point);
  } catch (...) {
    selected_ = nullptr;
    throw;
  }
  AppendTool(std::move(made));
  return true;
}

void Measurements::OnMouseMove(HWND window, POINT point) {
  if (!IsWindow(window) || selected_ == nullptr || selected_->GetMode() == MEAS_MODE_NONE) return;
  const XorContext context(window);
  selected_->OnMouseMove(context.Get(), point);
}

bool Measurements::OnButtonUp(HWND window, POINT point) {
  if (!IsWindow(window)) return true;
  if (selected_ == nullptr || selected_->GetMode() == MEAS_MODE_NONE) return false;
  const XorContext context(window);
  return selected_->OnButtonUp(context.Get(), point);
}

void Measurements::OnDoubleClick(HWND window) {
  if (!IsWindow(window) || selected_ == nullptr) return;
  selected_->SetMode(MEAS_MODE_EDITING_TEXT);
  selected_->OnDoubleClick(window);
}

void Measurements::EndInteraction() {
  if (selected_ == nullptr) return;
  if (MeasAnnotTool* owner = selected_->GetOwnerTool())
    owner->EndInteraction();
  else
    selected_->EndInteraction();
}

void Measurements::DeleteSelected() {
  const auto found =
      std::find_if(tools_.begin(), tools_.end(), [this](const auto& tool) { return tool.get() == selected_; });
  if (found == tools_.end()) return;
  // A label goes with its measurement, whose destructor removes the label.
  if (MeasAnnotTool* owner = selected_->GetOwnerTool())
    RemoveTool(owner);
  else
    RemoveTool(selected_);
  selected_ = tools_.empty() ? nullptr : tools_.front().get();
}

void Measurements::DeleteAll() {
  // One at a time from the head: a measurement's destructor removes its label, which may be the next
  // node, so the list is read again after each.
  while (!tools_.empty()) {
    std::unique_ptr<MeasAnnotTool> tool = std::move(tools_.front());
    tools_.pop_front();
    tool.reset();
  }
  selected_ = nullptr;
}

void Measurements::RemoveTool(MeasAnnotTool* tool) {
  if (tool == nullptr) return;
  const auto found = std::find_if(tools_.begin(), tools_.end(), [tool](const auto& t) { return t.get() == tool; });
  if (found == tools_.end()) return;
  // Unlinked before it is destroyed, since its destructor removes its label from this same list.
  std::unique_ptr<MeasAnnotTool> removed = std::move(*found);
  tools_.erase(found);
}

void Measurements::AppendTool(std::unique_ptr<MeasAnnotTool> tool) { tools_.push_back(std::move(tool)); }

void Measurements::Draw(HDC dc, const RECT& dest) {
  if (!visible_) return;
  const DrawDestination destination(drawDest_, dest);
  DrawWithPen(dc, tools_, Preferences().userMeasWidth, Preferences().userMeasColor);
}

void Measurements::Draw(HWND window) {
  const ScopedWindowDC context(window);
  if (context.Get() != nullptr) Draw(context.Get(), image_.DisplayRect());
}

void Measurements::DrawReferenceLines(HDC dc, const RECT& dest) {
  if (ReferenceLinesMode() == REFERENCE_LINE_OFF) return;
  const DrawDestination destination(drawDest_, dest);
  DrawWithPen(dc, referenceLines_, Preferences().userRefLineWidth, Preferences().userRefLineColor);
}

bool Measurements::Calibrate(HWND window, bool cancel, double userValue, bool applyToSeries) {
  auto* line = dynamic_cast<CalibrationTool*>(selected_);
  if (line == nullptr) return true;
  if (cancel) {
    RemoveTool(line);
    selected_ = nullptr;
    return false;
  }
  const double spacing = line->SpacingFor(userValue);
  RemoveTool(line);
  selected_ = nullptr;
  if (ImageInfoStrategy* info = image_.Info()) {
    if (applyToSeries)
      info->SetSeriesPixelSpacing(spacing, spacing);
    else
      info->SetPixelSpacing(spacing, spacing);
  }
  if (calibration_)
    calibration_ = CalibrationOf(spacing, spacing);
  else
    LoadCalibration();
  // Every label changes to the new unit. A measurement still being made has no label to change, and
  // its unfinished points would fail the check that a new label makes.
  for (const auto& tool : tools_)
    if (tool->Label() != nullptr) tool->UpdateLabel();
  if (IsWindow(window)) Draw(window);
  return false;
}

Measurements* MeasurementsOf(const Image& image) { return dynamic_cast<Measurements*>(image.Annotations()); }
