#include "image/window_level.h"
#include "lut_test_support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "image/image.h"
#include "image/palettes.h"
#include "image/pixels_support.h"
#include "image/presentation_intent.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/host_window.h"
#include "sources/image_info_strategies.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

// What the block held before the LUT ran; padding must not show it.
constexpr BYTE kUnwritten = 0xAA;

// Little-endian 16-bit elements, as a 12- or 16-bit image holds them.
std::vector<BYTE> Words(std::initializer_list<int> values) {
  std::vector<BYTE> bytes;
  for (int v : values) {
    bytes.push_back(static_cast<BYTE>(v & 0xFF));
    bytes.push_back(static_cast<BYTE>((v >> 8) & 0xFF));
  }
  return bytes;
}

using lut_test::Input;

// Padding left unwritten would show the marker.
std::vector<BYTE> Render(const LutInput& input) { return lut_test::Display(input, kUnwritten); }

TEST(WindowLevelLut, SignedTwelveBitImageThroughAWindowByHand) {
  // Stored 0x800 is -2048 (sign on bit 11), 0xF9C is -100. Window 200 at level 0: low -100, high 100,
  // a value v in between shows as trunc((v + 100) * 255 / 200).
  const std::vector<BYTE> pixels = Words({0x800, 0xF9C, 0, 100, 0x7FF, 50});
  LutInput input = Input(pixels, 2, 3, 12);
  input.isSigned = true;
  input.windowLevel = {200, 0, 1, 0};
  const std::vector<BYTE> display = Render(input);
  ASSERT_EQ(display.size(), 16U);  // 4 x 4 after padding
  // Bottom-up: the first row lands in the last padded row, the second one above it.
  // Padding is black.
  const std::vector<BYTE> expected = {0, 0, 0, 0,      //
                                      0, 0, 0, 0,      //
                                      255, 255, 191, 0,  //
                                      0, 0, 127, 0};
  EXPECT_EQ(display, expected);

  // Unsigned, 0x800 is 2048: above the window. A rescale of 0.5 and 10 moves -100 to -40: trunc(76.5).
  input.isSigned = false;
  EXPECT_EQ(Render(input)[12], 255);
  input.isSigned = true;
  input.rescaleSlope = 0.5;
  input.rescaleIntercept = 10.0;
  EXPECT_EQ(Render(input)[13], 76);
}

// Bits above bits stored don't count: a signed value written with its sign extended into them (as many
// scanners write) and one written with them clear show alike, and so do unsigned values with and
// without stray high bits; through the kernel and the plain mapping, and in the pixel range.
TEST(WindowLevelLut, BitsAboveBitsStoredAreMaskedOff) {
  const struct {
    const char* holds;
    bool isSigned;
    std::vector<BYTE> clean;
    std::vector<BYTE> withHighBits;
  } rows[] = {
      {"signed, sign extended", true, Words({0x800, 0xF9C, 0, 100, 0x7FF, 0xFFF}),
       Words({0xF800, 0xFF9C, 0, 100, 0x07FF, 0xFFFF})},
      {"unsigned, stray high bits", false, Words({0x800, 0xF9C, 0, 100, 0x7FF, 0xFFF}),
       Words({0x3800, 0xAF9C, 0xF000, 0x1064, 0x77FF, 0xFFFF})},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.holds);
    LutInput clean = Input(row.clean, 2, 3, 12);
    clean.isSigned = row.isSigned;
    clean.windowLevel = {200, 0, 1, 0};
    LutInput dirty = clean;
    dirty.pixels = row.withHighBits;
    for (const bool plain : {false, true}) {
      EXPECT_EQ(lut_test::Display(dirty, kUnwritten, plain), lut_test::Display(clean, kUnwritten, plain)) << plain;
    }
    const PixelRange a = CalculateMinMaxPixelValues(row.clean, 6, 12, row.isSigned, 1.0, -1024.0);
    const PixelRange b = CalculateMinMaxPixelValues(row.withHighBits, 6, 12, row.isSigned, 1.0, -1024.0);
    EXPECT_EQ(a.min, b.min);
    EXPECT_EQ(a.max, b.max);
  }
}

