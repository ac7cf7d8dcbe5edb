// Geometry in patient space: planes, the transforms between image pixels and patient space, 3D
// measures and the image geometry read from a strategy.
#include "geometry/geometry.h"

#include <algorithm>
#include <cmath>

#include "foundation/exceptions.h"
#include "sources/image_info_strategy.h"

namespace {

constexpr double kEpsilon = 1e-6;

Point3D Add(const Point3D& u, const Point3D& v) { return {u.x + v.x, u.y + v.y, u.z + v.z}; }
Point3D Subtract(const Point3D& u, const Point3D& v) { return {u.x - v.x, u.y - v.y, u.z - v.z}; }
Point3D Scale(const Point3D& u, double factor) { return {u.x * factor, u.y * factor, u.z * factor}; }
double Dot(const Point3D& u, const Point3D& v) { return u.x * v.x + u.y * v.y + u.z * v.z; }
double Norm(const Point3D& u) { return std::sqrt(Dot(u, u)); }
Point3D Normal(const PlaneEquation& plane) { return {plane.a, plane.b, plane.c}; }

double Component(const Point3D& u, int axis) {
  switch (axis) {
    case 0:
      return u.x;
    case 1:
      return u.y;
    case 2:
      return u.z;
    default:
      THROW_MY_EXCEPTION("Invalid axis of the dominant axis vector.");
  }
}

// Rounding can carry the cosine of (anti)parallel vectors just past 1 in size; such a cosine is taken
// as the nearest possible one, so that their angle is 0 or pi and not a NaN that every comparison
// would let through.
double AngleOfCosine(double cosine) { return std::acos(std::clamp(cosine, -1.0, 1.0)); }

}  // namespace

bool ReadImageGeometry(ImageInfoStrategy& image, ImageGeometry& geometry) {
  Point3D& first = geometry.firstDirection;
  Point3D& second = geometry.secondDirection;
  if (!image.GetPixelSpacing(&geometry.firstSpacing, &geometry.secondSpacing) ||
      !image.GetImagePosition(&geometry.position.x, &geometry.position.y, &geometry.position.z) ||
      !image.GetImageOrientation(&first.x, &first.y, &first.z, &second.x, &second.y, &second.z)) {
    return false;
  }
  geometry.rows = image.GetRows();
  geometry.columns = image.GetColumns();
  return true;
}

PlaneEquation CalculatePlaneFromImage(double firstSpacing, double secondSpacing, const Point3D& position,
                                      const Point3D& firstDirection, const Point3D& secondDirection,
                                      std::uint16_t rows, std::uint16_t columns) {
  // Rows and columns are the unsigned sizes the strategy gives, so a size of 0 makes a corner at -1.
  const Point3D p0 = position;
  const Point3D p1 = Add(position, Scale(secondDirection, secondSpacing * (static_cast<double>(rows) - 1.0)));
  const Point3D p2 = Add(position, Scale(firstDirection, firstSpacing * (static_cast<double>(columns) - 1.0)));
  const Point3D normal = CrossProduct3D(Subtract(p1, p0), Subtract(p2, p0));
  const double determinant = Dot(p0, CrossProduct3D(p1, p2));
  return {normal.x, normal.y, normal.z, -determinant};
}

PlaneEquation CalculatePlaneFromImage(const ImageGeometry& image) {
  return CalculatePlaneFromImage(image.firstSpacing, image.secondSpacing, image.position, image.firstDirection,
                                 image.secondDirection, image.rows, image.columns);
}

PlaneEquation CalculatePlaneFromNormal(const Point3D& normal, const Point3D& point) {
  return {normal.x, normal.y, normal.z, -Dot(normal, point)};
}

bool SolveRowOnPlane(double& row, double column, double firstSpacing, double secondSpacing, const Point3D& position,
                     const Point3D& firstDirection, const Point3D& secondDirection, const PlaneEquation& plane) {
  const Point3D normal = Normal(plane);
  const double denominator = Dot(normal, secondDirection) * secondSpacing;
  if (std::fabs(denominator) < kEpsilon) return false;
  row = -((Dot(normal, firstDirection) * column * firstSpacing) + Dot(normal, position) + plane.d) / denominator;
  return true;
}

bool SolveRowOnPlane(double& row, double column, const ImageGeometry& image, const PlaneEquation& plane) {
  return SolveRowOnPlane(row, column, image.firstSpacing, image.secondSpacing, image.position, image.firstDirection,
                         image.secondDirection, plane);
}

bool SolveColumnOnPlane(double& column, double row, double firstSpacing, double secondSpacing,
                        const Point3D& position, const Point3D& firstDirection, const Point3D& secondDirection,
                        const PlaneEquation& plane) {
  const Point3D normal = Normal(plane);
  const double denominator = Dot(normal, firstDirection) * firstSpacing;
  if (std::fabs(denominator) < kEpsilon) return false;
  column = -((Dot(normal, secondDirection) * row * secondSpacing) + Dot(normal, position) + plane.d) / denominator;
  return true;
}

