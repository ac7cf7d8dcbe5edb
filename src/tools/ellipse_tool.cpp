#include "tools/ellipse_tool.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "tools/gdi_scope.h"
#include "tools/measurement_texts.h"
#include "tools/measurements.h"
#include "tools/text_annotation_tool.h"

namespace {

// The constant of the area and of every ellipse the workstation has measured; not full-precision pi.
constexpr double kPi = 3.14159265358979;

bool IsCt(const ImageInfoStrategy::Text& modality) {
  const std::u16string_view text = modality.View();
  return text.size() == 2 && (text[0] == u'C' || text[0] == u'c') && (text[1] == u'T' || text[1] == u't');
}

}  // namespace

void EllipseTool::OnButtonDown(HDC, POINT point) {
  PixelPoint p = ToImage(point);
  if (!ClampToImage(p)) {
    mode_ = MEAS_MODE_NONE;
    activeAnchor_ = -1;
  }
  if (mode_ == MEAS_MODE_CREATING) {
    anchors_ = {p, p};
    activeAnchor_ = 1;
  } else if (mode_ == MEAS_MODE_MOVING_ANCHOR) {
    HitTestAnchor(point);
  } else if (mode_ == MEAS_MODE_MOVING_SHAPE) {
    dragStart_ = p;
  }
}

void EllipseTool::MoveSide(PixelPoint p) {
  PixelPoint& grip = grips_[static_cast<std::size_t>(activeAnchor_)];
  PixelPoint& a = anchors_[0];
  PixelPoint& b = anchors_[1];
  // Values are compared, not grip numbers: on a box thin enough for a middle coordinate to equal a
  // corner's, the first test that holds decides which side moves.
  if (a.x == grip.x) {
    a.x = grip.x = p.x;
  } else if (a.y == grip.y) {
    a.y = grip.y = p.y;
  } else if (b.x == grip.x) {
    b.x = grip.x = p.x;
  } else if (b.y == grip.y) {
    b.y = grip.y = p.y;
  }
}

void EllipseTool::OnMouseMove(HDC dc, POINT point) {
  PixelPoint p = ToImage(point);
  Draw(dc);
  if (mode_ == MEAS_MODE_CREATING && activeAnchor_ >= 0) {
    ClampToImage(p);
    anchors_[static_cast<std::size_t>(activeAnchor_)] = p;
  } else if (mode_ == MEAS_MODE_MOVING_ANCHOR && activeAnchor_ >= 0) {
    ClampToImage(p);
    MoveSide(p);
    RebuildGrips();
  } else if (mode_ == MEAS_MODE_MOVING_SHAPE) {
    MoveShape(p);
  }
  Draw(dc);
}

bool EllipseTool::OnButtonUp(HDC dc, POINT point) {
  // Not held in the image: a release outside it places the corner or side there.
  const PixelPoint p = ToImage(point);
  if (mode_ == MEAS_MODE_CREATING && activeAnchor_ >= 0) {
    anchors_[static_cast<std::size_t>(activeAnchor_)] = p;
  } else if (mode_ == MEAS_MODE_MOVING_ANCHOR && activeAnchor_ >= 0) {
    MoveSide(p);
  } else if (mode_ == MEAS_MODE_MOVING_SHAPE) {
    MoveShape(p);
  }
  UpdateLabel();
  RebuildGrips();
  Draw(dc);
  mode_ = MEAS_MODE_NONE;
  return true;
}

void EllipseTool::RebuildGrips() {
  if (anchors_.size() != 2) return;
  const PixelPoint a = anchors_[0];
  const PixelPoint b = anchors_[1];
  const std::int32_t midX = (a.x + b.x) / 2;
  const std::int32_t midY = (a.y + b.y) / 2;
  grips_ = {{a.x, midY}, {b.x, midY}, {midX, a.y}, {midX, b.y}};
}

void EllipseTool::Draw(HDC dc) {
  if (anchors_.size() != 2) return;
  const POINT a = ToScreen(anchors_[0]);
  const POINT b = ToScreen(anchors_[1]);
  Ellipse(dc, a.x, a.y, b.x, b.y);
  if (IsSelected()) DrawGrips(dc, grips_);
  if (mode_ == MEAS_MODE_NONE && label_ != nullptr) label_->Draw(dc);
}

bool EllipseTool::HitTestAnchor(POINT point) { return anchors_.size() >= 2 && HitFirstGrip(point, grips_); }

bool EllipseTool::HitTestShape(POINT point) {
  return anchors_.size() >= 2 && HitEllipseOutline(point, anchors_[0], anchors_[1]);
}

