#include "image/presentation_intent.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ondrel/platform/host_window.h"
#include "image/pixels_support.h"
#include "workstation/graph_support.h"

namespace {

using workstation_test::MessageOf;

TEST(PresentationIntent, ResetGivesTheDefaultsAndTheTraceTextShowsEveryField) {
  PresentationIntent intent;
  intent.rotation = 270;
  intent.flipY = 1;
  intent.zoom = 250;
  intent.panX = -3;
  intent.panY = 7;
  intent.invert = 1;
  intent.palette = 2;
  intent.filter = 1;
  intent.threshold = -5;
  intent.windowLevel = WindowLevel{400, 40, 1, 1};
  EXPECT_EQ(intent.ToTraceText(),
            "\r\nPresentation Intent:\r\n\tRotation=270\tFlipX=false\tFlipY=true\tZoom=250\tPanX=-3\tPanY=7"
            "\tInvert=true\r\n\tColorPalette=2\r\n\tWL:\tWindow=400\tLevel=40\tStep=1\r\n\tImageFilter=1"
            "\tThreshold=-5\r\n");
  intent.Reset();
  EXPECT_EQ(intent.ToTraceText(),
            "\r\nPresentation Intent:\r\n\tRotation=0\tFlipX=false\tFlipY=false\tZoom=100\tPanX=0\tPanY=0"
            "\tInvert=false\r\n\tColorPalette=0\r\n\tWL:NULL\r\n\tImageFilter=0\tThreshold=0\r\n");
}

TEST(PresentationIntent, UserOperationsFollowTheStateTable) {
  struct Row {
    ImageRotationFlipEnum op;
    SHORT rotation;
    BYTE flipX;
    BYTE flipY;
  };
  // From rotation 90 with flipX set and flipY clear.
  const std::vector<Row> rows = {
      {ROTATE_RIGHT, 180, 0, 1}, {ROTATE_LEFT, 0, 0, 1}, {FLIP_LR, 90, 0, 0}, {FLIP_UD, 90, 1, 1},
      {ROT_FLIP_NONE, 90, 1, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.op);
    PresentationIntent intent;
    intent.rotation = 90;
    intent.flipX = 1;
    intent.ApplyUserRotationFlip(row.op);
    EXPECT_EQ(intent.rotation, row.rotation);
    EXPECT_EQ(intent.flipX, row.flipX);
    EXPECT_EQ(intent.flipY, row.flipY);
  }

  PresentationIntent intent;
  intent.flipX = 1;
  for (int i = 0; i < 4; ++i) intent.ApplyUserRotationFlip(ROTATE_RIGHT);
  EXPECT_EQ(intent.rotation, 0);
  EXPECT_EQ(intent.flipX, 1);
  EXPECT_EQ(intent.flipY, 0);
  intent.ApplyUserRotationFlip(ROTATE_LEFT);
  EXPECT_EQ(intent.rotation, 270);
}

struct OwnedPixels {
  ByteBlock buffer;
  explicit OwnedPixels(const std::vector<BYTE>& bytes) : buffer(image_test::CopyOf(bytes)) {}
  std::vector<BYTE> Bytes() const { return image_test::BytesOf(buffer.Span()); }
};

const PixelLayout kGrey2x3{2, 3, 1, 8, 8, 0, Photometric::Monochrome2};

TEST(RotateFlipPixels, QuarterTurnsAndFlipsByHand) {
  // 1 2 3
  // 4 5 6
  struct Row {
    ImageRotationFlipEnum op;
    std::vector<BYTE> result;
  };
  const std::vector<Row> rows = {
      {ROTATE_RIGHT, {4, 1, 5, 2, 6, 3}},
      {ROTATE_LEFT, {3, 6, 2, 5, 1, 4}},
      {FLIP_LR, {3, 2, 1, 6, 5, 4}},
      {FLIP_UD, {4, 5, 6, 1, 2, 3}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.op);
    OwnedPixels pixels({1, 2, 3, 4, 5, 6});
    PresentationIntent intent;
    EXPECT_TRUE(RotateFlipPixels(intent, pixels.buffer, kGrey2x3, row.op));
    EXPECT_EQ(pixels.Bytes(), row.result);
  }
}

TEST(RotateFlipPixels, FlipLeftRightThenTurnRightEqualsTurnRightThenFlipUpDown) {
  const PixelLayout layout{3, 4, 1, 16, 12, 0, Photometric::Monochrome2};
  std::vector<BYTE> raw;
  for (int i = 0; i < 24; ++i) raw.push_back(static_cast<BYTE>(i * 7));
  OwnedPixels first(raw);
  OwnedPixels second(raw);
  PresentationIntent a;
  PresentationIntent b;
  RotateFlipPixels(a, first.buffer, layout, FLIP_LR);
  RotateFlipPixels(a, first.buffer, layout, ROTATE_RIGHT);
  RotateFlipPixels(b, second.buffer, layout, ROTATE_RIGHT);
  RotateFlipPixels(b, second.buffer, layout, FLIP_UD);
  EXPECT_EQ(first.Bytes(), second.Bytes());

  // The same gestures as a user makes them, replayed on fresh copies, give that picture too.
  for (bool flipFirst : {true, false}) {
    PresentationIntent user;
    user.ApplyUserRotationFlip(flipFirst ? FLIP_LR : ROTATE_RIGHT);
    user.ApplyUserRotationFlip(flipFirst ? ROTATE_RIGHT : FLIP_UD);
    const PresentationIntent before = user;
    OwnedPixels fresh(raw);
    ApplyPresentationToPixels(user, fresh.buffer, layout);
    EXPECT_EQ(fresh.Bytes(), first.Bytes());
    EXPECT_EQ(user.rotation, before.rotation);
    EXPECT_EQ(user.flipX, before.flipX);
    EXPECT_EQ(user.flipY, before.flipY);
  }
}

TEST(RotateFlipPixels, ColourSamplesTravelInTheirOwnSlotsAndPlanes) {
  // Two pixels side by side, (R, G, B) = (1, 2, 3) and (4, 5, 6); a turn right stacks them.
  OwnedPixels interleaved({1, 2, 3, 4, 5, 6});
  PresentationIntent intent;
  RotateFlipPixels(intent, interleaved.buffer, PixelLayout{1, 2, 3, 8, 8, 0, Photometric::Rgb}, ROTATE_RIGHT);
  EXPECT_EQ(interleaved.Bytes(), (std::vector<BYTE>{1, 2, 3, 4, 5, 6}));
  RotateFlipPixels(intent, interleaved.buffer, PixelLayout{1, 2, 3, 8, 8, 0, Photometric::Rgb}, FLIP_UD);
  EXPECT_EQ(interleaved.Bytes(), (std::vector<BYTE>{4, 5, 6, 1, 2, 3}));

  // Planes R R, G G, B B: a left-right flip swaps within each plane.
  OwnedPixels planar({1, 4, 2, 5, 3, 6});
  PresentationIntent other;
  RotateFlipPixels(other, planar.buffer, PixelLayout{1, 2, 3, 8, 8, 1, Photometric::Rgb}, FLIP_LR);
  EXPECT_EQ(planar.Bytes(), (std::vector<BYTE>{4, 1, 5, 2, 6, 3}));
}

TEST(RotateFlipPixels, OddMiddleRowStaysAndReplayOfALeftTurnKeepsTheIntent) {
  OwnedPixels pixels({1, 2, 3, 4, 5, 6});
  PresentationIntent intent;
  RotateFlipPixels(intent, pixels.buffer, PixelLayout{3, 2, 1, 8, 8, 0, Photometric::Monochrome2}, FLIP_UD);
  EXPECT_EQ(pixels.Bytes(), (std::vector<BYTE>{5, 6, 3, 4, 1, 2}));

  OwnedPixels turned({1, 2, 3, 4, 5, 6});
  PresentationIntent left;
  left.ApplyUserRotationFlip(ROTATE_LEFT);
  ApplyPresentationToPixels(left, turned.buffer, kGrey2x3);
  EXPECT_EQ(turned.Bytes(), (std::vector<BYTE>{3, 6, 2, 5, 1, 4}));
  EXPECT_EQ(left.rotation, 270);
}

TEST(RotateFlipPixels, RefusesPixelsShorterThanTheLayout) {
  OwnedPixels pixels({1, 2, 3});
  PresentationIntent intent;
  EXPECT_TRUE(MessageOf([&] { RotateFlipPixels(intent, pixels.buffer, kGrey2x3, ROTATE_RIGHT); })
                  .starts_with("The pixel data is smaller than the image it describes."));
  EXPECT_EQ(intent.rotation, 0);
}

TEST(DisplayRect, ZoomPanAndTurnInANonSquareClient) {
  const RECT client{0, 0, 400, 200};
  struct Row {
    const char* holds;
    ULONG zoom;
    SHORT rotation;
    LONG panX;
    LONG panY;
    LONG rows;
    LONG columns;
    RECT expected;
  };
  const std::vector<Row> rows = {
      {"zoom 100 fits the height and centres", 100, 0, 0, 0, 100, 100, {100, 0, 300, 200}},
      {"zoom 200 grows by half the size each way", 200, 0, 0, 0, 100, 100, {0, -100, 400, 300}},
      {"zoom 50 shrinks about the centre", 50, 0, 0, 0, 100, 100, {150, 50, 250, 150}},
      {"zoom 0 draws from the corner at true size", 0, 0, 0, 0, 100, 100, {0, 0, 100, 100}},
      {"zoom 0 with pan", 0, 0, 10, -5, 100, 100, {10, -5, 110, 95}},
      {"pan moves the fitted picture", 100, 0, 10, -5, 100, 100, {110, -5, 310, 195}},
      {"a quarter turn swaps width and height", 100, 90, 0, 0, 50, 100, {150, 0, 250, 200}},
      {"a wide image fits the width", 100, 0, 0, 0, 50, 400, {0, 75, 400, 125}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.holds);
    PresentationIntent intent;
    intent.zoom = row.zoom;
    intent.rotation = row.rotation;
    intent.panX = row.panX;
    intent.panY = row.panY;
    const RECT r = CalculateDisplayRect(client, intent, row.rows, row.columns);
    EXPECT_EQ((std::vector<LONG>{r.left, r.top, r.right, r.bottom}),
              (std::vector<LONG>{row.expected.left, row.expected.top, row.expected.right, row.expected.bottom}));
  }

  const RECT flat = CalculateDisplayRect(RECT{0, 0, 300, 0}, PresentationIntent{}, 10, 10);
  EXPECT_EQ(flat.bottom - flat.top, 0);
}

TEST(DisplayRect, ReadsTheWindowsClientAreaAndReportsADeadWindow) {
  const HWND window = ondrel::platform::CreateHostWindow(400, 200);
  ASSERT_NE(window, nullptr);
  RECT client{};
  const RECT r = CalculateDisplayRect(window, PresentationIntent{}, 100, 100, client);
  EXPECT_EQ(client.right, 400);
  EXPECT_EQ(client.bottom, 200);
  EXPECT_EQ(r.left, 100);
  EXPECT_EQ(r.right, 300);
  DestroyWindow(window);

  try {
    CalculateDisplayRect(window, PresentationIntent{}, 100, 100, client);
    ADD_FAILURE() << "a destroyed window gave a rectangle";
  } catch (const MyException& e) {
    EXPECT_TRUE(std::string(e.what()).starts_with("Failed to calculate the display rectangle. File=presentation_intent.cpp"));
    ASSERT_NE(e.Inner(), nullptr);
    EXPECT_TRUE(std::string(e.Inner()->what()).starts_with("Cannot get the client rectangle. File="));
  }
}

}  // namespace
