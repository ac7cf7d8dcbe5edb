#include "tools/meas_annot_tool.h"

#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "foundation/user_preferences.h"
#include "tools/gdi_scope.h"
#include "tools/measurement_texts.h"
#include "tools/measurements.h"
#include "tools/text_annotation_tool.h"

namespace {

int GripSize() { return Preferences().userMeasGripHandleSize; }

}  // namespace

MeasAnnotTool::MeasAnnotTool(Measurements& measurements) : measurements_(measurements) {
  MeasurementTexts::Shared().LoadMissing(GlobalConfiguration());
}

MeasAnnotTool::~MeasAnnotTool() { measurements_.RemoveTool(label_); }

void MeasAnnotTool::OnDoubleClick(HWND) {}
bool MeasAnnotTool::HitTestAnchor(POINT) { return false; }
bool MeasAnnotTool::HitTestShape(POINT) { return false; }
bool MeasAnnotTool::HitTestText(HDC, POINT) { return false; }
void MeasAnnotTool::EndInteraction() { mode_ = MEAS_MODE_NONE; }
MeasAnnotTool* MeasAnnotTool::GetOwnerTool() const { return nullptr; }
void MeasAnnotTool::GetLabelBox(HDC, const TextLines&, RECT&, int&) {}
void MeasAnnotTool::UpdateLabel() {}

PixelPoint MeasAnnotTool::ToImage(POINT point) const {
  const DisplayGeometry g = measurements_.Geometry();
  return ::ToImage({point.x, point.y}, g.rotation, g.verticalFlip, g.horizontalFlip, g.dest, g.rows, g.columns);
}

POINT MeasAnnotTool::ToScreen(PixelPoint point) const {
  const DisplayGeometry g = measurements_.Geometry();
  const PixelPoint shown = ::ToScreen(point, g.rotation, g.verticalFlip, g.horizontalFlip, g.dest, g.rows, g.columns);
  return {shown.x, shown.y};
}

bool MeasAnnotTool::ClampToImage(PixelPoint& point) const {
  const DisplayGeometry g = measurements_.Geometry();
  bool inside = true;
  const auto clamp = [&inside](std::int32_t& value, std::int32_t size) {
    if (value < 0) {
      value = 0;
      inside = false;
    } else if (value >= size) {
      value = size - 1;
      inside = false;
    }
  };
  clamp(point.x, g.columns);
  clamp(point.y, g.rows);
  return inside;
}

bool MeasAnnotTool::IsSelected() const { return measurements_.GetSelected() == this; }

bool MeasAnnotTool::HitGrip(POINT point, PixelPoint anchor) const {
  const POINT centre = ToScreen(anchor);
  const int g = GripSize();
  const RECT grip{centre.x - g, centre.y - g, centre.x + g, centre.y + g};
  return PtInRect(&grip, point) != FALSE;
}

bool HitSegmentOnScreen(POINT point, POINT p, POINT q, int tolerance) {
  const std::int64_t g = tolerance;
  if (point.x < std::min(p.x, q.x) - g || point.x > std::max(p.x, q.x) + g || point.y < std::min(p.y, q.y) - g ||
      point.y > std::max(p.y, q.y) + g)
    return false;
  // The square roots are taken in single precision and widened, so that points at the edge of the
  // tolerance fall on the same side as they always have.
  const std::int64_t dx = q.x - p.x;
  const std::int64_t dy = q.y - p.y;
  double distance = 0.0;
  if (dx == 0 && dy == 0) {
    const std::int64_t ex = point.x - p.x;
    const std::int64_t ey = point.y - p.y;
    distance = static_cast<double>(std::sqrt(static_cast<float>(ex * ex + ey * ey)));
  } else {
    const std::int64_t cross = std::llabs((point.y - p.y) * dx - (point.x - p.x) * dy);
    distance = static_cast<double>(cross) / static_cast<double>(std::sqrt(static_cast<float>(dx * dx + dy * dy)));
  }
  return static_cast<double>(g) >= distance;
}

bool MeasAnnotTool::HitSegment(POINT point, PixelPoint a, PixelPoint b) const {
  return HitSegmentOnScreen(point, ToScreen(a), ToScreen(b), GripSize());
}

