#include "spatial/reference_lines.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "spatial/image_pair.h"
#include "spatial/reference_line_tool.h"
#include "tools/measurements.h"
#include "tools/reference_lines_mode.h"

namespace {

// Whether the walk from `first` to `last` is taken: at most 2^24 steps, between whole numbers that a
// double holds exactly. Only a source whose orientation is all but degenerate, whose pixels hardly
// move along the crossing, or one that lies absurdly far away would need more; it gives no line.
bool Walkable(double first, double last) {
  constexpr double kMostSteps = 1 << 24;
  constexpr double kFarthest = 9007199254740992.0;  // 2^53
  return last - first <= kMostSteps && std::fabs(first) < kFarthest && std::fabs(last) < kFarthest;
}

// Where the source's plane crosses the target's pixel column `column` (at a fractional row), or else
// its pixel row `row`. False when the plane runs along both.
bool CrossingAt(const ImageGeometry& target, const PlaneEquation& plane, double column, double row,
                Point2D& crossing) {
  double solved = 0.0;
  if (SolveRowOnPlane(solved, column, target, plane)) {
    crossing = {column, solved};
    return true;
  }
  if (SolveColumnOnPlane(solved, row, target, plane)) {
    crossing = {solved, row};
    return true;
  }
  return false;
}

// Whether the target pixel, taken to patient space, lies in the source's rectangle of pixels.
bool InSource(const Point2D& pixel, const ImageGeometry& target, const ImageGeometry& source) {
  Point2D there;
  if (!PatientToPixel(there, PixelToPatient(pixel, target), source)) return false;
  return there.x >= 0.0 && there.x < source.columns && there.y >= 0.0 && there.y < source.rows;
}

// Narrows the rows [first, last] of a steep walk, whose points are (offset + slope * row, row), to
// those that can lie in the source. A target pixel's source pixel is an affine function of it, so
// along the walk each source coordinate is one of the row: only the rows where both stay within a
// pixel of the source's rectangle are kept, and the walk's own test decides at the ends. This keeps a
// nearly vertical crossing, whose rows at the target's first and last column lie far apart, from
// being walked over millions of rows outside the source. False when no row can hold.
bool NarrowToSource(double& first, double& last, double offset, double slope, const ImageGeometry& target,
                    const ImageGeometry& source) {
  Point2D origin;
  Point2D right;
  Point2D down;
  if (!PatientToPixel(origin, PixelToPatient({0.0, 0.0}, target), source) ||
      !PatientToPixel(right, PixelToPatient({1.0, 0.0}, target), source) ||
      !PatientToPixel(down, PixelToPatient({0.0, 1.0}, target), source))
    return false;
  const auto narrow = [&](double atOrigin, double perColumn, double perRow, double size) {
    const double start = atOrigin + offset * perColumn;
    const double step = slope * perColumn + perRow;
    if (step == 0.0) return start >= -1.0 && start <= size + 1.0;
    const double a = (-1.0 - start) / step;
    const double b = (size + 1.0 - start) / step;
    first = std::max(first, std::floor(std::min(a, b)));
    last = std::min(last, std::ceil(std::max(a, b)));
    return true;
  };
  return narrow(origin.x, right.x - origin.x, down.x - origin.x, source.columns) &&
         narrow(origin.y, right.y - origin.y, down.y - origin.y, source.rows) && first <= last;
}

// The outermost points of a walk that pass the test.
class Outermost {
 public:
  void Take(const Point2D& point) {
    if (!first_)
      first_ = point;
    else
      last_ = point;
  }
  std::optional<ReferenceLineEnds> Ends() const {
    if (!first_ || !last_) return std::nullopt;
    return ReferenceLineEnds{{RoundToInt(first_->x), RoundToInt(first_->y)},
                             {RoundToInt(last_->x), RoundToInt(last_->y)}};
  }

 private:
  std::optional<Point2D> first_;
  std::optional<Point2D> last_;
};

bool Finite(const Point2D& point) { return std::isfinite(point.x) && std::isfinite(point.y); }

}  // namespace