bool SolveColumnOnPlane(double& column, double row, const ImageGeometry& image, const PlaneEquation& plane) {
  return SolveColumnOnPlane(column, row, image.firstSpacing, image.secondSpacing, image.position,
                            image.firstDirection, image.secondDirection, plane);
}

void ProjectPointOnPlane(const Point3D& point, const PlaneEquation& plane, Point3D& projected, double& distance) {
  const Point3D normal = Normal(plane);
  const double denominator = Dot(normal, normal);
  if (denominator < kEpsilon) {
    THROW_MY_EXCEPTION("Cannot calculate the point projection on the plane because the denominator is zero.");
  }
  const double signedValue = Dot(normal, point) + plane.d;
  projected = Add(point, Scale(normal, -signedValue / denominator));
  distance = std::fabs(signedValue) / std::sqrt(denominator);
}

Point3D PixelToPatient(const Point2D& pixel, double firstSpacing, double secondSpacing, const Point3D& position,
                       const Point3D& firstDirection, const Point3D& secondDirection) {
  return Add(Add(position, Scale(firstDirection, firstSpacing * pixel.x)),
             Scale(secondDirection, secondSpacing * pixel.y));
}

Point3D PixelToPatient(const Point2D& pixel, const ImageGeometry& image) {
  return PixelToPatient(pixel, image.firstSpacing, image.secondSpacing, image.position, image.firstDirection,
                        image.secondDirection);
}

bool PatientToPixel(Point2D& pixel, const Point3D& point, double firstSpacing, double secondSpacing,
                    const Point3D& position, const Point3D& firstDirection, const Point3D& secondDirection) {
  const Point3D r = Subtract(point, position);
  const Point3D& a = firstDirection;
  const Point3D& b = secondDirection;
  // Cramer's rule on the first pair of coordinates whose minor is strong enough.
  double minor = a.x * b.y - b.x * a.y;
  if (std::fabs(minor) > kEpsilon) {
    pixel = {(r.x * b.y - r.y * b.x) / (minor * firstSpacing), (r.y * a.x - r.x * a.y) / (minor * secondSpacing)};
    return true;
  }
  minor = b.z * a.x - a.z * b.x;
  if (std::fabs(minor) > kEpsilon) {
    pixel = {(r.x * b.z - r.z * b.x) / (minor * firstSpacing), (r.z * a.x - r.x * a.z) / (minor * secondSpacing)};
    return true;
  }
  minor = b.z * a.y - a.z * b.y;
  if (std::fabs(minor) > kEpsilon) {
    pixel = {(r.y * b.z - r.z * b.y) / (minor * firstSpacing), (r.z * a.y - r.y * a.z) / (minor * secondSpacing)};
    return true;
  }
  return false;
}

bool PatientToPixel(Point2D& pixel, const Point3D& point, const ImageGeometry& image) {
  return PatientToPixel(pixel, point, image.firstSpacing, image.secondSpacing, image.position, image.firstDirection,
                        image.secondDirection);
}

double Distance3D(const Point3D& a, const Point3D& b) { return Norm(Subtract(b, a)); }

Point3D UnitVector3D(const Point3D& from, const Point3D& to) {
  const Point3D difference = Subtract(to, from);
  const double length = Norm(difference);
  return {difference.x / length, difference.y / length, difference.z / length};
}

Point3D CrossProduct3D(const Point3D& u, const Point3D& v) {
  return {u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
}

bool CalculateAngleBetweenVectors(const Point3D& u, const Point3D& v, double& angle) {
  const double lengths = Norm(u) * Norm(v);
  if (lengths < kEpsilon) return false;
  angle = AngleOfCosine(Dot(u, v) / lengths);
  return true;
}

bool CalculateTriangleAngle(const Point3D& a, const Point3D& b, const Point3D& c, double& angle) {
  angle = 0.0;
  const double bc = Distance3D(b, c);
  const double ac = Distance3D(a, c);
  const double ab = Distance3D(a, b);
  if (bc < kEpsilon || ac < kEpsilon || ab < kEpsilon) return false;
  angle = AngleOfCosine((ab * ab + bc * bc - ac * ac) / (bc * 2.0 * ab));
  return true;
}

Point3D SelectDominantAxisVector(int axis, const Point3D& u, const Point3D& v) {
  const Point3D w = CrossProduct3D(v, u);
  const double uPart = std::fabs(Component(u, axis));
  const double vPart = std::fabs(Component(v, axis));
  const double wPart = std::fabs(Component(w, axis));
  if (uPart >= vPart && uPart >= wPart) return u;
  if (vPart >= uPart && vPart >= wPart) return v;
  return w;
}

Point3D CalculateWeightCenter3D(const std::vector<Point3D>& points) {
  if (points.empty()) {
    THROW_MY_EXCEPTION("Cannot calculate the 3D weight center because the container of points is empty.");
  }
  Point3D sum;
  for (const Point3D& point : points) sum = Add(sum, point);
  const auto count = static_cast<double>(points.size());
  return {sum.x / count, sum.y / count, sum.z / count};
}
