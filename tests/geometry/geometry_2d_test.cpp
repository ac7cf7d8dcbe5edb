#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "geometry/geometry.h"
#include "workstation/graph_support.h"

namespace {

using workstation_test::MessageOf;

constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();

TEST(GeometryLines2D, LineEquationTestsYBeforeX) {
  const struct {
    const char* name;
    Point2D a, b;
    bool notVertical;
    double slope, intercept;
  } cases[] = {
      {"y closer than a pixel: horizontal", {10, 10}, {10.5, 10.2}, true, 0.0, 10.0},
      {"equal x, y closer than a pixel: horizontal, not vertical", {10, 10}, {10, 10.9}, true, 0.0, 10.0},
      {"x closer than a pixel: vertical at a.x", {10, 10}, {10.5, 50}, false, 0.0, 10.0},
      {"ordinary", {1, 3}, {5, 11}, true, 2.0, 1.0},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    double slope = -7.0;
    double intercept = -7.0;
    EXPECT_EQ(CalculateLineEquation(row.a, row.b, slope, intercept), row.notVertical);
    EXPECT_EQ(slope, row.slope);
    EXPECT_EQ(intercept, row.intercept);
  }

  double length = -1.0;
  double unitY = -1.0;
  double unitX = -1.0;
  ASSERT_TRUE(CalculateDirection2D({1, 1}, {4, 5}, length, unitY, unitX));
  EXPECT_EQ((std::array{length, unitY, unitX}), (std::array{5.0, 0.8, 0.6}));
  EXPECT_FALSE(CalculateDirection2D({1, 1}, {1, 1}, length, unitY, unitX));
  EXPECT_EQ((std::array{length, unitY, unitX}), (std::array{0.0, 0.8, 0.6}));  // the unit vector untouched
}

TEST(GeometryLines2D, ClipToRectangleGivesEachCrossingOnceInBorderOrder) {
  const RECT square{0, 0, 10, 10};
  const struct {
    const char* name;
    double slope, intercept;
    bool isVertical;
    std::vector<PixelPoint> expected;
  } cases[] = {
      {"diagonal through two corners", 1.0, 0.0, false, {{0, 0}, {10, 10}}},
      {"touching the corner (0, 0) only", -1.0, 0.0, false, {{0, 0}}},
      {"horizontal inside: its two ends, rounded", 0.0, 4.6, false, {{0, 5}, {10, 5}}},
      {"horizontal outside", 0.0, 20.0, false, {}},
      {"steep: top and bottom, rounded half up", 2.0, -5.0, false, {{3, 0}, {8, 10}}},
      {"right border before bottom border", -0.5, 12.0, false, {{10, 7}, {4, 10}}},
      {"vertical, x truncated", 0.0, 3.9, true, {{3, 0}, {3, 10}}},
      {"vertical half a pixel left of the border", 0.0, -0.5, true, {{0, 0}, {0, 10}}},  // trunc(-0.5) is 0
      {"vertical beyond the right border", 0.0, 11.0, true, {}},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(ClipLineToRectangle(row.slope, row.intercept, row.isVertical, square), row.expected);
  }
}

TEST(GeometryLines2D, FeetDistancesEndpointsAndBounds) {
  EXPECT_EQ(PerpendicularFoot({0, 0}, {4, 4}, {4, 0}), (Point2D{2, 2}));
  EXPECT_EQ(PerpendicularFoot({1, 2}, {1, 6}, {5, 3}), (Point2D{1, 3}));
  EXPECT_DOUBLE_EQ(PointToLineDistance({1, 2}, {1, 6}, {5, 3}), 4.0);
  EXPECT_DOUBLE_EQ(PointToLineDistance({0, 0}, {4, 3}, {3, 4}), 7.0 / 5.0);
  EXPECT_TRUE(std::isnan(PointToLineDistance({1, 1}, {1, 1}, {3, 3})));

  const struct {
    const char* name;
    Point2D candidateA, candidateB, first, second;
  } cases[] = {
      {"B nearer", {10, 0}, {1, 0}, {1, 0}, {10, 0}},
      {"A nearer", {1, 0}, {10, 0}, {1, 0}, {10, 0}},
      {"a tie goes to B", {1, 0}, {-1, 0}, {-1, 0}, {1, 0}},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    Point2D first{0, 0};
    Point2D second{99, 99};
    AssignNearestEndpoints(first, second, row.candidateA, row.candidateB);
    EXPECT_EQ(first, row.first);
    EXPECT_EQ(second, row.second);
  }

  const RECT bounds = CalculateBoundingRectangle({{-1.7, 2.9}, {3.2, -0.5}, {7.9, 4.1}});
  EXPECT_EQ((std::array<LONG, 4>{bounds.left, bounds.top, bounds.right, bounds.bottom}),
            (std::array<LONG, 4>{-1, 0, 7, 4}));  // toward zero, not down
  EXPECT_TRUE(MessageOf([] { CalculateBoundingRectangle({}); })
                  .starts_with("Cannot calculate the bounding rectangle because the container of points is empty. "
                               "File="));
}

TEST(GeometryScalars, RoundingAndTruncation) {
  const struct {
    double value;
    std::int32_t rounded, truncated;
  } cases[] = {
      {0.5, 1, 0},    {-0.5, -1, 0},  {1.49, 1, 1},         {-1.5, -2, -1},
      {2.5, 3, 2},    {-0.0, 0, 0},   {2147483647.4, 2147483647, 2147483647},
      {std::nan(""), kIntMin, kIntMin}, {1e10, kIntMin, kIntMin}, {-1e10, kIntMin, kIntMin},
      {std::numeric_limits<double>::infinity(), kIntMin, kIntMin},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.value);
    EXPECT_EQ(RoundToInt(row.value), row.rounded);
    EXPECT_EQ(TruncateToInt(row.value), row.truncated);
  }
}