void EllipseTool::GetLabelBox(HDC dc, const TextLines& lines, RECT& rect, int& lineHeight) {
  if (anchors_.size() != 2) return;
  // Measured in the font the context holds on entry (the annotation font when the label draws itself),
  // before the annotation font is selected here.
  lineHeight = 0;
  LONG width = 0;
  for (const std::string& line : lines) {
    const SIZE extent = TextExtent(dc, line);
    lineHeight = std::max<int>(lineHeight, extent.cy);
    width = std::max(width, extent.cx);
  }
  const ScopedGdiObject<HFONT> font(GetAnnotationFont(dc));
  const ScopedSelection selection(dc, font.Get());
  const POINT centre = ToScreen({(anchors_[0].x + anchors_[1].x) / 2, (anchors_[0].y + anchors_[1].y) / 2});
  const LONG half = static_cast<LONG>(lines.size()) * lineHeight / 2;
  rect = RECT{centre.x - width / 2, centre.y - half, centre.x + width / 2, centre.y + half};
}

std::string EllipseTool::AreaText() const {
  double area = 0.0;
  if (anchors_.size() == 2) {
    // The half-extents are whole pixels: an odd extent loses its half pixel on each axis.
    const int rx = std::abs(anchors_[0].x - anchors_[1].x) / 2;
    const int ry = std::abs(anchors_[0].y - anchors_[1].y) / 2;
    area = rx * kPi * ry;
  }
  const std::optional<Calibration>& calibration = measurements_.GetCalibration();
  if (calibration) area *= calibration->y * calibration->x;
  return MeasurementTexts::Shared().FormatArea(area, calibration.has_value());
}

std::string EllipseTool::MeanText() const {
  ImageInfoStrategy* info = measurements_.GetImage().Info();
  // The stored values of the frame, neither turned nor shuttered: the anchors are pixels of the raw
  // image, so the mean is the same on every view of it. Its rows are `columns` values long.
  const std::span<const std::uint8_t> stored = measurements_.GetImage().Source().Bytes();
  if (info == nullptr || stored.empty()) THROW_MY_EXCEPTION("Invalid image info object");
  const std::int64_t rows = info->GetRows();
  const std::int64_t columns = info->GetColumns();
  const std::string suffix = IsCt(info->GetModality()) ? " HU" : "";
  const std::size_t sampleBytes = info->GetBitsStored() <= 8 ? 1 : 2;

  double count = 0.0;
  std::int64_t sum = 0;
  if (anchors_.size() == 2) {
    const PixelPoint a = anchors_[0];
    const PixelPoint b = anchors_[1];
    const int rx = std::abs(a.x - b.x) / 2;
    const int ry = std::abs(a.y - b.y) / 2;
    const double rx2 = static_cast<double>(rx) * rx;
    const double ry2 = static_cast<double>(ry) * ry;
    const std::int64_t minX = std::min(a.x, b.x);
    const std::int64_t maxX = std::max(a.x, b.x);
    const std::int64_t minY = std::min(a.y, b.y);
    const std::int64_t maxY = std::max(a.y, b.y);
    const std::int64_t cx = minX + rx;
    const std::int64_t cy = minY + ry;
    // The box's right column and bottom row are not read. Pixels outside the image count for nothing
    // (an ellipse may reach past its edge), so the walk keeps to the image.
    const std::int64_t firstX = std::max<std::int64_t>(minX, 0);
    const std::int64_t lastX = std::min(maxX, columns);
    const std::int64_t firstY = std::max<std::int64_t>(minY, 0);
    const std::int64_t lastY = std::min(maxY, rows);
    for (std::int64_t x = firstX; x < lastX; ++x) {
      const auto dx = static_cast<std::int16_t>(x - cx);
      const double termX = static_cast<double>(dx) * dx / rx2;
      std::size_t at = (static_cast<std::size_t>(firstY * columns + x)) * sampleBytes;
      for (std::int64_t y = firstY; y < lastY; ++y, at += static_cast<std::size_t>(columns) * sampleBytes) {
        const auto dy = static_cast<std::int16_t>(y - cy);
        // A flat ellipse divides by zero: on its axis the term is not a number, and counts nothing.
        if (!(static_cast<double>(dy) * dy / ry2 + termX <= 1.0)) continue;
        if (at + sampleBytes > stored.size()) continue;  // a frame cut short
        // Signed pixel data is read as unsigned, as the workstation always has.
        sum += sampleBytes == 1 ? stored[at] : stored[at] | stored[at + 1] << 8;
        count += 1.0;
      }
    }
  }
  double mean = 0.0;
  if (count > 0.0) {
    double slope = info->GetRescaleSlope();
    if (slope == 0.0) slope = 1.0;
    mean = static_cast<double>(sum) / count * slope + info->GetRescaleIntercept();
  }
  return MeasurementTexts::Shared().FormatMean(mean, suffix);
}

void EllipseTool::UpdateLabel() {
  TextLines lines{AreaText(), MeanText()};
  ApplyLabel(std::move(lines), [this] { return anchors_.size() < 2 || AreOverlapped(anchors_[0], anchors_[1]); });
}
