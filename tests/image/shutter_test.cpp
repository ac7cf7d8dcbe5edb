// Display shutters on small synthetic images; which pixels are blanked is worked out by hand from the
// shapes' definitions.
#include "image/shutter.h"

#include <gtest/gtest.h>

#include <vector>

#include "image/image.h"
#include "ondrel/platform/host_window.h"
#include "sources/image_info_strategies.h"
#include "image/pixels_support.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

// Sets the process-wide switch for a test and puts back what it was.
struct ShutterSwitch {
  const bool saved = ShutterApplied();
  explicit ShutterSwitch(bool applied) { SetShutterApplied(applied); }
  ~ShutterSwitch() { SetShutterApplied(saved); }
};

constexpr BYTE kPicture = 200;
constexpr BYTE kBlank = 7;

using image_test::FrameOf;

// An image of kPicture elements whose shutter blanks with kBlank outside the rectangle of columns 2..8
// and rows 1..5, the circle of radius 2 about column 6, row 4, or the polygon around columns 2..5,
// rows 1..3, as its shape text says.
struct ShutteredImage {
  const ClassesRegistered registered;
  const Graph graph;
  std::vector<BYTE> source;
  std::vector<BYTE> pixels;
  ImageInfoWStationStrategy info{graph.image.Get()};

  ShutteredImage(const char16_t* shape, USHORT rows, USHORT columns, USHORT bits = 8, USHORT samples = 1)
      : source(std::size_t{rows} * columns * samples * (bits > 8 ? 2 : 1), kPicture), pixels(source) {
    IImageInfoNW* image = graph.image.Get();
    image->SetRows(rows);
    image->SetColumns(columns);
    image->SetBitsStored(bits);
    image->SetHighBit(static_cast<USHORT>(bits - 1));
    image->SetSamplesPerPixel(samples);
    image->SetShutterShape(BStr(shape).Get());
    image->SetShutterPresentationValue(kBlank);
    image->SetShutterLeftEdge(2);
    image->SetShutterRightEdge(9);
    image->SetShutterUpperEdge(1);
    image->SetShutterLowerEdge(6);
    image->SetShutterCircularCenter(6, 4);
    image->SetShutterRadius(2);
    image->SetShutterVertices(BStr(u"1\\2\\1\\6\\4\\6\\4\\2").Get());
  }
  void Apply(bool monochrome1 = false) { Shutter(FrameOf(source), &info, monochrome1).Apply(pixels); }
};

TEST(Shutter, EachNamedShapeBlanksWhatLiesOutsideIt) {
  const ShutterSwitch on(true);
  const struct {
    const char* what;
    const char16_t* shape;
    std::vector<std::pair<int, int>> blanked, kept;  // x, y
  } cases[] = {
      {"rectangle: right and bottom edges outside", u"RECTANGULAR", {{9, 5}, {8, 6}, {1, 3}}, {{2, 1}, {8, 5}}},
      // 12 columns over 8 rows stretch the circle to a half-height of 3: a y-distance of 3 is inside.
      {"circle, in any case: an ellipse on a wide image", u"circular", {{9, 4}, {3, 4}, {6, 0}, {8, 6}},
       {{8, 4}, {4, 4}, {6, 7}, {6, 1}, {7, 6}}},
      {"both: what lies in both stays", u"RECTANGULAR\\CIRCULAR", {{3, 4}, {6, 7}}, {{6, 4}, {7, 5}}},
      {"polygon: pixels whose centres lie inside", u"POLYGONAL", {{6, 3}, {5, 4}, {1, 2}}, {{2, 1}, {5, 3}}},
      {"no shape", u"", {}, {{0, 0}, {11, 7}}},
  };
  for (const auto& c : cases) {
    ShutteredImage image(c.shape, 8, 12);
    image.Apply();
    for (const auto& [x, y] : c.blanked) EXPECT_EQ(image.pixels[y * 12 + x], kBlank) << c.what << " " << x << "," << y;
    for (const auto& [x, y] : c.kept) EXPECT_EQ(image.pixels[y * 12 + x], kPicture) << c.what << " " << x << "," << y;
  }
}

