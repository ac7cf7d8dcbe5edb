// The tolerances of a press on a tool, in client pixels: grip handles, the segment and the ellipse
// ring; and the drag of a whole shape at the image's edge.
#include <gtest/gtest.h>

#include "tools/tool_test_support.h"

namespace {

using namespace tools_test;

// A grip handle is Rectangle(x-3, y-3, x+3, y+3) as GDI counts it: right and bottom edges outside.
TEST(HitTests, AGripTakesThreePixelsLeftOfItsAnchorButNotThreeRight) {
  const struct {
    const char* what;
    POINT press;
    bool grip;
  } rows[] = {
      {"3 left", {37, 50}, true},  {"3 right", {43, 50}, false}, {"3 up", {40, 47}, true},
      {"3 down", {40, 53}, false}, {"2 right, 2 down", {42, 52}, true},
  };
  for (const auto& row : rows) {
    MeasuredImage shown;
    shown.Drag(MEAS_LINE, {40, 50}, {40, 90});
    shown.Press({90, 10}, MEAS_NONE);
    shown.Press(row.press, MEAS_NONE);
    const MeasAnnotTool* selected = shown.Tools().GetSelected();
    EXPECT_EQ(selected != nullptr && selected->GetMode() == MEAS_MODE_MOVING_ANCHOR, row.grip) << row.what;
  }
}

// The segment (2,2)-(2737,115) and the point (946,38) are 2.99999996 pixels apart: within 3 when the
// square root is taken in double precision, 3.00000009 when it is taken in single precision, as it is.
TEST(HitTests, AtTheEdgeOfItsToleranceTheSegmentTestDecidesInSinglePrecision) {
  MeasuredImage shown({2740, 120, 2740, 120});
  shown.Drag(MEAS_LINE, {2, 2}, {2737, 115});
  shown.Press({2700, 10}, MEAS_NONE);
  EXPECT_TRUE(shown.Press({946, 38}, MEAS_NONE));
  EXPECT_EQ(shown.Tools().GetSelected(), nullptr);
  EXPECT_TRUE(shown.Press({946, 39}, MEAS_NONE));
  ASSERT_NE(shown.Tools().GetSelected(), nullptr);
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_SHAPE);
}

// The ring is 3 pixels either side of the outline of the ellipse (20,20)-(80,80), never its inside.
// A box only 6 pixels wide has a half-extent of 3: its inner ellipse has no width, so every point off
// its axis is outside it (infinity) and on the ring, and a point on the axis is not (not a number).
TEST(HitTests, AnEllipseIsHitOnARingAroundItsOutlineOnly) {
  const struct {
    const char* what;
    POINT first, second, press;
    bool hit;
  } rows[] = {
      {"just inside the outline", {20, 20}, {80, 80}, {29, 29}, true},
      {"just outside", {20, 20}, {80, 80}, {28, 28}, true},
      {"inside", {20, 20}, {80, 80}, {35, 35}, false},
      {"the centre", {20, 20}, {80, 80}, {50, 45}, false},
      {"far outside", {20, 20}, {80, 80}, {16, 16}, false},
      {"thin, off its axis", {20, 20}, {26, 80}, {22, 40}, true},
      {"thin, on its axis", {20, 20}, {26, 80}, {23, 40}, false},
  };
  for (const auto& row : rows) {
    MeasuredImage shown;
    shown.Drag(MEAS_ELLIPSE, row.first, row.second);
    shown.Press({95, 5}, MEAS_NONE);
    shown.Press(row.press, MEAS_NONE);
    const MeasAnnotTool* selected = shown.Tools().GetSelected();
    EXPECT_EQ(selected != nullptr && selected->GetMode() == MEAS_MODE_MOVING_SHAPE, row.hit) << row.what;
  }
}

// A shape dragged against the image's edge stops whole: no anchor is clamped on its own, so the
// line keeps its length. A grip dragged out is held at the edge (a point at -1 becomes 0).
TEST(HitTests, AShapeStopsWholeAtTheEdgeAndAGripIsHeldThere) {
  MeasuredImage shown({100, 100, 200, 100});  // the image stands in columns 50 to 149
  shown.Drag(MEAS_LINE, {60, 20}, {100, 60});
  shown.Press({80, 40}, MEAS_NONE);
  shown.Move({75, 40});
  shown.Move({70, 40});  // the first end reaches column 0
  shown.Move({65, 40});  // would take it to -5: nothing moves
  shown.Release({60, 40});
  EXPECT_EQ(shown.List(), "line 0,20 40,60 selected=yes mode=MEAS_MODE_NONE label=\"57 px\"\n");
  shown.Drag(MEAS_NONE, {90, 60}, {49, 60});  // the second end to column -1
  EXPECT_EQ(shown.List(), "line 0,20 0,60 selected=yes mode=MEAS_MODE_NONE label=\"40 px\"\n");
}

}  // namespace