std::optional<ReferenceLineEnds> ProjectImage(ImageInfoStrategy& source, ImageInfoStrategy& target) {
  if (!SameFrameOfReference(source, target)) return std::nullopt;
  ImageGeometry from;
  ImageGeometry to;
  if (!ReadGeometries(source, target, from, to)) return std::nullopt;
  const PlaneEquation plane = CalculatePlaneFromImage(from);

  // The crossing's ends at the target's first and last column, or, for a crossing along the columns,
  // its first and last row.
  Point2D p1;
  Point2D p2;
  if (!CrossingAt(to, plane, 0.0, 0.0, p1) || !CrossingAt(to, plane, to.columns - 1.0, to.rows - 1.0, p2))
    return std::nullopt;
  double length = 0.0;
  double unitY = 0.0;
  double unitX = 0.0;
  if (!Finite(p1) || !Finite(p2) || !CalculateDirection2D(p1, p2, length, unitY, unitX)) return std::nullopt;

  Outermost outermost;
  const auto test = [&](const Point2D& pixel) {
    if (InSource(pixel, to, from)) outermost.Take(pixel);
  };
  if (std::fabs(unitX) < 0.5) {
    // A steep crossing: a step a row, its column kept fractional and not held in the image.
    double first = std::trunc(std::min(p1.y, p2.y));
    double last = std::trunc(std::max(p1.y, p2.y));
    const double slope = unitX / unitY;
    if (!NarrowToSource(first, last, p1.x - p1.y * slope, slope, to, from) || !Walkable(first, last))
      return std::nullopt;
    for (auto y = static_cast<std::int64_t>(first); y <= static_cast<std::int64_t>(last); ++y) {
      const double s = (static_cast<double>(y) - p1.y) / unitY;
      test({s * unitX + p1.x, static_cast<double>(y)});
    }
  } else {
    // A flat crossing: a step a column, its row truncated to a whole one; rows outside the target are
    // passed over (kept whole: a row far outside never wraps into the image).
    const double first = std::trunc(std::min(p1.x, p2.x));
    const double last = std::trunc(std::max(p1.x, p2.x));
    if (!Walkable(first, last)) return std::nullopt;
    for (auto x = static_cast<std::int64_t>(first); x <= static_cast<std::int64_t>(last); ++x) {
      const double s = (static_cast<double>(x) - p1.x) / unitX;
      const double row = std::trunc(s * unitY + p1.y);
      if (row < 0.0 || row >= to.rows) continue;
      test({static_cast<double>(x), row});
    }
  }
  return outermost.Ends();
}

void CalculateReferenceLines(Image* projected, Image* projectee) {
  Measurements* lines = projectee != nullptr ? MeasurementsOf(*projectee) : nullptr;
  if (lines == nullptr) return;
  lines->ClearReferenceLines();
  if (projected == nullptr) return;
  if (Measurements* own = MeasurementsOf(*projected)) own->ClearReferenceLines();
  ImageInfoStrategy* source = projected->Info();
  ImageInfoStrategy* target = projectee->Info();
  if (source == nullptr || target == nullptr) return;

  const auto project = [&](ImageInfoStrategy& image) {
    const std::optional<ReferenceLineEnds> ends = ProjectImage(image, *target);
    if (ends)
      lines->ReferenceLines().push_back(
          std::make_unique<ReferenceLineTool>(*lines, ends->first, ends->second, image.GetInstanceNumber()));
  };
  switch (ReferenceLinesMode()) {
    case REFERENCE_LINE_CURRENT_IMAGE:
      project(*source);
      break;
    case REFERENCE_LINE_CURRENT_SERIES:
      for (std::unique_ptr<ImageInfoStrategy>& image : source->GetSeriesImages()) {
        project(*image);
        image.reset();  // each image's objects go as soon as its line is made
      }
      break;
    default:
      break;
  }
}
