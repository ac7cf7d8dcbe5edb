// DrawDib: the nearest-neighbour stretch of 8- and 24-bit DIBs, row orders, source rectangles, clipping.
#include "ondrel/platform/drawdib.h"

#include <gtest/gtest.h>

#include <vector>

#include "graphics_test_support.h"

namespace {

using graphics_test::Canvas;

// An 8-bit DIB whose table maps index i to red i, green 255 - i, blue 7, so that a result shows both
// which source pixel it came from and that it went through the table.
struct IndexedDib {
  IndexedDib(int width, int height, bool bottomUp) : stride((width + 3) / 4 * 4), height_(height), bottomUp_(bottomUp) {
    info.header = {sizeof(BITMAPINFOHEADER), width, bottomUp ? height : -height, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
    for (int i = 0; i < 256; ++i) info.colors[i] = RGBQUAD{7, static_cast<BYTE>(255 - i), static_cast<BYTE>(i), 0};
    bits.assign(static_cast<std::size_t>(stride * height), 0);
  }
  // Sets the pixel of the picture's row y (0 at the top) whatever the memory order.
  void Set(int x, int y, BYTE index) {
    bits[static_cast<std::size_t>((bottomUp_ ? height_ - 1 - y : y) * stride + x)] = index;
  }
  static std::uint32_t Color(int index) { return static_cast<std::uint32_t>(index << 16 | (255 - index) << 8 | 7); }

  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info{};
  int stride;
  std::vector<BYTE> bits;

 private:
  int height_;
  bool bottomUp_;
};

TEST(DrawDib, NearestStretchTakesThePixelUnderEachCentre) {
  const HDRAWDIB draw = DrawDibOpen();
  ASSERT_NE(draw, nullptr);
  for (const bool bottomUp : {true, false}) {
    // Source row 0: 10 20 30 40 50; row 1: 60 70 80 90 100.
    IndexedDib dib(5, 2, bottomUp);
    for (int x = 0; x < 5; ++x) {
      dib.Set(x, 0, static_cast<BYTE>(10 * (x + 1)));
      dib.Set(x, 1, static_cast<BYTE>(10 * (x + 6)));
    }
    // Five columns to three: centres at 5/6, 15/6, 25/6 of the source, columns 0, 2, 4. Two rows to
    // four: each row twice.
    Canvas canvas(5, 5);
    ASSERT_TRUE(DrawDibDraw(draw, canvas.dc(), 1, 1, 3, 4, &dib.info.header, dib.bits.data(), 0, 0, -1, -1, 0));
    const int expected[4][3] = {{10, 30, 50}, {10, 30, 50}, {60, 80, 100}, {60, 80, 100}};
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 3; ++x)
        EXPECT_EQ(canvas.At(1 + x, 1 + y), IndexedDib::Color(expected[y][x])) << bottomUp << " " << x << "," << y;
    EXPECT_EQ(canvas.At(0, 0), 0u) << "outside the destination";
    EXPECT_EQ(canvas.At(4, 4), 0u);

    // Double size, and a source rectangle of columns 1 and 2 of row 1 at its own size (-1).
    Canvas twice(10, 4);
    ASSERT_TRUE(DrawDibDraw(draw, twice.dc(), 0, 0, 10, 4, &dib.info.header, dib.bits.data(), 0, 0, 5, 2, 0));
    for (int x = 0; x < 10; ++x) EXPECT_EQ(twice.At(x, 3), IndexedDib::Color(10 * (x / 2 + 6))) << x;
    Canvas part(3, 2);
    ASSERT_TRUE(DrawDibDraw(draw, part.dc(), 0, 0, -1, -1, &dib.info.header, dib.bits.data(), 1, 1, 2, 1, 0));
    EXPECT_EQ(part.At(0, 0), IndexedDib::Color(70));
    EXPECT_EQ(part.At(1, 0), IndexedDib::Color(80));
    EXPECT_EQ(part.At(2, 0), 0u);
  }
  EXPECT_TRUE(DrawDibClose(draw));
}

TEST(DrawDib, TwentyFourBitSourcesAndClipping) {
  const HDRAWDIB draw = DrawDibOpen();
  // A bottom-up 2 x 2 DIB of B, G, R bytes, rows padded to 8 bytes.
  BITMAPINFOHEADER header{sizeof(BITMAPINFOHEADER), 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
  const std::vector<BYTE> bits = {1, 2, 3, 4,  5,  6,  0, 0,   // the bottom row
                                  7, 8, 9, 10, 11, 12, 0, 0};  // the top row
  Canvas canvas(3, 3);
  // 2 x 2 to 4 x 4 at -1, -1: only the bottom-right quarter falls on the canvas.
  ASSERT_TRUE(DrawDibDraw(draw, canvas.dc(), -1, -1, 4, 4, &header, const_cast<BYTE*>(bits.data()), 0, 0, -1, -1, 0));
  EXPECT_EQ(canvas.At(0, 0), 0x090807u) << "top-left source pixel, its second copy";
  EXPECT_EQ(canvas.At(1, 0), 0x0C0B0Au);
  EXPECT_EQ(canvas.At(0, 2), 0x030201u);
  EXPECT_EQ(canvas.At(2, 2), 0x060504u);

  EXPECT_FALSE(DrawDibDraw(draw, canvas.dc(), 0, 0, 2, 2, &header, const_cast<BYTE*>(bits.data()), 1, 0, 2, 2, 0))
      << "a source rectangle beyond the bitmap";
  header.biBitCount = 16;
  EXPECT_FALSE(DrawDibDraw(draw, canvas.dc(), 0, 0, 2, 2, &header, const_cast<BYTE*>(bits.data()), 0, 0, -1, -1, 0));
  EXPECT_TRUE(DrawDibClose(draw));
  header.biBitCount = 24;
  EXPECT_FALSE(DrawDibDraw(draw, canvas.dc(), 0, 0, 2, 2, &header, const_cast<BYTE*>(bits.data()), 0, 0, -1, -1, 0))
      << "a closed handle";
  EXPECT_FALSE(DrawDibClose(draw));
}

}  // namespace