TEST(WindowLevelLut, EdgeWindowsAndPolarity) {
  const std::vector<BYTE> bytes = {9, 10, 11, 128, 255, 0x80};
  struct Row {
    const char* holds;
    WindowLevel wl;
    bool isSigned;
    Photometric photometric;
    bool invert;
    std::vector<BYTE> firstRowThenSecond;
  };
  const std::vector<Row> rows = {
      {"window 1: 0 at or below the level, 255 above", {1, 10, 1, 1}, false, Photometric::Monochrome2, false,
       {0, 0, 255, 255, 255, 255}},
      {"no window: the stored value times 255/256", {0, 0, 1, 0}, false, Photometric::Monochrome2, false,
       {8, 9, 10, 127, 254, 127}},
      {"no window, signed: -128 gives trunc(-127.5) as a byte", {0, 0, 1, 0}, true, Photometric::Monochrome2, false,
       {8, 9, 10, 129, 0, 129}},
      {"MONOCHROME1 is inverted", {0, 0, 1, 0}, false, Photometric::Monochrome1, false, {247, 246, 245, 128, 1, 128}},
      {"MONOCHROME1 inverted once more shows the raw polarity", {0, 0, 1, 0}, false, Photometric::Monochrome1, true,
       {8, 9, 10, 127, 254, 127}},
      {"inverting MONOCHROME2", {1, 10, 1, 1}, false, Photometric::Monochrome2, true, {255, 255, 0, 0, 0, 0}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.holds);
    LutInput input = Input(bytes, 2, 3, 8);
    input.windowLevel = row.wl;
    input.isSigned = row.isSigned;
    input.layout.photometric = row.photometric;
    input.invert = row.invert;
    const std::vector<BYTE> display = Render(input);
    const std::vector<BYTE> shown = {display[12], display[13], display[14], display[8], display[9], display[10]};
    EXPECT_EQ(shown, row.firstRowThenSecond);
  }
}

TEST(WindowLevelLut, PaletteOnGreyTriplesTheBufferAndWritesTableEntries) {
  const std::vector<BYTE> bytes = {128};
  LutInput input = Input(bytes, 1, 1, 8);
  input.palette = COLOR_PALETTE_HOT_IRON;
  EXPECT_EQ(DisplayBufferSize(input), 48U);
  const std::vector<BYTE> display = Render(input);
  // 128 shows as 127 without a window; hot iron 127 is red 254 only, written blue, green, red.
  EXPECT_EQ(std::vector<BYTE>(display.begin() + 36, display.begin() + 40), (std::vector<BYTE>{0, 0, 254, 0}));
}

TEST(WindowLevelLut, ColourSamplesAreWrittenBlueGreenRedAndAPaletteUsesTheirLuminance) {
  // One RGB pixel 10, 20, 30, no window: each shows as trunc(v * 255 / 256) = 9, 19, 29.
  for (int planar : {0, 1}) {
    SCOPED_TRACE(planar);
    const std::vector<BYTE> bytes = {10, 20, 30};
    LutInput input = Input(bytes, 1, 1, 8);
    input.layout.samples = 3;
    input.layout.planarConfiguration = planar;
    input.layout.photometric = Photometric::Rgb;
    std::vector<BYTE> display = Render(input);
    ASSERT_EQ(display.size(), 48U);
    EXPECT_EQ(std::vector<BYTE>(display.begin() + 36, display.begin() + 39), (std::vector<BYTE>{29, 19, 9}));

    // lum = (int)(19 * 0.59 + 9 * 0.3 + 29 * 0.11) = (int)17.1; hot iron 17 is red 34.
    input.palette = COLOR_PALETTE_HOT_IRON;
    display = Render(input);
    ASSERT_EQ(display.size(), 48U);
    EXPECT_EQ(std::vector<BYTE>(display.begin() + 36, display.begin() + 39), (std::vector<BYTE>{0, 0, 34}));
  }
}