// On 2 x 2 images whose rectangle keeps only the top-left pixel.
TEST(Shutter, BlankValueWidthAndPlane) {
  const ShutterSwitch on(true);
  constexpr BYTE P = kPicture;
  const struct {
    const char* what;
    USHORT bits, samples;
    bool monochrome1;
    USHORT value;
    std::vector<BYTE> pixels;
  } cases[] = {
      {"8 bits take the low byte", 8, 1, false, 0x1234, {P, 0x34, 0x34, 0x34}},
      {"MONOCHROME1 blanks 0 as all bits stored", 12, 1, true, 0, {P, P, 0xFF, 0x0F, 0xFF, 0x0F, 0xFF, 0x0F}},
      {"MONOCHROME1 keeps a value that is set", 8, 1, true, 5, {P, 5, 5, 5}},
      {"16 bits, little-endian", 16, 1, false, 0xABCD, {P, P, 0xCD, 0xAB, 0xCD, 0xAB, 0xCD, 0xAB}},
      {"colour: the first rows x columns samples only", 8, 3, false, kBlank, {P, 7, 7, 7, P, P, P, P, P, P, P, P}},
  };
  for (const auto& c : cases) {
    ShutteredImage image(u"RECTANGULAR", 2, 2, c.bits, c.samples);
    image.graph.image->SetShutterPresentationValue(c.value);
    image.graph.image->SetShutterLeftEdge(0);
    image.graph.image->SetShutterRightEdge(1);
    image.graph.image->SetShutterUpperEdge(0);
    image.graph.image->SetShutterLowerEdge(1);
    image.Apply(c.monochrome1);
    EXPECT_EQ(image.pixels, c.pixels) << c.what;
  }
}

// A shutter follows the switch once per change; a new one (as every pixel copy makes) starts unapplied.
TEST(Shutter, FollowsTheSwitchAndRestoresTheWholeImage) {
  ShutterSwitch on(true);
  ShutteredImage image(u"RECTANGULAR", 8, 12);
  Shutter shutter(FrameOf(image.source), &image.info, false);
  shutter.Apply(image.pixels);
  image.pixels[0] = 99;
  shutter.Apply(image.pixels);
  EXPECT_EQ(image.pixels[0], 99) << "already applied: nothing done";
  SetShutterApplied(false);
  shutter.Apply(image.pixels);
  EXPECT_EQ(image.pixels, image.source) << "switched off: the whole image back";
  image.pixels[0] = 99;
  image.Apply();
  EXPECT_EQ(image.pixels[0], 99) << "a new shutter while switched off does nothing";
}

// Through the image: each pixel copy brings a new shutter, applied before the picture is turned; a
// failure comes out under the image's words, with the cause inside.
TEST(Shutter, TheImageAppliesItOnEachCopyAndNamesItsFailure) {
  const ShutterSwitch on(true);
  ShutteredImage shuttered(u"RECTANGULAR", 8, 12);
  PresentationIntent intent;
  const HWND window = ondrel::platform::CreateHostWindow(24, 16);
  Image image(FrameOf(shuttered.source), std::make_unique<ImageInfoWStationStrategy>(shuttered.graph.image.Get()),
              &intent);
  image.PrepareAndDraw(window, false, true);
  EXPECT_EQ(image.Pixels()[0], kBlank);
  EXPECT_EQ(image.Pixels()[1 * 12 + 2], kPicture);
  image.ReloadPixels(window, FrameOf(shuttered.source), true);
  EXPECT_EQ(image.Pixels()[0], kBlank) << "the fresh copy is blanked again";

  shuttered.graph.image->SetShutterShape(BStr(u"POLYGONAL").Get());
  shuttered.graph.image->SetShutterVertices(BStr(u"1\\2\\1\\6\\4").Get());
  try {
    image.ReloadPixels(window, FrameOf(shuttered.source), true);
    ADD_FAILURE() << "an odd count of vertices must fail";
  } catch (const MyException& e) {
    EXPECT_TRUE(std::string(e.what()).starts_with("Failed to apply the shutter."));
    ASSERT_NE(e.Inner(), nullptr);
    EXPECT_TRUE(std::string(e.Inner()->what())
                    .starts_with("Invalid polygonal shutter: The vertices don't come in paires. File="));
  }
  DestroyWindow(window);
}

}  // namespace
