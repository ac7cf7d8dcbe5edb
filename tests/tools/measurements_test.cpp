// The measurement manager: what a press on empty area makes, the hit-test passes, selection, deletes,
// visibility, calibration and the interactions that capture presses. A 100 x 100 image in a 100 x 100
// window, one image pixel per window pixel, unless a test says otherwise.
#include <gtest/gtest.h>

#include <stdexcept>

#include "image/image_export.h"
#include "tools/line_tool.h"
#include "tools/text_annotation_tool.h"
#include "tools/tool_test_support.h"

namespace {

using namespace tools_test;

TEST(Measurements, APressOutsideTheImageLeavesAnEmptyToolThatIsNeverHitAndTheNextPressMakesAnother) {
  // A 100 x 100 image in a 200 x 100 window stands in columns 50 to 149.
  MeasuredImage shown({100, 100, 200, 100});
  EXPECT_TRUE(shown.Press({10, 50}, MEAS_LINE));
  EXPECT_FALSE(shown.Release({30, 50})) << "no interaction is going on";
  EXPECT_EQ(shown.List(), "line selected=yes mode=MEAS_MODE_NONE\n");
  EXPECT_TRUE(shown.Drag(MEAS_LINE, {60, 20}, {120, 20}));
  EXPECT_EQ(shown.List(),
            "line selected=no mode=MEAS_MODE_NONE\n"
            "line 10,20 70,20 selected=yes mode=MEAS_MODE_NONE label=\"60 px\"\n");
}

TEST(Measurements, APressOnEmptyAreaClearsTheSelectionAndMakesTheChosenToolOrNone) {
  const struct {
    const char* what;
    USHORT type;
    bool processed;
    std::size_t tools;  // after the press; the line and its label are two
  } rows[] = {
      {"none", MEAS_NONE, true, 2},          {"arrow, which no tool draws", MEAS_ARROW, true, 2},
      {"delete", MEAS_DELETE, true, 2},      {"delete all", MEAS_DELETE_ALL, true, 2},
      {"edit", MEAS_EDIT, false, 2},         {"a value outside the enumeration", 42, true, 2},
      {"line", MEAS_LINE, true, 3},          {"ellipse", MEAS_ELLIPSE, true, 3},
      {"angle", MEAS_ANGLE, true, 3},        {"text", MEAS_TEXT, true, 3},
      {"calibration", MEAS_CALIBRATION, true, 3},
  };
  for (const auto& row : rows) {
    MeasuredImage shown;
    shown.Drag(MEAS_LINE, {10, 10}, {50, 10});
    ASSERT_NE(shown.Tools().GetSelected(), nullptr);
    EXPECT_EQ(shown.Press({70, 70}, row.type), row.processed) << row.what;
    EXPECT_EQ(shown.ToolCount(), row.tools) << row.what;
    const bool made = row.tools == 3;
    EXPECT_EQ(shown.Tools().GetSelected(), made ? shown.Tools().Tools().back().get() : nullptr) << row.what;
  }
}

TEST(Measurements, ASecondCalibrationPressSelectsTheCalibrationLineInsteadOfMakingAnother) {
  MeasuredImage shown;
  shown.Drag(MEAS_CALIBRATION, {10, 10}, {50, 10});
  const MeasAnnotTool* calibration = shown.Tools().Tools().front().get();
  shown.Press({70, 70}, MEAS_NONE);
  ASSERT_EQ(shown.Tools().GetSelected(), nullptr);
  EXPECT_TRUE(shown.Press({70, 70}, MEAS_CALIBRATION));
  EXPECT_EQ(shown.Tools().GetSelected(), calibration);
  EXPECT_EQ(shown.List(), "calibration 10,10 50,10 selected=yes mode=MEAS_MODE_NONE label=\"40 px\"\n");
}

TEST(Measurements, CalibrateWithoutACalibrationLineSelectedChangesNothingEvenWhenCancelled) {
  for (const bool cancel : {false, true}) {
    MeasuredImage shown;
    shown.Drag(MEAS_CALIBRATION, {10, 10}, {50, 10});
    shown.Drag(MEAS_LINE, {10, 30}, {50, 30});  // selected: a line, not the calibration line
    const std::string before = shown.List();
    EXPECT_TRUE(shown.Tools().Calibrate(shown.Window(), cancel, 20.0, false)) << "missing calibration line";
    EXPECT_EQ(shown.List(), before);
    EXPECT_FALSE(shown.Tools().GetCalibration());
    shown.Press({70, 70}, MEAS_NONE);
    const std::string unselected = shown.List();
    EXPECT_TRUE(shown.Tools().Calibrate(shown.Window(), cancel, 20.0, false)) << "nothing selected";
    EXPECT_EQ(shown.List(), unselected);
  }
}

// A calibration line of 40 pixels said to be 20 mm long: half a millimetre a pixel, written to the
// image or to every image of its series, and every label in millimetres; cancelled, only the line goes.
TEST(Measurements, CalibrateWritesTheSpacingAndChangesEveryLabelToMillimetres) {
  for (const bool series : {false, true}) {
    ComPtr<IImageInfoNW> neighbour;
    MeasuredImage shown({}, nullptr, [&](Graph& graph) {
      neighbour = Create<IImageInfoNW>(CLSID_ImageInfoNW);
      graph.series->AddImageToSeries(neighbour.Get());
    });
    shown.Drag(MEAS_LINE, {10, 30}, {70, 30});
    shown.Drag(MEAS_CALIBRATION, {10, 10}, {50, 10});
    EXPECT_FALSE(shown.Tools().Calibrate(shown.Window(), false, 20.0, series));
    EXPECT_EQ(shown.List(), "line 10,30 70,30 selected=no mode=MEAS_MODE_NONE label=\"30 mm\"\n");
    EXPECT_EQ(shown.Tools().GetSelected(), nullptr);
    double x = 0;
    double y = 0;
    EXPECT_EQ(shown.Objects().image->GetPixelSpacing(&x, &y), S_OK);
    EXPECT_DOUBLE_EQ(x, 0.5);
    EXPECT_DOUBLE_EQ(y, 0.5);
    EXPECT_EQ(neighbour->GetPixelSpacing(&x, &y), series ? S_OK : S_FALSE) << "the series' other image";
    // A second calibration replaces the first.
    shown.Drag(MEAS_CALIBRATION, {10, 10}, {50, 10});
    EXPECT_FALSE(shown.Tools().Calibrate(shown.Window(), false, 40.0, series));
    EXPECT_EQ(shown.List(), "line 10,30 70,30 selected=no mode=MEAS_MODE_NONE label=\"60 mm\"\n");
  }
  MeasuredImage shown;
  shown.Drag(MEAS_CALIBRATION, {10, 10}, {50, 10});
  EXPECT_FALSE(shown.Tools().Calibrate(shown.Window(), true, 20.0, false));
  EXPECT_EQ(shown.List(), "");
  EXPECT_FALSE(shown.Tools().GetCalibration());
}

TEST(Measurements, DeletingALabelDeletesItsMeasurementAndTheSelectionMovesToTheOldest) {
  MeasuredImage shown;
  shown.Drag(MEAS_LINE, {10, 10}, {50, 10});
  shown.Drag(MEAS_LINE, {10, 40}, {90, 40});
  shown.Drag(MEAS_LINE, {10, 80}, {90, 80});
  // The second line's label stands over its middle, (50, 40), where the line is too: its grips are
  // away, so the segment wins there. Below the line the label alone is hit.
  ASSERT_TRUE(shown.Press({50, 44}));
  const MeasAnnotTool* label = shown.Tools().GetSelected();
  ASSERT_NE(label, nullptr);
  EXPECT_NE(label->GetOwnerTool(), nullptr) << "the label is selected";
  EXPECT_EQ(label->GetMode(), MEAS_MODE_MOVING_TEXT);
  shown.Release({50, 44});
  shown.Tools().DeleteSelected();
  EXPECT_EQ(shown.List(),
            "line 10,10 50,10 selected=yes mode=MEAS_MODE_NONE label=\"40 px\"\n"
            "line 10,80 90,80 selected=no mode=MEAS_MODE_NONE label=\"80 px\"\n");
  EXPECT_EQ(shown.ToolCount(), 4u);
  shown.Tools().DeleteAll();
  EXPECT_EQ(shown.ToolCount(), 0u);
  EXPECT_EQ(shown.Tools().GetSelected(), nullptr);
}

TEST(Measurements, HiddenToolsAreStillHit) {
  MeasuredImage shown;
  shown.Drag(MEAS_LINE, {10, 10}, {50, 10});
  shown.Press({70, 70}, MEAS_NONE);
  shown.Tools().ToggleVisibility();
  EXPECT_FALSE(shown.Tools().IsVisible());
  EXPECT_TRUE(shown.Press({30, 11}, MEAS_LINE));
  EXPECT_EQ(shown.Tools().GetSelected(), shown.Tools().Tools().front().get());
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_SHAPE);
  EXPECT_EQ(shown.ToolCount(), 2u) << "no new line";
}

