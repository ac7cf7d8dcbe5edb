#include "tools/line_tool.h"

#include <cmath>
#include <cstdio>

#include "foundation/user_preferences.h"
#include "tools/gdi_scope.h"
#include "tools/measurements.h"
#include "tools/text_annotation_tool.h"

void LineTool::OnButtonDown(HDC, POINT point) {
  PixelPoint p = ToImage(point);
  if (!ClampToImage(p)) {
    mode_ = MEAS_MODE_NONE;
    activeAnchor_ = -1;
    return;
  }
  if (mode_ == MEAS_MODE_CREATING) {
    anchors_ = {p, p};
    activeAnchor_ = 1;
  } else if (mode_ == MEAS_MODE_MOVING_SHAPE) {
    dragStart_ = p;
  }
}

void LineTool::OnMouseMove(HDC dc, POINT point) { CommonMove(dc, point); }

bool LineTool::OnButtonUp(HDC dc, POINT point) {
  PixelPoint p = ToImage(point);
  ClampToImage(p);
  if ((mode_ == MEAS_MODE_CREATING || mode_ == MEAS_MODE_MOVING_ANCHOR) && activeAnchor_ >= 0) {
    anchors_[static_cast<std::size_t>(activeAnchor_)] = p;
    UpdateLabel();
  } else if (mode_ == MEAS_MODE_MOVING_SHAPE) {
    MoveShape(p);  // the length stays, and so does the label
  }
  // Under the exclusive-or pen of the release this takes the rubber band away; the finished line shows
  // at the next full draw.
  Draw(dc);
  mode_ = MEAS_MODE_NONE;
  return true;
}

void LineTool::DrawLine(HDC dc) {
  if (anchors_.size() != 2) return;
  const POINT a = ToScreen(anchors_[0]);
  const POINT b = ToScreen(anchors_[1]);
  MoveToEx(dc, a.x, a.y, nullptr);
  LineTo(dc, b.x, b.y);
  if (IsSelected()) DrawGrips(dc, anchors_);
  if (mode_ == MEAS_MODE_NONE && label_ != nullptr) label_->Draw(dc);
}

void LineTool::Draw(HDC dc) { DrawLine(dc); }

bool LineTool::HitTestAnchor(POINT point) { return anchors_.size() >= 2 && HitFirstGrip(point, anchors_); }

bool LineTool::HitTestShape(POINT point) { return anchors_.size() >= 2 && HitSegment(point, anchors_[0], anchors_[1]); }

void LineTool::GetLabelBox(HDC dc, const TextLines& lines, RECT& rect, int& lineHeight) {
  if (anchors_.size() != 2) return;
  CentredLabelBox(dc, lines, {(anchors_[0].x + anchors_[1].x) / 2, (anchors_[0].y + anchors_[1].y) / 2}, rect,
                  lineHeight);
}

void LineTool::UpdateLabel() {
  double length = 0.0;
  const std::optional<Calibration>& calibration = measurements_.GetCalibration();
  if (anchors_.size() == 2) {
    const double dx = static_cast<double>(anchors_[1].x) - anchors_[0].x;
    const double dy = static_cast<double>(anchors_[1].y) - anchors_[0].y;
    length = calibration ? std::sqrt((dx * calibration->x) * (dx * calibration->x) +
                                     (dy * calibration->y) * (dy * calibration->y))
                         : std::sqrt(dx * dx + dy * dy);
  }
  char text[12];
  std::snprintf(text, sizeof text, calibration ? "%.0f mm" : "%.0f px", length);
  // A point that is missing counts as overlapping.
  ApplyLabel({text}, [this] { return anchors_.size() < 2 || AreOverlapped(anchors_[0], anchors_[1]); });
}

void CalibrationTool::Draw(HDC dc) {
  if (mode_ != MEAS_MODE_NONE) {
    DrawLine(dc);  // in the exclusive-or pen of the gesture
    return;
  }
  const ScopedGdiObject<HPEN> pen(
      CreatePen(PS_SOLID, Preferences().userMeasWidth, Preferences().userCalibrationLineColor));
  const ScopedSelection selection(dc, pen.Get());
  DrawLine(dc);
}

double CalibrationTool::SpacingFor(double userValue) const {
  if (anchors_.size() != 2) return 0.0;
  const double dx = static_cast<double>(anchors_[1].x) - anchors_[0].x;
  const double dy = static_cast<double>(anchors_[1].y) - anchors_[0].y;
  const double length = std::sqrt(dx * dx + dy * dy);
  return length > 1e-6 ? userValue / length : 0.0;
}
