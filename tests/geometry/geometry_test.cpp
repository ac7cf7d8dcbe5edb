#include "geometry/geometry.h"

#include <gtest/gtest.h>

#include <array>
#include <numbers>

#include "sources/image_info_strategies.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

void ExpectPoint(const Point3D& actual, const Point3D& expected) {
  EXPECT_DOUBLE_EQ(actual.x, expected.x);
  EXPECT_DOUBLE_EQ(actual.y, expected.y);
  EXPECT_DOUBLE_EQ(actual.z, expected.z);
}

bool ThrowsText(const std::function<void()>& action, const std::string& text) {
  return MessageOf(action).starts_with(text + " File=");
}

TEST(GeometryPlanes, FromImageCornersSolvedOnAnObliqueImageAndProjectedOnto) {
  // A 3 x 5 axial image at z = 50 with 0.5 mm pixels: the edges (0, 1, 0) and (2, 0, 0) from its
  // corner give the normal of length 2 (its area) with the sign of second x first direction.
  const PlaneEquation axial =
      CalculatePlaneFromImage(0.5, 0.5, {-100.0, -100.0, 50.0}, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, 3, 5);
  EXPECT_EQ((std::array{axial.a, axial.b, axial.c, axial.d}), (std::array{0.0, 0.0, -2.0, 100.0}));

  // An oblique image from z = 100, rows 2 mm going 0.6 down, columns 1 mm going 0.8 up: column 5 rises
  // 4 mm, so z = 50 is reached 54 mm down, at row 45. The mirror image gives the same from a row.
  const Point3D start{0.0, -100.0, 100.0};
  const Point3D up{0.0, 0.6, 0.8};
  const Point3D down{0.0, 0.8, -0.6};
  double found = -1.0;
  ASSERT_TRUE(SolveRowOnPlane(found, 5.0, 1.0, 2.0, start, up, down, axial));
  EXPECT_DOUBLE_EQ(found, 45.0);
  ASSERT_TRUE(SolveColumnOnPlane(found, 5.0, 2.0, 1.0, start, down, up, axial));
  EXPECT_DOUBLE_EQ(found, 45.0);
  EXPECT_FALSE(SolveRowOnPlane(found, 5.0, 1.0, 2.0, start, up, {1.0, 0.0, 0.0}, axial));
  EXPECT_FALSE(SolveColumnOnPlane(found, 5.0, 1.0, 2.0, start, {0.0, 1.0, 0.0}, down, axial));
  EXPECT_EQ(found, 45.0);

  Point3D projected;
  double distance = 0.0;
  ProjectPointOnPlane({3.0, 4.0, 60.0}, axial, projected, distance);
  EXPECT_EQ(projected, (Point3D{3.0, 4.0, 50.0}));
  EXPECT_DOUBLE_EQ(distance, 10.0);
  EXPECT_TRUE(ThrowsText([&] { ProjectPointOnPlane({}, PlaneEquation{}, projected, distance); },
                         "Cannot calculate the point projection on the plane because the denominator is zero."));
}

// Pixel (10, 20) of images whose patient coordinates are obvious, read through the workstation's objects.
struct OrientationCase {
  const char* name;
  const char16_t* position;
  const char16_t* orientation;
  Point3D expected;
};

TEST(GeometryImageAndPatient, AxialCoronalSagittalThroughTheStrategy) {
  const OrientationCase cases[] = {
      {"axial", u"-120\\-80\\40", u"1\\0\\0\\0\\1\\0", {-115.0, -75.0, 40.0}},
      {"coronal: solved on x and z", u"-120\\30\\90", u"1\\0\\0\\0\\0\\-1", {-115.0, 30.0, 85.0}},
      {"sagittal: solved on y and z", u"12\\-80\\90", u"0\\1\\0\\0\\0\\-1", {12.0, -75.0, 85.0}},
  };
  const ClassesRegistered registered;
  for (const OrientationCase& row : cases) {
    SCOPED_TRACE(row.name);
    const Graph graph;
    graph.image->SetRows(64);
    graph.image->SetColumns(32);
    ImageInfoWStationStrategy strategy(graph.image.Get());
    strategy.SetPixelSpacing(0.5, 0.25);  // a column step is 0.5 mm, a row step 0.25 mm
    ImageGeometry geometry;
    graph.image->SetImagePosition(BStr(row.position).Get());
    EXPECT_FALSE(ReadImageGeometry(strategy, geometry));  // no orientation yet
    graph.image->SetImageOrientation(BStr(row.orientation).Get());
    ASSERT_TRUE(ReadImageGeometry(strategy, geometry));
    EXPECT_EQ(geometry.rows, 64);
    EXPECT_EQ(geometry.columns, 32);

    ExpectPoint(PixelToPatient({10.0, 20.0}, geometry), row.expected);
    Point2D pixel;
    ASSERT_TRUE(PatientToPixel(pixel, row.expected, geometry));
    EXPECT_DOUBLE_EQ(pixel.x, 10.0);
    EXPECT_DOUBLE_EQ(pixel.y, 20.0);
  }
}

