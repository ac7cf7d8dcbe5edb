#include "spatial/mpr_state.h"

#include <cmath>

#include "foundation/exceptions.h"

namespace spatial {
namespace {

struct StackShift {
  std::int16_t columns = 0;
  std::int16_t rows = 0;
};

// How far the image's pixels lie from the stack system's: the stack's shift less the image's own
// share of the tilt.
StackShift ShiftOf(ImageInfoStrategy& image) {
  MprState& state = Mpr();
  if (state.sourceStack.empty()) return {};
  const double distance = StackDistance(*state.sourceStack.front(), image);
  double firstSpacing = 0.0;
  double secondSpacing = 0.0;
  image.GetPixelSpacing(&firstSpacing, &secondSpacing);
  return {static_cast<std::int16_t>(state.columnsShift -
                                    TruncateToInt(distance * std::cos(state.columnsAngle) / firstSpacing)),
          static_cast<std::int16_t>(state.rowsShift - TruncateToInt(distance * std::cos(state.rowsAngle) / secondSpacing))};
}

}  // namespace

MprState& Mpr() {
  static MprState state;
  return state;
}

void EndMpr() {
  MprState& state = Mpr();
  state.seriesInfo1.Reset();
  state.seriesInfo2.Reset();
  state.seriesInfoOblique.Reset();
  state.sliceList.clear();
  state.lastImage = nullptr;
  state.sourceStack.clear();
  state.lineEnds.clear();
  state.lineCenter.reset();
  state.lastPoint.reset();
  state.rowsAngle = 0.0;
  state.columnsAngle = 0.0;
  state.rowsShift = 0;
  state.columnsShift = 0;
  state.mprMode = MPR_MODE_NONE;
  state.slabHalfWidth = kDefaultSlabHalfWidth;
  state.slabFlags = 0;
}

double StackDistance(ImageInfoStrategy& a, ImageInfoStrategy& b) {
  Point3D p;
  Point3D q;
  if (!a.GetImagePosition(&p.x, &p.y, &p.z) || !b.GetImagePosition(&q.x, &q.y, &q.z))
    THROW_MY_EXCEPTION("Cannot get the source image patient position.");
  return Distance3D(p, q);
}

void CalculateStackAngles(ImageInfoStrategy& last, ImageInfoStrategy& first, double& rowsAngle,
                          double& columnsAngle) {
  ImageGeometry geometry;
  Point3D firstPosition;
  if (!ReadImageGeometry(last, geometry) ||
      !first.GetImagePosition(&firstPosition.x, &firstPosition.y, &firstPosition.z))
    return;
  const Point3D rowEdge = PixelToPatient({0.0, geometry.rows - 1.0}, geometry);
  const Point3D columnEdge = PixelToPatient({geometry.columns - 1.0, 0.0}, geometry);
  if (!CalculateTriangleAngle(rowEdge, geometry.position, firstPosition, rowsAngle))
    THROW_MY_EXCEPTION("Cannot calculate the source stack rows angle.");
  if (!CalculateTriangleAngle(columnEdge, geometry.position, firstPosition, columnsAngle))
    THROW_MY_EXCEPTION("Cannot calculate the source stack columns angle.");
}

std::int32_t RoundUpToFour(std::int32_t value) {
  const std::uint32_t low = static_cast<std::uint32_t>(value) & 0xFFFFu;
  if ((low & 3u) == 0) return value;
  const std::uint32_t grown = (low + 4u - (low & 3u)) & 0xFFFFu;
  return static_cast<std::int32_t>((static_cast<std::uint32_t>(value) & 0xFFFF0000u) | grown);
}

std::int32_t ObliqueWidth(const std::vector<PixelPoint>& ends, double scaleX, double scaleY, double divisor) {
  if (ends.size() != 2) return 0;
  const double x = (static_cast<double>(ends[1].x) - ends[0].x) * scaleX;
  const double y = (static_cast<double>(ends[1].y) - ends[0].y) * scaleY;
  return RoundUpToFour(TruncateToInt(std::sqrt(x * x + y * y) / divisor));
}

PixelPoint StackToImage(const PixelPoint& point, ImageInfoStrategy& image) {
  const StackShift shift = ShiftOf(image);
  return {point.x - shift.columns, point.y - shift.rows};
}

PixelPoint ImageToStack(const PixelPoint& point, ImageInfoStrategy& image) {
  const StackShift shift = ShiftOf(image);
  return {point.x + shift.columns, point.y + shift.rows};
}

}  // namespace spatial