// Grip handles win over outlines, outlines over text boxes, and among equals the oldest tool.
TEST(Measurements, AGripWinsOverAnOutlineAndTheOldestToolOverANewerOne) {
  MeasuredImage shown;
  shown.Drag(MEAS_LINE, {10, 50}, {90, 50});  // its segment passes (60, 50)
  shown.Drag(MEAS_LINE, {60, 90}, {60, 50});  // drawn up to there: its second grip
  shown.Drag(MEAS_LINE, {20, 20}, {20, 90});  // crosses the first line at (20, 50)
  ASSERT_TRUE(shown.Press({60, 50}));
  EXPECT_EQ(shown.Tools().GetSelected(), std::next(shown.Tools().Tools().begin(), 2)->get()) << "the newer grip";
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_ANCHOR);
  shown.Release({60, 50});
  ASSERT_TRUE(shown.Press({20, 51}));
  EXPECT_EQ(shown.Tools().GetSelected(), shown.Tools().Tools().front().get()) << "the older outline";
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_SHAPE);
}

// After a double-click a line has nothing to edit: the next press and release go to it, change
// nothing and end there; no tool is made.
TEST(Measurements, TheClickAfterADoubleClickOnALineIsSwallowed) {
  MeasuredImage shown;
  shown.Drag(MEAS_LINE, {10, 10}, {50, 10});
  shown.Tools().OnDoubleClick(shown.Window());
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_EDITING_TEXT);
  EXPECT_TRUE(shown.Press({70, 70}, MEAS_LINE));
  EXPECT_TRUE(shown.Release({80, 80}));
  EXPECT_EQ(shown.List(), "line 10,10 50,10 selected=yes mode=MEAS_MODE_NONE label=\"40 px\"\n");
  EXPECT_EQ(shown.ToolCount(), 2u);
}