// A second, plain implementation of the grey mapping, written from the definition: a LUT of
// window + 1 bytes and a lookup.
class PlainGrey {
 public:
  PlainGrey(int bits, bool isSigned, float slope, double intercept, LONG window, LONG level)
      : range_(1 << bits), isSigned_(isSigned), slope_(slope), intercept_(intercept),
        low_(level - window / 2), high_(level + window / 2), lut_(static_cast<std::size_t>(window) + 1) {
    for (int i = low_; i <= high_; ++i)
      lut_[i - low_] = static_cast<BYTE>(static_cast<int>((i - low_) * (255.0 / window)));
  }

  BYTE operator()(int stored) const {
    int value = stored;
    if (isSigned_ && (value & (range_ >> 1))) value -= range_;
    const int modality = static_cast<int>(static_cast<double>(static_cast<float>(value) * slope_) + intercept_);
    if (modality <= low_) return 0;
    if (modality >= high_) return 255;
    return lut_[modality - low_];
  }

 private:
  int range_;
  bool isSigned_;
  float slope_;
  double intercept_;
  int low_;
  int high_;
  std::vector<BYTE> lut_;
};

// Both the vector kernel and the plain per-sample mapping, each against the second implementation.
TEST(WindowLevelLut, LargeImageMatchesAPlainImplementationByteForByte) {
  // 300 x 301 samples are more than the 65536 stored values, so the image maps through a value table.
  const LONG rows = 300;
  const LONG columns = 301;
  std::mt19937 random(20240611);
  // Most values land inside a window narrow enough that each modality step shows, where the
  // single-precision product decides the truncation (90 * 0.7 reaches 63 in float but stays just below
  // it in double); the rest cover the clamps and the sign.
  std::uniform_int_distribution<int> inWindow(-400, 400);
  std::vector<BYTE> bytes;
  for (LONG i = 0; i < rows * columns; ++i) {
    const int stored = (i % 4 == 3 ? static_cast<int>(random()) : inWindow(random)) & 0xFFFF;
    bytes.push_back(static_cast<BYTE>(stored & 0xFF));
    bytes.push_back(static_cast<BYTE>(stored >> 8));
  }
  LutInput input = Input(bytes, rows, columns, 16);
  input.isSigned = true;
  input.rescaleSlope = 0.7;
  input.rescaleIntercept = -3.0;
  input.windowLevel = {250, 0, 1, 1};
  const std::size_t paddedColumns = 304;  // 300 rows need no padding
  const PlainGrey plain(16, true, 0.7f, -3.0, 250, 0);
  for (const bool plainOnly : {false, true}) {
    SCOPED_TRACE(plainOnly ? "the plain mapping" : "the kernel");
    const std::vector<BYTE> display = lut_test::Display(input, kUnwritten, plainOnly);
    for (LONG r = 0; r < rows; ++r)
      for (LONG c = 0; c < columns; ++c) {
        const std::size_t at = static_cast<std::size_t>(r * columns + c) * 2;
        const int stored = bytes[at] | (bytes[at + 1] << 8);
        ASSERT_EQ(display[static_cast<std::size_t>(rows - 1 - r) * paddedColumns + static_cast<std::size_t>(c)],
                  plain(stored))
            << "row " << r << " column " << c;
      }
  }
}

TEST(WindowLevelLut, RefusesPixelsShorterThanTheImageAndSkipsMissingPixels) {
  const std::vector<BYTE> bytes = Words({1, 2, 3});
  DisplayBuffer buffer;
  const std::string message = MessageOf([&] { ApplyWindowLevelLut(Input(bytes, 2, 2, 12), buffer); });
  EXPECT_TRUE(message.starts_with("Failed to apply the image window and level. File=window_level.cpp")) << message;
  LutInput none = Input(bytes, 2, 2, 12);
  none.pixels = {};
  ApplyWindowLevelLut(none, buffer);
  EXPECT_TRUE(buffer.Empty());
}