TEST(GeometryImageAndPatient, PatientToPixelIgnoresTheDepthAndRefusesParallelDirections) {
  Point2D pixel{-1.0, -1.0};
  EXPECT_FALSE(PatientToPixel(pixel, {2.0, 3.0, 4.0}, 1.0, 1.0, {}, {0.0, 1.0, 0.0}, {0.0, -2.0, 0.0}));
  EXPECT_EQ(pixel, (Point2D{-1.0, -1.0}));
  ASSERT_TRUE(PatientToPixel(pixel, {2.0, 3.0, 999.0}, 0.5, 0.5, {}, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}));
  EXPECT_EQ(pixel, (Point2D{4.0, 6.0}));
}

TEST(GeometryMeasures3D, DistancesAnglesAndCentres) {
  ExpectPoint(UnitVector3D({1.0, 1.0, 1.0}, {3.0, 4.0, 7.0}), {2.0 / 7.0, 3.0 / 7.0, 6.0 / 7.0});
  ExpectPoint(CrossProduct3D({1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}), {0.0, 0.0, 1.0});  // right-handed

  constexpr double pi = std::numbers::pi;
  double angle = -1.0;
  ASSERT_TRUE(CalculateAngleBetweenVectors({1.0, 0.0, 0.0}, {0.0, 2.0, 0.0}, angle));
  EXPECT_DOUBLE_EQ(angle, pi / 2);
  ASSERT_TRUE(CalculateAngleBetweenVectors({1.0, 1.0, 1.0}, {2.0, 2.0, 2.0}, angle));
  EXPECT_EQ(angle, 0.0);  // the rounded cosine is 1 + 2e-16, still parallel
  angle = -1.0;
  EXPECT_FALSE(CalculateAngleBetweenVectors({}, {1.0, 0.0, 0.0}, angle));
  EXPECT_EQ(angle, -1.0);

  ASSERT_TRUE(CalculateTriangleAngle({2.0, 0.0, 0.0}, {}, {1.0, 1.0, 0.0}, angle));
  EXPECT_DOUBLE_EQ(angle, pi / 4);
  ASSERT_TRUE(CalculateTriangleAngle({0.1, 0.2, 0.0}, {0.3, 0.6, 0.0}, {0.7, 1.4, 0.0}, angle));
  EXPECT_DOUBLE_EQ(angle, pi);  // a straight line, whose rounded cosine is below -1
  EXPECT_FALSE(CalculateTriangleAngle({1.0, 2.0, 3.0}, {1.0, 2.0, 3.0}, {4.0, 0.0, 0.0}, angle));
  EXPECT_EQ(angle, 0.0);

  ExpectPoint(CalculateWeightCenter3D({{0.0, 0.0, 0.0}, {3.0, 0.0, 6.0}, {0.0, 6.0, 3.0}}), {1.0, 2.0, 3.0});
  EXPECT_TRUE(ThrowsText([] { CalculateWeightCenter3D({}); },
                         "Cannot calculate the 3D weight center because the container of points is empty."));
}

TEST(GeometryMeasures3D, DominantAxisVectorKeepsSignAndBreaksTiesTowardUThenV) {
  const struct {
    const char* name;
    int axis;
    Point3D u, v, expected;
  } cases[] = {
      {"u wins over v along z", 2, {0, 0, 1}, {0, 1, 0}, {0, 0, 1}},
      {"axial: the cross product v x u along z", 2, {1, 0, 0}, {0, 1, 0}, {0, 0, -1}},
      {"axial: the column direction along y", 1, {1, 0, 0}, {0, 1, 0}, {0, 1, 0}},
      {"a tie of v and the cross product goes to v", 2, {1, 0, 0}, {0, 1, 1}, {0, 1, 1}},
      {"a tie of u and v goes to u, with its sign", 0, {-1, 0, 0}, {1, 1, 0}, {-1, 0, 0}},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(SelectDominantAxisVector(row.axis, row.u, row.v), row.expected);
  }
  EXPECT_TRUE(ThrowsText([] { SelectDominantAxisVector(3, {}, {}); }, "Invalid axis of the dominant axis vector."));
}

}  // namespace
