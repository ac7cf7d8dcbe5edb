// The vector kernels of the window/level step against the plain per-sample mapping, on seeded random
// images of every bit depth, sign, rescale, window, palette and inversion: the bytes must be the same,
// padding included, which both write black whatever the block held.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "image/lut_kernels.h"
#include "image/window_level.h"
#include "lut_test_support.h"

namespace {

struct Rescale {
  double slope;
  double intercept;
};

// Elements carry random bits above bits stored too, as damaged or careless files do.
std::vector<BYTE> RandomElements(std::mt19937& random, std::size_t count, int bitsStored) {
  std::vector<BYTE> bytes(count * (bitsStored < 9 ? 1 : 2));
  for (BYTE& b : bytes) b = static_cast<BYTE>(random());
  return bytes;
}

// Both paths into blocks holding the same marker: padding must come out black from each.
std::vector<BYTE> Display(const LutInput& input, bool plain) { return lut_test::Display(input, 0xA5, plain); }

TEST(LutKernels, GiveThePlainMappingsBytesForEveryDepthSignRescaleWindowAndPalette) {
  std::mt19937 random(20261123);
  // A slope of 1 with a whole intercept takes the kernels' integer rescale; with a fractional one it
  // must not.
  const Rescale rescales[] = {{1.0, 0.0}, {1.0, -1024.0}, {1.0, 0.5},          {1.0, -1023.5}, {0.0, 3.0},
                              {2.5, -0.5}, {0.1, 100.25}, {-1.0, 7.0}, {1.0000000001, 0.0}};
  const WindowLevel windows[] = {{400, 40}, {1, 0}, {2, 100}, {255, 127}, {4095, 2047}, {3, -5}, {80000, 0},
                                 {65535, 32767}};
  int kernelCases = 0;
  for (int bits = 1; bits <= 16; ++bits) {
    for (const bool isSigned : {false, true}) {
      const LONG columns = 3 + static_cast<LONG>(random() % 40);  // odd widths leave padding
      const LONG rows = 1 + static_cast<LONG>(random() % 9);
      const std::vector<BYTE> pixels = RandomElements(random, static_cast<std::size_t>(rows * columns), bits);
      for (const Rescale& rescale : rescales) {
        for (const WindowLevel& window : windows) {
          LutInput input = lut_test::Input(pixels, rows, columns, bits);
          input.isSigned = isSigned;
          input.rescaleSlope = rescale.slope;
          input.rescaleIntercept = rescale.intercept;
          input.windowLevel = window;
          input.palette = static_cast<LONG>(random() % 5);  // 4 lies outside the enumeration
          input.invert = random() % 2 == 0;
          input.layout.photometric = random() % 2 == 0 ? Photometric::Monochrome1 : Photometric::Monochrome2;
          if (GreyKernelFor(input)) ++kernelCases;
          SCOPED_TRACE("bits " + std::to_string(bits) + (isSigned ? " signed" : " unsigned") + " slope " +
                       std::to_string(rescale.slope) + " intercept " + std::to_string(rescale.intercept) +
                       " window " + std::to_string(window.window) + " level " + std::to_string(window.level) +
                       " palette " + std::to_string(input.palette) + (input.invert ? " inverted" : ""));
          ASSERT_EQ(Display(input, false), Display(input, true));
        }
      }
    }
  }
  // Every case but the declined ones (a window of 80000 from a slope of -1 still fits) went through the
  // kernels, so the comparison above is of two different computations.
  EXPECT_GT(kernelCases, 16 * 2 * 9 * 8 * 9 / 10);
}

TEST(LutKernels, ColourThroughTheValueTableGivesThePlainMappingsBytes) {
  std::mt19937 random(3);
  // 8-bit images map through a table of 256 values, wider ones through 65536 once they have as many
  // samples; YBR_FULL reads two bytes whenever bits stored is not 8.
  const struct {
    Photometric photometric;
    int bits;
    LONG rows;
    LONG columns;
  } images[] = {{Photometric::Rgb, 8, 10, 13}, {Photometric::YbrFull, 8, 9, 11}, {Photometric::Rgb, 12, 128, 171},
                {Photometric::YbrFull, 7, 130, 170}, {Photometric::YbrRct, 16, 129, 173}};
  for (const auto& image : images) {
    const std::vector<BYTE> pixels =
        RandomElements(random, static_cast<std::size_t>(image.rows * image.columns * 3),
                       image.bits == 8 || image.photometric != Photometric::YbrFull ? image.bits : 16);
    for (const int planar : {0, 1}) {
      for (const WindowLevel window : {WindowLevel{255, 127}, WindowLevel{0, 0}, WindowLevel{1000, 300}}) {
        LutInput input = lut_test::Input(pixels, image.rows, image.columns, image.bits);
        input.layout.samples = 3;
        input.layout.photometric = image.photometric;
        input.layout.planarConfiguration = planar;
        input.windowLevel = window;
        input.invert = random() % 2 == 0;
        input.palette = static_cast<LONG>(random() % 3);  // palettes on colour stay on the plain path
        SCOPED_TRACE("photometric " + std::to_string(static_cast<int>(image.photometric)) + " bits " + std::to_string(image.bits) +
                     " planar " + std::to_string(planar) + " window " + std::to_string(window.window));
        ASSERT_EQ(Display(input, false), Display(input, true));
      }
    }
  }
}

// The single-precision window product is taken only where it was proven to give the double's byte;
// here every value inside each window is mapped, for every window up to 3000 and wide random ones.
TEST(LutKernels, TheFloatWindowProductAgreesWithTheDoubleOneAtEveryValueOfTheWindow) {
  std::mt19937 random(5);
  std::vector<LONG> windows;
  for (LONG w = 1; w <= 3000; ++w) windows.push_back(w);
  for (int i = 0; i < 40; ++i) windows.push_back(3000 + static_cast<LONG>(random() % 62000));
  int floatWindows = 0;
  for (const LONG window : windows) {
    const LONG columns = window + 3;  // from just below the window to just above it
    std::vector<BYTE> pixels(static_cast<std::size_t>(columns) * 2);
    for (LONG c = 0; c < columns; ++c) {
      pixels[2 * static_cast<std::size_t>(c)] = static_cast<BYTE>(c);
      pixels[2 * static_cast<std::size_t>(c) + 1] = static_cast<BYTE>(c >> 8);
    }
    LutInput input = lut_test::Input(pixels, 1, columns, 16);
    input.windowLevel = {window, 1 + window / 2, 1, 0};
    const std::optional<GreyWindowKernel> kernel = GreyKernelFor(input);
    ASSERT_TRUE(kernel);
    floatWindows += kernel->useFloatFactor ? 1 : 0;
    ASSERT_EQ(Display(input, false), Display(input, true)) << "window " << window;
  }
  EXPECT_GT(floatWindows, static_cast<int>(windows.size()) / 2);
}

// The modality range from the extreme stored values against its definition: every sample mapped,
// the range starting at 0.
TEST(LutKernels, TheModalityRangeIsTheRangeOfEveryMappedSample) {
  std::mt19937 random(11);
  const Rescale rescales[] = {{1.0, 0.0}, {1.0, -1024.0}, {0.0, 30.0}, {-2.0, 5.5}, {0.37, -100.2}};
  for (int bits = 1; bits <= 16; ++bits) {
    for (const bool isSigned : {false, true}) {
      for (const Rescale& rescale : rescales) {
        const std::size_t count = 1 + random() % 300;
        const std::vector<BYTE> pixels = RandomElements(random, count, bits);
        PixelRange expected;
        for (std::size_t i = 0; i < count; ++i) {
          // Masked to bits stored: the random elements carry bits above them.
          std::int64_t sample = (bits < 9 ? pixels[i] : pixels[2 * i] | pixels[2 * i + 1] << 8) & ((1 << bits) - 1);
          if (isSigned && (sample & (std::int64_t{1} << (bits - 1))) != 0) sample -= std::int64_t{1} << bits;
          const auto value = static_cast<LONG>(static_cast<double>(sample) * rescale.slope + rescale.intercept);
          expected.min = std::min(expected.min, value);
          expected.max = std::max(expected.max, value);
        }
        const PixelRange range = CalculateMinMaxPixelValues(pixels, count, bits, isSigned,
                                                            rescale.slope, rescale.intercept);
        EXPECT_EQ(range.min, expected.min) << bits << (isSigned ? " signed slope " : " slope ") << rescale.slope;
        EXPECT_EQ(range.max, expected.max) << bits << (isSigned ? " signed slope " : " slope ") << rescale.slope;
      }
    }
  }
}

TEST(LutKernels, DeclineWhatTheyCannotMapExactly) {
  const std::vector<BYTE> pixels(64);
  LutInput input = lut_test::Input(pixels, 4, 8, 8);
  input.windowLevel = {400, 40};
  ASSERT_TRUE(GreyKernelFor(input));

  const auto declined = [&](auto change) {
    LutInput changed = input;
    change(changed);
    return !GreyKernelFor(changed).has_value();
  };
  EXPECT_TRUE(declined([](LutInput& in) { in.windowLevel = {0, 0}; }));         // stored values scaled
  EXPECT_TRUE(declined([](LutInput& in) { in.windowLevel = {-10, 40}; }));
  EXPECT_TRUE(declined([](LutInput& in) { in.filter = 1; }));
  EXPECT_TRUE(declined([](LutInput& in) { in.layout.photometric = Photometric::Rgb; }));
  EXPECT_TRUE(declined([](LutInput& in) { in.layout.samples = 3; }));
  EXPECT_TRUE(declined([](LutInput& in) { in.layout.bitsStored = 17; }));
  EXPECT_TRUE(declined([](LutInput& in) { in.rescaleSlope = 1e9; }));
  EXPECT_TRUE(declined([](LutInput& in) { in.windowLevel = {10, 2000000000}; }));
}

}  // namespace
