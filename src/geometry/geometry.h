// Geometry primitives that all spatial work rests on: planes from an image's geometry, the transforms
// between image pixels and patient space, 2D line handling for the MPR line, reductions over point
// lists, and the mapping between an image's pixels and a viewport's client pixels.
//
// Free functions without state, all arithmetic on 64-bit floats. The coordinate systems:
// - patient space, Point3D, in millimetres;
// - image pixels (column, row): a step of one column moves by firstDirection x firstSpacing, a step of
//   one row by secondDirection x secondSpacing;
// - client pixels of a viewport, PixelPoint.
// A function that can fail either returns false or throws MyException, as stated at each; callers rely
// on which. Float to integer conversions truncate toward zero (TruncateToInt) unless RoundToInt is
// named; a value that is not finite or does not fit in 32 bits becomes the integer minimum.
#pragma once

#include <cstdint>
#include <vector>

#include "ondrel/platform/windows.h"

class ImageInfoStrategy;

struct Point3D {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  bool operator==(const Point3D&) const = default;
};

// x counts columns, y counts rows, in pixel units.
struct Point2D {
  double x = 0.0;
  double y = 0.0;
  bool operator==(const Point2D&) const = default;
};

struct PixelPoint {
  std::int32_t x = 0;
  std::int32_t y = 0;
  bool operator==(const PixelPoint&) const = default;
};

// The plane a*x + b*y + c*z + d = 0; the normal (a, b, c) is not normalised.
struct PlaneEquation {
  double a = 0.0;
  double b = 0.0;
  double c = 0.0;
  double d = 0.0;
};

// An image's geometry as its image info strategy gives it: position of pixel (0, 0), the row and
// column direction (first and second triple of the orientation), the two pixel spacing values in the
// order of the strategy's out parameters, and the size.
struct ImageGeometry {
  Point3D position;
  Point3D firstDirection;
  Point3D secondDirection;
  double firstSpacing = 0.0;
  double secondSpacing = 0.0;
  std::uint16_t rows = 0;
  std::uint16_t columns = 0;
};

// Reads spacing, position and orientation, then rows and columns. False, with `geometry` partly
// written, as soon as one of the first three is not available; rows and columns are then not read.
// Throws what the strategy's GetRows and GetColumns throw.
bool ReadImageGeometry(ImageInfoStrategy& image, ImageGeometry& geometry);

// Planes.

// The plane through the corners position, position + secondDirection x secondSpacing x (rows - 1) and
// position + firstDirection x firstSpacing x (columns - 1). Its normal is (second edge) x (first edge):
// its length is the area between the corner pixels and its sign that of secondDirection x firstDirection.
PlaneEquation CalculatePlaneFromImage(double firstSpacing, double secondSpacing, const Point3D& position,
                                      const Point3D& firstDirection, const Point3D& secondDirection,
                                      std::uint16_t rows, std::uint16_t columns);
PlaneEquation CalculatePlaneFromImage(const ImageGeometry& image);

// a, b, c are `normal`, d = -(normal . point).
PlaneEquation CalculatePlaneFromNormal(const Point3D& normal, const Point3D& point);

// The (fractional) row at which the image's pixel column `column` meets `plane`. False, with `row`
// untouched, when the image's column direction runs (nearly) parallel to the plane.
bool SolveRowOnPlane(double& row, double column, double firstSpacing, double secondSpacing, const Point3D& position,
                     const Point3D& firstDirection, const Point3D& secondDirection, const PlaneEquation& plane);
bool SolveRowOnPlane(double& row, double column, const ImageGeometry& image, const PlaneEquation& plane);

// The mirror image of SolveRowOnPlane: the column at which pixel row `row` meets `plane`.
bool SolveColumnOnPlane(double& column, double row, double firstSpacing, double secondSpacing,
                        const Point3D& position, const Point3D& firstDirection, const Point3D& secondDirection,
                        const PlaneEquation& plane);
bool SolveColumnOnPlane(double& column, double row, const ImageGeometry& image, const PlaneEquation& plane);

// The foot of `point` on `plane` and the unsigned distance between them. Throws MyException "Cannot
// calculate the point projection on the plane because the denominator is zero." when the plane's
// normal is (nearly) zero.
void ProjectPointOnPlane(const Point3D& point, const PlaneEquation& plane, Point3D& projected, double& distance);

// Image and patient.

// position + firstDirection x firstSpacing x pixel.x + secondDirection x secondSpacing x pixel.y.
Point3D PixelToPatient(const Point2D& pixel, double firstSpacing, double secondSpacing, const Point3D& position,
                       const Point3D& firstDirection, const Point3D& secondDirection);
Point3D PixelToPatient(const Point2D& pixel, const ImageGeometry& image);