TEST(MinMaxPixelValues, RangeAlwaysHoldsZeroAndSlopeZeroStaysZero) {
  const std::vector<BYTE> bytes = Words({5, 10, 0xFFF});
  PixelRange range = CalculateMinMaxPixelValues(bytes, 2, 12, false, 1.0, 0.0);
  EXPECT_EQ(range.min, 0);
  EXPECT_EQ(range.max, 10);
  range = CalculateMinMaxPixelValues(bytes, 3, 12, true, 2.0, 0.5);
  EXPECT_EQ(range.min, -1);  // 0xFFF is -1; (int)(-2 + 0.5) truncates to -1
  EXPECT_EQ(range.max, 20);
  range = CalculateMinMaxPixelValues(bytes, 3, 12, false, 0.0, -7.0);
  EXPECT_EQ(range.min, -7);
  EXPECT_EQ(range.max, 0);
}

struct ImageOfGraph {
  ClassesRegistered registered;
  Graph graph;
  ImageOfGraph(USHORT rows, USHORT columns, USHORT bits) {
    graph.image->SetRows(rows);
    graph.image->SetColumns(columns);
    graph.image->SetBitsStored(bits);
    graph.image->SetSamplesPerPixel(1);
    graph.image->SetRescaleSlope(1.0);
  }
};

TEST(InitWindowLevel, FileValuesElseThePixelRangeElseNothing) {
  ImageOfGraph image(1, 3, 12);
  const std::vector<BYTE> pixels = Words({100, 1100, 600});
  ImageInfoWStationStrategy info(image.graph.image.Get());

  image.graph.image->SetWindowCenter(40);
  image.graph.image->SetWindowWidth(400);
  EXPECT_EQ(InitWindowLevel(info, pixels, Photometric::Monochrome2), (WindowLevel{400, 40, 1, 0}));

  // The centre is missing: the range 0..1100 gives window 1100, level 550, step trunc(1100 / 255).
  image.graph.image->SetWindowCenter(0);
  EXPECT_EQ(InitWindowLevel(info, pixels, Photometric::Monochrome2), (WindowLevel{1100, 550, 4, 0}));
  EXPECT_EQ(InitWindowLevel(info, {}, Photometric::Monochrome2), (WindowLevel{0, 0, 1, 0}));

  // Colour: the range the high bit allows.
  image.graph.image->SetHighBit(7);
  EXPECT_EQ(InitWindowLevel(info, pixels, Photometric::Rgb), (WindowLevel{255, 127, 1, 0}));
}

TEST(WindowLevelLut, TheImageReadsItsStrategyAndMapsItsTurnedShape) {
  // Raw 2 rows x 3 columns, turned right by the intent: the pixels become 3 rows of 2.
  ImageOfGraph image(2, 3, 8);
  const std::vector<BYTE> bytes = {1, 2, 3, 4, 5, 6};
  PresentationIntent intent;
  intent.rotation = 90;
  intent.windowLevel = WindowLevel{1, 3, 1, 1};
  Image shown(image_test::FrameOf(bytes), std::make_unique<ImageInfoWStationStrategy>(image.graph.image.Get()),
              &intent);
  const HWND window = ondrel::platform::CreateHostWindow(8, 8);
  shown.PrepareAndDraw(window, true, true);
  DestroyWindow(window);
  ASSERT_NE(shown.DisplayBits(), nullptr);
  // Rows (4, 1), (5, 2), (6, 3) from the bottom of the 4 x 4 buffer: at or below 3 is 0, above is 255.
  const BYTE* b = shown.DisplayBits();
  EXPECT_EQ((std::vector<BYTE>{b[12], b[13], b[8], b[9], b[4], b[5]}), (std::vector<BYTE>{255, 0, 255, 0, 255, 0}));
}

}  // namespace