// Ends closer than the grip handle size (3) in image pixels overlap; at 4 the line is measured. The
// failed release leaves the line in the making, selected, so the user can drag it on.
TEST(Measurements, ANewLineOfThreePixelsOverlapsAndOneOfFourIsMeasured) {
  MeasuredImage shown({100, 100, 200, 200});  // two window pixels an image pixel: the test is in image pixels
  shown.Press({20, 20}, MEAS_LINE);
  shown.Move({26, 20});
  try {
    shown.Release({26, 20});
    ADD_FAILURE() << "a line of 3 pixels was accepted";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), "Invalid measurement: overlapped points.");
  }
  EXPECT_EQ(shown.List(), "line 10,10 13,10 selected=yes mode=MEAS_MODE_CREATING\n");
  shown.Move({28, 20});
  EXPECT_TRUE(shown.Release({28, 20}));
  EXPECT_EQ(shown.List(), "line 10,10 14,10 selected=yes mode=MEAS_MODE_NONE label=\"4 px\"\n");
  // A finished line may be dragged shorter without complaint.
  shown.Drag(MEAS_NONE, {28, 20}, {24, 20});
  EXPECT_EQ(shown.List(), "line 10,10 12,10 selected=yes mode=MEAS_MODE_NONE label=\"2 px\"\n");
}