// The top right pixel (column 2, row 0) of a 2-row, 3-column image, drawn one screen pixel per image
// pixel at (10, 20); where it lands can be counted on the turned and mirrored picture.
TEST(GeometryDisplay, TopRightPixelOfASmallImageUnderEachTurnAndFlip) {
  const struct {
    int rotation;
    bool verticalFlip, horizontalFlip;
    PixelPoint client;
  } cases[] = {
      {0, false, false, {12, 20}},  {0, false, true, {10, 20}},  {0, true, false, {12, 21}},
      {90, false, false, {11, 22}},  // turned right, the top right corner is the bottom right one
      {180, false, false, {10, 21}}, {270, false, false, {10, 20}}, {90, false, true, {10, 22}},
      {90, true, false, {11, 20}},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(testing::Message() << row.rotation << " v" << row.verticalFlip << " h" << row.horizontalFlip);
    const RECT dest = row.rotation % 180 == 0 ? RECT{10, 20, 13, 22} : RECT{10, 20, 12, 23};
    EXPECT_EQ(ToScreen({2, 0}, row.rotation, row.verticalFlip, row.horizontalFlip, dest, 2, 3), row.client);
    EXPECT_EQ(ToImage(row.client, row.rotation, row.verticalFlip, row.horizontalFlip, dest, 2, 3),
              (PixelPoint{2, 0}));
  }
}

TEST(GeometryDisplay, EveryPixelComesBackThroughAMagnifiedViewport) {
  for (const int rotation : {0, 90, 180, 270}) {
    for (const bool verticalFlip : {false, true}) {
      for (const bool horizontalFlip : {false, true}) {
        // Three times magnified: 9 x 6 client pixels, or 6 x 9 when turned a quarter.
        const RECT dest = rotation % 180 == 0 ? RECT{-4, 7, 5, 13} : RECT{-4, 7, 2, 16};
        for (std::int32_t y = 0; y < 2; ++y) {
          for (std::int32_t x = 0; x < 3; ++x) {
            const PixelPoint client = ToScreen({x, y}, rotation, verticalFlip, horizontalFlip, dest, 2, 3);
            EXPECT_EQ(ToImage(client, rotation, verticalFlip, horizontalFlip, dest, 2, 3), (PixelPoint{x, y}))
                << rotation << verticalFlip << horizontalFlip;
          }
        }
      }
    }
  }
}

TEST(GeometryDisplay, ZeroSizesAndRectangles) {
  EXPECT_TRUE(MessageOf([] { ToScreen({0, 0}, 0, false, false, RECT{0, 0, 10, 10}, 0, 5); })
                  .starts_with("Zero scalling in coordinate transformations. File="));
  // ToImage has no such test: a dest without width leaves the integer minimum as the column.
  EXPECT_EQ(ToImage({3, 4}, 0, false, false, RECT{5, 0, 5, 10}, 10, 10), (PixelPoint{kIntMin, 4}));

  const RECT mapped = RectToImage(RECT{2, 0, 6, 4}, 0, false, false, RECT{0, 0, 6, 4}, 2, 3);
  EXPECT_EQ((std::array<LONG, 4>{mapped.left, mapped.top, mapped.right, mapped.bottom}),
            (std::array<LONG, 4>{1, 0, 3, 2}));
}

}  // namespace
