// Geometry in the plane of an image: lines, bounding rectangles, the float to integer conversions,
// and the mapping between image pixels and client pixels of a viewport.
#include <algorithm>
#include <cmath>
#include <limits>

#include "foundation/exceptions.h"
#include "geometry/geometry.h"

namespace {

constexpr double kEpsilon = 1e-6;

double Distance2D(const Point2D& a, const Point2D& b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  return std::sqrt(dx * dx + dy * dy);
}

// The displayed size of an image: a quarter turn exchanges its width and height.
struct DisplayedSize {
  double width;
  double height;
};

DisplayedSize DisplayedSizeOf(int rotation, std::uint16_t rows, std::uint16_t columns) {
  if (rotation % 180 == 0) return {static_cast<double>(columns), static_cast<double>(rows)};
  return {static_cast<double>(rows), static_cast<double>(columns)};
}

double DestWidth(const RECT& dest) { return std::fabs(static_cast<double>(dest.right) - dest.left); }
double DestHeight(const RECT& dest) { return std::fabs(static_cast<double>(dest.bottom) - dest.top); }

}  // namespace

bool CalculateDirection2D(const Point2D& a, const Point2D& b, double& length, double& unitY, double& unitX) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  length = std::sqrt(dx * dx + dy * dy);
  if (length < kEpsilon) return false;
  unitY = dy / length;
  unitX = dx / length;
  return true;
}

bool CalculateLineEquation(const Point2D& a, const Point2D& b, double& slope, double& intercept) {
  // Less than a pixel apart counts as equal, and y is tested first: a line is kept horizontal in
  // preference to vertical, so a tiny segment never becomes a vertical line.
  if (std::fabs(b.y - a.y) < 1.0) {
    slope = 0.0;
    intercept = a.y;
    return true;
  }
  if (std::fabs(b.x - a.x) < 1.0) {
    slope = 0.0;
    intercept = a.x;
    return false;
  }
  slope = (b.y - a.y) / (b.x - a.x);
  intercept = a.y - a.x * slope;
  return true;
}

std::vector<PixelPoint> ClipLineToRectangle(double slope, double intercept, bool isVertical, const RECT& rectangle) {
  std::vector<PixelPoint> points;
  const auto addOnce = [&](const PixelPoint& point) {
    const bool inside = rectangle.left <= point.x && point.x <= rectangle.right && rectangle.top <= point.y &&
                        point.y <= rectangle.bottom;
    if (inside && std::find(points.begin(), points.end(), point) == points.end()) points.push_back(point);
  };
  if (isVertical) {
    const std::int32_t x = TruncateToInt(intercept);
    addOnce({x, rectangle.top});
    addOnce({x, rectangle.bottom});
    return points;
  }
  for (const LONG x : {rectangle.left, rectangle.right}) addOnce({x, RoundToInt(slope * x + intercept)});
  if (slope == 0.0) return points;
  for (const LONG y : {rectangle.top, rectangle.bottom}) addOnce({RoundToInt((y - intercept) / slope), y});
  return points;
}

Point2D PerpendicularFoot(const Point2D& a, const Point2D& b, const Point2D& p) {
  const double dy = b.y - a.y;
  const double dx = b.x - a.x;
  const double c = a.y * dx - a.x * dy;
  const double lengthSquared = dy * dy + dx * dx;
  const double s = dy * p.y + dx * p.x;
  return {(s * dx - c * dy) / lengthSquared, (s * dy + c * dx) / lengthSquared};
}

double PointToLineDistance(const Point2D& a, const Point2D& b, const Point2D& p) {
  const double dy = b.y - a.y;
  const double dx = b.x - a.x;
  return std::fabs((p.x - a.x) * dy - (p.y - a.y) * dx) / std::sqrt(dy * dy + dx * dx);
}

void AssignNearestEndpoints(Point2D& first, Point2D& second, const Point2D& candidateA, const Point2D& candidateB) {
  // Copies, since a candidate may be one of the two outputs.
  const Point2D a = candidateA;
  const Point2D b = candidateB;
  if (Distance2D(first, b) > Distance2D(first, a)) {
    first = a;
    second = b;
  } else {
    first = b;
    second = a;
  }
}