TEST(Measurements, EndingTheInteractionOnALabelEndsItsMeasurementsAndAnAngleKeepsWhatItHas) {
  MeasuredImage shown;
  shown.Press({10, 10}, MEAS_ANGLE);
  EXPECT_FALSE(shown.Release({10, 10}));
  shown.Move({40, 40});
  shown.Tools().EndInteraction();
  EXPECT_EQ(shown.List(), "angle 10,10 40,40 selected=yes mode=MEAS_MODE_NONE\n");
  EXPECT_FALSE(shown.Tools().Tools().front()->HitTestShape({25, 25})) << "an angle of two points is never hit";
}

// Anchors are image pixels: a line drawn on a turned, mirrored, zoomed and moved view stays on the
// same pixels, and its grips are found where those pixels are shown.
TEST(Measurements, AnchorsStayOnTheSameImagePixelsThroughRotationFlipZoomAndPan) {
  MeasuredImage shown;
  shown.Drag(MEAS_LINE, {20, 30}, {60, 30});
  PresentationIntent& intent = shown.Intent();
  intent.rotation = 90;  // image (x, y) shows at (99 - y, x)
  shown.Press({70, 70}, MEAS_NONE);
  EXPECT_TRUE(shown.Press({69, 60}));
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_ANCHOR) << "the second end, turned";
  shown.Release({69, 60});
  intent.flipX = 1;  // then mirrored: (y, x)
  shown.Press({90, 90}, MEAS_NONE);
  EXPECT_TRUE(shown.Press({30, 20}));
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_ANCHOR) << "the first end, turned and mirrored";
  shown.Release({30, 20});
  intent.rotation = 0;
  intent.flipX = 0;
  intent.zoom = 200;  // twice the size about the centre, then moved 10 right
  intent.panX = 10;
  shown.Press({90, 90}, MEAS_NONE);
  EXPECT_TRUE(shown.Press({-50 + 10 + 2 * 60, -50 + 2 * 30}));
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_ANCHOR) << "the second end, zoomed and moved";
  shown.Release({-50 + 10 + 2 * 60, -50 + 2 * 30});
  EXPECT_EQ(shown.List(), "line 20,30 60,30 selected=yes mode=MEAS_MODE_NONE label=\"40 px\"\n");
}

// A drag draws only the rubber band, by exclusive-or: moving away and back leaves the window exactly as
// after the first move, and the picture beneath is never drawn again.
TEST(Measurements, ARubberBandIsDrawnByExclusiveOrWithoutRepaintingTheImage) {
  MeasuredImage shown;
  const auto pixels = [&] {
    ondrel::platform::WindowPixels read;
    EXPECT_TRUE(ondrel::platform::ReadWindowPixels(shown.Window(), read));
    return read.bgra;
  };
  const std::vector<std::uint8_t> blank = pixels();
  shown.Press({10, 10}, MEAS_ELLIPSE);
  shown.Move({60, 40});
  const std::vector<std::uint8_t> first = pixels();
  EXPECT_NE(first, blank);
  shown.Move({80, 90});
  shown.Move({60, 40});
  EXPECT_EQ(pixels(), first);
}

// A reference line as the reference line calculation makes one: its two ends, drawn with the pen
// the measurements give it.
class ReferenceLine final : public MeasAnnotTool {
 public:
  ReferenceLine(Measurements& measurements, PixelPoint a, PixelPoint b) : MeasAnnotTool(measurements) {
    anchors_ = {a, b};
  }
  void OnButtonDown(HDC, POINT) override {}
  void OnMouseMove(HDC, POINT) override {}
  bool OnButtonUp(HDC, POINT) override { return true; }
  void Draw(HDC dc) override {
    const POINT a = ToScreen(anchors_[0]);
    const POINT b = ToScreen(anchors_[1]);
    MoveToEx(dc, a.x, a.y, nullptr);
    LineTo(dc, b.x, b.y);
  }
  std::string_view Kind() const override { return "reference"; }
};

