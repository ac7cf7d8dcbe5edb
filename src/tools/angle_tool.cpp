#include "tools/angle_tool.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/gdi_scope.h"
#include "tools/measurements.h"
#include "tools/text_annotation_tool.h"

void AngleTool::OnButtonDown(HDC, POINT point) {
  PixelPoint p = ToImage(point);
  // Only the first press must fall on the image; later ones add no anchor here.
  if (!ClampToImage(p) && anchors_.empty()) {
    mode_ = MEAS_MODE_NONE;
    activeAnchor_ = -1;
  }
  if (mode_ == MEAS_MODE_MOVING_SHAPE) dragStart_ = p;
}

void AngleTool::OnMouseMove(HDC dc, POINT point) { CommonMove(dc, point); }

bool AngleTool::OnButtonUp(HDC dc, POINT point) {
  const PixelPoint p = ToImage(point);
  Draw(dc);
  bool complete = false;
  if (mode_ == MEAS_MODE_CREATING || mode_ == MEAS_MODE_MOVING_ANCHOR) {
    // The anchor that followed the pointer keeps the place of the last move.
    if (anchors_.empty()) {
      anchors_ = {p, p};
      activeAnchor_ = 1;
    } else if (anchors_.size() == 2) {
      anchors_.push_back(p);
      activeAnchor_ = 2;
    } else {
      complete = true;
      UpdateLabel();
    }
  } else if (mode_ == MEAS_MODE_MOVING_SHAPE) {
    MoveShape(p);
    complete = true;
    UpdateLabel();
  } else {
    // The click after a double-click on a finished angle, which has nothing to edit: it ends there.
    complete = true;
  }
  Draw(dc);
  if (complete) mode_ = MEAS_MODE_NONE;
  return complete;
}

void AngleTool::Draw(HDC dc) {
  if (anchors_.size() == 2 || anchors_.size() == 3) {
    const POINT first = ToScreen(anchors_[0]);
    const POINT vertex = ToScreen(anchors_[1]);
    MoveToEx(dc, first.x, first.y, nullptr);
    LineTo(dc, vertex.x, vertex.y);
    if (anchors_.size() == 3) {
      const POINT second = ToScreen(anchors_[2]);
      LineTo(dc, second.x, second.y);
    }
    if (IsSelected()) DrawGrips(dc, anchors_);
  }
  if (mode_ == MEAS_MODE_NONE && label_ != nullptr) label_->Draw(dc);
}

bool AngleTool::HitTestAnchor(POINT point) { return anchors_.size() >= 3 && HitFirstGrip(point, anchors_); }

bool AngleTool::HitTestShape(POINT point) {
  if (anchors_.size() < 3) return false;
  return HitSegment(point, anchors_[0], anchors_[1]) || HitSegment(point, anchors_[1], anchors_[2]);
}

void AngleTool::GetLabelBox(HDC dc, const TextLines& lines, RECT& rect, int& lineHeight) {
  if (anchors_.size() != 3) return;
  const PixelPoint centre{(anchors_[0].x + anchors_[1].x + anchors_[2].x) / 3,
                          (anchors_[0].y + anchors_[1].y + anchors_[2].y) / 3};
  CentredLabelBox(dc, lines, centre, rect, lineHeight);
}

void AngleTool::UpdateLabel() {
  double degrees = 0.0;
  if (anchors_.size() == 3) {
    // In image pixels, whatever the pixel spacing or calibration.
    const double ux = static_cast<double>(anchors_[0].x) - anchors_[1].x;
    const double uy = static_cast<double>(anchors_[0].y) - anchors_[1].y;
    const double vx = static_cast<double>(anchors_[2].x) - anchors_[1].x;
    const double vy = static_cast<double>(anchors_[2].y) - anchors_[1].y;
    const double u = std::sqrt(ux * ux + uy * uy);
    const double v = std::sqrt(vx * vx + vy * vy);
    if (u > 1e-6 && v > 1e-6) {
      // Held within [-1, 1]: rounding can take the cosine of collinear points just past it, which
      // would read as no number at all instead of 0 or 180.
      const double cosine = std::clamp((vy * uy + vx * ux) / (v * u), -1.0, 1.0);
      degrees = std::acos(cosine) * 180.0 / 3.14159265358979;
    }
  }
  // The degree sign of Windows-1252.
  char text[12];
  std::snprintf(text, sizeof text, "%.0f%s", degrees, "\xB0");
  ApplyLabel({text}, [this] {
    return anchors_.size() < 3 || AreOverlapped(anchors_[0], anchors_[1]) || AreOverlapped(anchors_[1], anchors_[2]) ||
           AreOverlapped(anchors_[0], anchors_[2]);
  });
}