bool MeasAnnotTool::HitEllipseOutline(POINT point, PixelPoint a, PixelPoint b) const {
  const POINT p = ToScreen(a);
  const POINT q = ToScreen(b);
  const int rx = std::abs(p.x - q.x) / 2;
  const int ry = std::abs(p.y - q.y) / 2;
  const double dx = point.x - (std::min(p.x, q.x) + rx);
  const double dy = point.y - (std::min(p.y, q.y) + ry);
  const int g = GripSize();
  const auto term = [](double d, int r) { return d * d / (static_cast<double>(r) * r); };
  // A ring of g pixels either side of the curve. At a half-extent of g the inner terms divide by zero:
  // infinity off the axis (outside the inner ellipse) and not-a-number on it (no hit).
  return term(dx, rx + g) + term(dy, ry + g) <= 1.0 && term(dx, rx - g) + term(dy, ry - g) > 1.0;
}

bool MeasAnnotTool::AreOverlapped(PixelPoint a, PixelPoint b) const {
  const double dx = static_cast<double>(a.x) - b.x;
  const double dy = static_cast<double>(a.y) - b.y;
  return static_cast<double>(GripSize()) >= std::sqrt(dx * dx + dy * dy);
}

void MeasAnnotTool::DrawGrips(HDC dc, std::span<const PixelPoint> points) const {
  const int g = GripSize();
  for (const PixelPoint& point : points) {
    const POINT centre = ToScreen(point);
    Rectangle(dc, centre.x - g, centre.y - g, centre.x + g, centre.y + g);
  }
}

SIZE MeasAnnotTool::TextExtent(HDC dc, const std::string& text) {
  SIZE extent{};
  GetTextExtentPoint32A(dc, text.c_str(), static_cast<int>(text.size()), &extent);
  return extent;
}

HFONT MeasAnnotTool::GetAnnotationFont(HDC dc) { return CreateUserFont(dc, UserFont::Annotation); }

void MeasAnnotTool::ThrowOverlapped() { throw std::runtime_error("Invalid measurement: overlapped points."); }

void MeasAnnotTool::SetLabelLines(TextLines lines) {
  if (label_ != nullptr) {
    label_->SetLines(std::move(lines));
    return;
  }
  auto label = std::make_unique<TextAnnotationTool>(measurements_, std::move(lines), *this);
  label_ = label.get();
  measurements_.AppendTool(std::move(label));
}

void MeasAnnotTool::CentredLabelBox(HDC dc, const TextLines& lines, PixelPoint centre, RECT& rect,
                                    int& lineHeight) const {
  if (lines.empty()) {
    rect = RECT{0, 0, 0, 0};
    return;
  }
  const ScopedGdiObject<HFONT> font(GetAnnotationFont(dc));
  const ScopedSelection selection(dc, font.Get());
  const SIZE extent = TextExtent(dc, lines[0]);
  lineHeight = extent.cy;
  const POINT middle = ToScreen(centre);
  rect = RECT{middle.x - extent.cx / 2, middle.y - extent.cy / 2, middle.x + extent.cx / 2, middle.y + extent.cy / 2};
}

bool ShapeTool::HitFirstGrip(POINT point, const std::vector<PixelPoint>& grips) {
  activeAnchor_ = -1;
  for (std::size_t i = 0; i < grips.size(); ++i) {
    if (HitGrip(point, grips[i])) {
      activeAnchor_ = static_cast<int>(i);
      return true;
    }
  }
  return false;
}

void ShapeTool::MoveShape(PixelPoint point) {
  const PixelPoint delta{point.x - dragStart_.x, point.y - dragStart_.y};
  for (const PixelPoint& anchor : anchors_) {
    PixelPoint moved{anchor.x + delta.x, anchor.y + delta.y};
    if (!ClampToImage(moved)) return;
  }
  dragStart_ = point;
  for (PixelPoint& anchor : anchors_) {
    anchor.x += delta.x;
    anchor.y += delta.y;
  }
}

void ShapeTool::CommonMove(HDC dc, POINT point) {
  PixelPoint p = ToImage(point);
  Draw(dc);
  if ((mode_ == MEAS_MODE_CREATING || mode_ == MEAS_MODE_MOVING_ANCHOR) && activeAnchor_ >= 0) {
    ClampToImage(p);
    anchors_[static_cast<std::size_t>(activeAnchor_)] = p;
  } else if (mode_ == MEAS_MODE_MOVING_SHAPE) {
    MoveShape(p);
  }
  Draw(dc);
}