// Reference lines come after the tools in the list, and are drawn in their own pen whether the tools
// are shown or hidden, but not while the process's reference-line mode is off.
TEST(Measurements, ReferenceLinesAreListedLastAndDrawnWhateverTheToolsVisibilityUnlessTheModeIsOff) {
  const PreferenceSet<COLORREF> colour(Preferences().userRefLineColor, RGB(255, 0, 0));
  MeasuredImage shown({100, 100, 200, 200});
  shown.Drag(MEAS_LINE, {20, 20}, {120, 20});
  shown.Tools().ReferenceLines().push_back(
      std::make_unique<ReferenceLine>(shown.Tools(), PixelPoint{0, 50}, PixelPoint{99, 50}));
  EXPECT_EQ(shown.List(),
            "line 10,10 60,10 selected=yes mode=MEAS_MODE_NONE label=\"50 px\"\n"
            "reference 0,50 99,50\n");
  shown.Tools().ToggleVisibility();
  ondrel::platform::WindowPixels pixels;
  const auto draw = [&](ReferenceLinesEnum mode) {
    const ReferenceLinesModeSet set(mode);
    const HDC dc = GetDC(shown.Window());
    shown.Tools().DrawReferenceLines(dc, shown.Shown().DisplayRect());
    shown.Tools().Draw(dc, shown.Shown().DisplayRect());
    ReleaseDC(shown.Window(), dc);
    EXPECT_TRUE(ondrel::platform::ReadWindowPixels(shown.Window(), pixels));
  };
  const auto red = [&](int x, int y) {
    const std::size_t at = (static_cast<std::size_t>(y) * 200 + x) * 4;
    return pixels.bgra[at + 2] == 255 && pixels.bgra[at + 1] == 0 && pixels.bgra[at] == 0;
  };
  draw(REFERENCE_LINE_OFF);
  EXPECT_FALSE(red(0, 100));
  draw(REFERENCE_LINE_CURRENT_SERIES);
  EXPECT_TRUE(red(0, 100));
  EXPECT_TRUE(red(197, 100)) << "image column 99 shows at window column 198, the line's last pixel left out";
  EXPECT_FALSE(red(199, 100));
  for (int x = 20; x < 120; ++x) EXPECT_EQ(pixels.bgra[(20 * 200 + x) * 4 + 1], 0) << "the hidden line at " << x;
}

// The display pixels a host takes (GetImageCurrentPixelData) carry the measurements where they lie on
// the image, one pixel an image pixel, whatever the window's size: a line drawn in a window twice as
// large lands on the image's own rows and columns, not on the window's.
TEST(Measurements, TheExportedDisplayPixelsCarryTheMeasurementsOnTheImagesPixels) {
  MeasuredImage shown({100, 100, 200, 200}, nullptr, [](Graph& graph) {
    graph.image->SetWindowCenter(100);
    graph.image->SetWindowWidth(200);  // the stored 0 shows black
  });
  shown.Shown().PrepareAndDraw(shown.Window(), true, true);
  shown.Drag(MEAS_LINE, {20, 20}, {120, 20});  // image (10,10)-(60,10), selected: its grips show
  SAFEARRAY* array = nullptr;
  LONG rows = 0;
  LONG columns = 0;
  VARIANT_BOOL colour = VARIANT_FALSE;
  GetImageCurrentPixelData(shown.Shown(), &array, &rows, &columns, &colour);
  ASSERT_EQ(rows, 100);
  ASSERT_EQ(columns, 100);
  void* data = nullptr;
  SafeArrayAccessData(array, &data);
  const auto* pixels = static_cast<const BYTE*>(data);
  const auto at = [&](int x, int y) { return pixels[y * 100 + x]; };
  // The label covers the middle of the line; its ends and the first grip's corner lie beside it.
  EXPECT_NE(at(10, 10), 0);
  EXPECT_NE(at(59, 10), 0);
  EXPECT_EQ(at(61, 10), 0) << "the line ends at its second anchor";
  EXPECT_NE(at(7, 12), 0) << "the first grip handle";
  EXPECT_EQ(at(17, 22), 0) << "nothing where the window shows the grip";
  EXPECT_EQ(at(90, 20), 0) << "nothing where the window shows the second end";
  SafeArrayUnaccessData(array);
  SafeArrayDestroy(array);
}

}  // namespace