// The (column, row) of `point`, solved in the first of the coordinate pairs xy, xz, yz in which the two
// directions are independent; the coordinate left out is ignored, so the point need not lie on the
// image's plane. False, with `pixel` untouched, when the directions are parallel.
bool PatientToPixel(Point2D& pixel, const Point3D& point, double firstSpacing, double secondSpacing,
                    const Point3D& position, const Point3D& firstDirection, const Point3D& secondDirection);
bool PatientToPixel(Point2D& pixel, const Point3D& point, const ImageGeometry& image);

// 3D measures.

double Distance3D(const Point3D& a, const Point3D& b);
// (to - from) / |to - from|, without a test: equal points give non-finite components.
Point3D UnitVector3D(const Point3D& from, const Point3D& to);
// u x v, right-handed.
Point3D CrossProduct3D(const Point3D& u, const Point3D& v);

// The angle between u and v in radians, 0 to pi. False, with `angle` untouched, when |u| x |v| is below
// 1e-6.
bool CalculateAngleBetweenVectors(const Point3D& u, const Point3D& v, double& angle);

// The angle at b of the triangle a, b, c in radians. Sets `angle` to 0 first; false when two of the
// points are (nearly) equal.
bool CalculateTriangleAngle(const Point3D& a, const Point3D& b, const Point3D& c, double& angle);

// Of u, v and v x u, the one with the largest absolute component `axis` (0 x, 1 y, 2 z), ties going to
// u, then v; with its sign and length. Throws MyException "Invalid axis of the dominant axis vector."
// for another axis.
Point3D SelectDominantAxisVector(int axis, const Point3D& u, const Point3D& v);

// The mean of the points. Throws MyException "Cannot calculate the 3D weight center because the
// container of points is empty." for an empty list.
Point3D CalculateWeightCenter3D(const std::vector<Point3D>& points);

// 2D lines.

// The length of a to b and its unit vector. `length` is always written; false, with the unit vector
// untouched, when it is below 1e-6.
bool CalculateDirection2D(const Point2D& a, const Point2D& b, double& length, double& unitY, double& unitX);

// The line through a and b as y = slope x + intercept. Points less than one pixel apart in a coordinate
// count as equal in it, y first: such a line is horizontal (slope 0, intercept a.y, true) even when the
// x are equal too. Otherwise equal x give a vertical line: false, slope 0, and intercept is a.x.
bool CalculateLineEquation(const Point2D& a, const Point2D& b, double& slope, double& intercept);

// The points where a line crosses the border of `rectangle`, right and bottom edges included: left,
// right, then (unless the slope is exactly 0) top and bottom border, each point once. A vertical line
// (isVertical, x = intercept) gives its top, then its bottom point.
std::vector<PixelPoint> ClipLineToRectangle(double slope, double intercept, bool isVertical, const RECT& rectangle);

// The foot of the perpendicular from p onto the line through a and b. Non-finite when a equals b.
Point2D PerpendicularFoot(const Point2D& a, const Point2D& b, const Point2D& p);

// The distance of p from the line through a and b. Non-finite when a equals b.
double PointToLineDistance(const Point2D& a, const Point2D& b, const Point2D& p);

// Gives the two candidates as new ends so that `first` takes the one nearer to the old `first`, and so
// the ends of a moved line don't swap. On equal distances `first` takes candidateB.
void AssignNearestEndpoints(Point2D& first, Point2D& second, const Point2D& candidateA, const Point2D& candidateB);

// The extremes of x and y over the points, each truncated. Throws MyException "Cannot calculate the
// bounding rectangle because the container of points is empty." for an empty list.
RECT CalculateBoundingRectangle(const std::vector<Point2D>& points);

// Scalars and display.

// Half away from zero: RoundToInt(0.5) is 1, RoundToInt(-0.5) is -1.
std::int32_t RoundToInt(double value);
// Toward zero.
std::int32_t TruncateToInt(double value);

// Image pixel to client pixel of a viewport that shows the image turned by `rotation` degrees (0, 90,
// 180, 270), then mirrored left-right if `horizontalFlip` and up-down if `verticalFlip`, stretched into
// `dest`. Throws MyException "Zero scalling in coordinate transformations." when a scale factor (image
// size over `dest` size) is below 1e-6, as for an image without rows or columns.
PixelPoint ToScreen(const PixelPoint& point, int rotation, bool verticalFlip, bool horizontalFlip, const RECT& dest,
                    std::uint16_t rows, std::uint16_t columns);

// Client pixel to image pixel, the inverse of ToScreen, truncated. Never throws: a `dest` without width
// (height) gives the integer minimum in the image coordinate that the client x (y) turns into.
PixelPoint ToImage(const PixelPoint& point, int rotation, bool verticalFlip, bool horizontalFlip, const RECT& dest,
                   std::uint16_t rows, std::uint16_t columns);

// ToImage of the corners (left, top) and (right, bottom), which give the result's left and top and its
// right and bottom in this order, without reordering.
RECT RectToImage(const RECT& rectangle, int rotation, bool verticalFlip, bool horizontalFlip, const RECT& dest,
                 std::uint16_t rows, std::uint16_t columns);