RECT CalculateBoundingRectangle(const std::vector<Point2D>& points) {
  if (points.empty()) {
    THROW_MY_EXCEPTION("Cannot calculate the bounding rectangle because the container of points is empty.");
  }
  Point2D low = points.front();
  Point2D high = points.front();
  for (const Point2D& point : points) {
    low = {std::min(low.x, point.x), std::min(low.y, point.y)};
    high = {std::max(high.x, point.x), std::max(high.y, point.y)};
  }
  return {TruncateToInt(low.x), TruncateToInt(low.y), TruncateToInt(high.x), TruncateToInt(high.y)};
}

std::int32_t RoundToInt(double value) { return value < 0.0 ? TruncateToInt(value - 0.5) : TruncateToInt(value + 0.5); }

std::int32_t TruncateToInt(double value) {
  // What the processor's conversion gives, made defined here: the spatial code relies on a value that
  // is not finite or out of range (a zero denominator upstream) landing far outside every image.
  if (!(value > -2147483649.0 && value < 2147483648.0)) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

PixelPoint ToScreen(const PixelPoint& point, int rotation, bool verticalFlip, bool horizontalFlip, const RECT& dest,
                    std::uint16_t rows, std::uint16_t columns) {
  const DisplayedSize size = DisplayedSizeOf(rotation, rows, columns);
  const double x = point.x;
  const double y = point.y;
  double shownX = x;
  double shownY = y;
  switch (rotation) {
    case 90:
      shownX = size.width - 1 - y;
      shownY = x;
      break;
    case 180:
      shownX = size.width - 1 - x;
      shownY = size.height - 1 - y;
      break;
    case 270:
      shownX = y;
      shownY = size.height - 1 - x;
      break;
    default:
      break;
  }
  if (horizontalFlip) shownX = size.width - 1 - shownX;
  if (verticalFlip) shownY = size.height - 1 - shownY;
  const double scaleX = size.width / DestWidth(dest);
  const double scaleY = size.height / DestHeight(dest);
  if (scaleX < kEpsilon || scaleY < kEpsilon) THROW_MY_EXCEPTION("Zero scalling in coordinate transformations.");
  return {TruncateToInt(shownX / scaleX + dest.left), TruncateToInt(shownY / scaleY + dest.top)};
}

PixelPoint ToImage(const PixelPoint& point, int rotation, bool verticalFlip, bool horizontalFlip, const RECT& dest,
                   std::uint16_t rows, std::uint16_t columns) {
  const DisplayedSize size = DisplayedSizeOf(rotation, rows, columns);
  // No test for a zero scale here, unlike ToScreen: an empty `dest` gives infinite or NaN coordinates,
  // which TruncateToInt turns into the integer minimum.
  double x = size.width / DestWidth(dest) * (static_cast<double>(point.x) - dest.left);
  double y = size.height / DestHeight(dest) * (static_cast<double>(point.y) - dest.top);
  if (horizontalFlip) x = size.width - 1 - x;
  if (verticalFlip) y = size.height - 1 - y;
  double column = x;
  double row = y;
  switch (rotation) {
    case 90:
      column = y;
      row = size.width - 1 - x;
      break;
    case 180:
      column = size.width - 1 - x;
      row = size.height - 1 - y;
      break;
    case 270:
      column = size.height - 1 - y;
      row = x;
      break;
    default:
      break;
  }
  return {TruncateToInt(column), TruncateToInt(row)};
}

RECT RectToImage(const RECT& rectangle, int rotation, bool verticalFlip, bool horizontalFlip, const RECT& dest,
                 std::uint16_t rows, std::uint16_t columns) {
  const PixelPoint topLeft =
      ToImage({rectangle.left, rectangle.top}, rotation, verticalFlip, horizontalFlip, dest, rows, columns);
  const PixelPoint bottomRight =
      ToImage({rectangle.right, rectangle.bottom}, rotation, verticalFlip, horizontalFlip, dest, rows, columns);
  return {topLeft.x, topLeft.y, bottomRight.x, bottomRight.y};
}
