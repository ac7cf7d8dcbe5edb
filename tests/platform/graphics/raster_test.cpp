// Lines, shapes, mix modes and regions, checked pixel by pixel against pictures worked out by hand
// from GDI's rules (graphics_test_support.h draws them as art: '#' ink, '.' background, '|' between rows).
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "graphics_test_support.h"

namespace {

using graphics_test::Canvas;
using graphics_test::PenScope;

constexpr std::uint32_t kWhite = 0xFFFFFF;

struct LineCase {
  const char* what;
  POINT from;
  POINT to;
  int width;
  const char* art;  // 8 x 5
};

TEST(Raster, LinesLeaveOutTheirLastPixelAndWidePensAreRound) {
  const LineCase cases[] = {
      {"horizontal", {0, 1}, {4, 1}, 1, "........|####....|........|........|........"},
      {"right to left", {4, 1}, {0, 1}, 1, "........|.####...|........|........|........"},
      {"vertical", {2, 0}, {2, 3}, 1, "..#.....|..#.....|..#.....|........|........"},
      {"diagonal", {0, 0}, {3, 3}, 1, "#.......|.#......|..#.....|........|........"},
      // Exact halves at x = 1 and 3 keep the row of the pixel before.
      {"shallow, ties", {0, 0}, {4, 2}, 1, "##......|..##....|........|........|........"},
      {"shallow, reversed", {4, 2}, {0, 0}, 1, "........|.##.....|...##...|........|........"},
      {"steep", {1, 0}, {2, 4}, 1, ".#......|.#......|.#......|..#.....|........"},
      {"a point", {3, 3}, {3, 3}, 1, "........|........|........|........|........"},
      // Width 3: the pixels within 1.5 of the segment through the pixel centres, both ends round.
      {"width 3", {2, 2}, {5, 2}, 3, "........|.######.|.######.|.######.|........"},
      // Width 2: the segment runs through pixel corners; the pixels within 1 of it.
      {"width 2", {2, 2}, {5, 2}, 2, "........|.#####..|.#####..|........|........"},
      {"width 3, a point", {2, 2}, {2, 2}, 3, "........|.###....|.###....|.###....|........"},
      {"width 5, a point", {3, 2}, {3, 2}, 5, "..###...|.#####..|.#####..|.#####..|..###..."},
  };
  for (const LineCase& c : cases) {
    Canvas canvas(8, 5);
    const PenScope pen(canvas.dc(), c.width, RGB(255, 255, 255));
    MoveToEx(canvas.dc(), c.from.x, c.from.y, nullptr);
    EXPECT_TRUE(LineTo(canvas.dc(), c.to.x, c.to.y));
    EXPECT_EQ(canvas.Art(), c.art) << c.what;
    POINT position{};
    MoveToEx(canvas.dc(), 0, 0, &position);
    EXPECT_EQ(position.x, c.to.x) << c.what << ": LineTo moves the current position";
  }
}

TEST(Raster, RectangleOutlinesWithThePenAndFillsInsideWithTheBrush) {
  const std::uint32_t grey = 0x808080;
  Canvas canvas(7, 5);
  const HBRUSH brush = CreateSolidBrush(RGB(128, 128, 128));
  {
    const PenScope pen(canvas.dc(), 1, RGB(255, 255, 255));
    const HGDIOBJ old = SelectObject(canvas.dc(), brush);
    EXPECT_TRUE(Rectangle(canvas.dc(), 1, 1, 5, 4));
    SelectObject(canvas.dc(), old);
  }
  EXPECT_EQ(canvas.Art(), ".......|.####..|.#..#..|.####..|.......");
  EXPECT_EQ(canvas.Art(grey), ".......|.......|..##...|.......|.......");

  // Corners in any order give the same box; without a pen the fill is one pixel smaller each way.
  canvas.Fill(0);
  const HGDIOBJ oldPen = SelectObject(canvas.dc(), GetStockObject(NULL_PEN));
  const HGDIOBJ oldBrush = SelectObject(canvas.dc(), brush);
  EXPECT_TRUE(Rectangle(canvas.dc(), 5, 4, 1, 1));
  SelectObject(canvas.dc(), oldBrush);
  SelectObject(canvas.dc(), oldPen);
  EXPECT_EQ(canvas.Art(grey), ".......|.###...|.###...|.......|.......");
  DeleteObject(brush);

  // Width 3 centres the pen on the one-pixel outline: a band from 1 outside to 1 inside it.
  Canvas wide(11, 11);
  const PenScope pen(wide.dc(), 3, RGB(255, 255, 255));
  Rectangle(wide.dc(), 2, 2, 9, 9);
  EXPECT_EQ(wide.Count(kWhite), 9 * 9 - 3 * 3);
  EXPECT_EQ(wide.InkBox().left, 1);
  EXPECT_EQ(wide.InkBox().bottom, 10);
}

TEST(Raster, EllipseFitsItsBoxWithoutTheRightAndBottomEdges) {
  Canvas canvas(6, 6);
  {
    const PenScope pen(canvas.dc(), 1, RGB(255, 255, 255));
    Ellipse(canvas.dc(), 0, 0, 5, 5);
  }
  // The pixel centres inside the circle inscribed in 0..5, less those inside the circle of 1..4.
  EXPECT_EQ(canvas.Art(), ".###..|#...#.|#...#.|#...#.|.###..|......");

  const RECT boxes[] = {{2, 3, 30, 17}, {5, 5, 6, 40}, {1, 10, 39, 12}, {3, 3, 8, 8}, {0, 0, 40, 40}, {10, 2, 12, 38}};
  for (const RECT& box : boxes) {
    Canvas big(40, 40);
    const PenScope pen(big.dc(), 1, RGB(255, 255, 255));
    Ellipse(big.dc(), box.left, box.top, box.right, box.bottom);
    const RECT ink = big.InkBox();
    EXPECT_EQ(ink.left, box.left) << box.left << "," << box.top << "," << box.right << "," << box.bottom;
    EXPECT_EQ(ink.top, box.top);
    EXPECT_EQ(ink.right, box.right);
    EXPECT_EQ(ink.bottom, box.bottom);
  }
}

// The filled ellipse of box l..r, t..b (ends excluded) worked out here the plain way: a pixel is inside
// when its centre is inside the ellipse; the middle row or two reach the box's sides and a row that
// holds no centre keeps the middle pixel or two, so that thin ellipses stay joined.
__extension__ typedef __int128 Wide;  // the sums of far boxes' squares overflow 64 bits

bool InsideEllipse(std::int64_t l, std::int64_t t, std::int64_t r, std::int64_t b, std::int64_t x, std::int64_t y) {
  const std::int64_t w = r - l;
  const std::int64_t h = b - t;
  const auto centreIn = [&](std::int64_t px, std::int64_t py) {
    const Wide ex = 2 * px + 1 - (l + r);
    const Wide ey = 2 * py + 1 - (t + b);
    return ex * ex * h * h + ey * ey * w * w <= static_cast<Wide>(w) * w * h * h;
  };
  if (y < t || y >= b || x < l || x >= r) return false;
  const bool middleRow = h % 2 != 0 ? 2 * y + 1 == t + b : (2 * y + 2 == t + b || 2 * y == t + b);
  if (middleRow) return true;
  // The middle pixel, or the right of the middle two: half the sum rounded down, also below zero.
  const std::int64_t middle = (l + r - ((l + r) % 2 != 0 && l + r < 0 ? 1 : 0)) / 2;
  bool rowHolds = false;
  for (std::int64_t px = middle - 1; px <= middle; ++px) rowHolds = rowHolds || centreIn(px, y);
  if (rowHolds) return centreIn(x, y);
  return w % 2 != 0 ? 2 * x + 1 == l + r : (x == middle || x == middle - 1);
}

TEST(Raster, FilledEllipsesHoldThePixelsWhoseCentresAreInsideAnywhereOnThePlane) {
  // Boxes on the canvas, boxes it cuts, and boxes so large or far that their sums need wide integers.
  std::mt19937 random(11);
  const auto within = [&](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low));
  };
  std::vector<RECT> boxes;
  for (int i = 0; i < 40; ++i) boxes.push_back(RECT{within(-8, 30), within(-8, 30), within(32, 60), within(32, 60)});
  // Large ellipses whose edge crosses the canvas's middle at a random slope.
  std::uniform_real_distribution<double> turn(0, 2 * 3.14159265358979);
  for (const double semiAxis : {2e4, 3e5, 7e6, 1e8, 9e8}) {
    for (int i = 0; i < 3; ++i) {
      const double a = semiAxis;
      const double b = semiAxis / within(1, 9);
      const double angle = turn(random);
      const double cx = 26 - a * std::cos(angle);
      const double cy = 26 - b * std::sin(angle);
      boxes.push_back(RECT{static_cast<LONG>(cx - a), static_cast<LONG>(cy - b), static_cast<LONG>(cx + a),
                           static_cast<LONG>(cy + b)});
    }
  }
  boxes.push_back(RECT{-2000000000, 10, 2000000000, 40});
  boxes.push_back(RECT{20, -2000000000, 31, 2000000000});
  for (const RECT& box : boxes) {
    Canvas canvas(52, 52);
    const HGDIOBJ oldPen = SelectObject(canvas.dc(), GetStockObject(NULL_PEN));
    const HGDIOBJ oldBrush = SelectObject(canvas.dc(), GetStockObject(WHITE_BRUSH));
    // Without a pen the filled box is one pixel smaller each way, as for rectangles.
    Ellipse(canvas.dc(), box.left, box.top, box.right + 1, box.bottom + 1);
    SelectObject(canvas.dc(), oldBrush);
    SelectObject(canvas.dc(), oldPen);
    int wrong = 0;
    for (int y = 0; y < 52; ++y)
      for (int x = 0; x < 52; ++x)
        wrong += (canvas.At(x, y) == kWhite) != InsideEllipse(box.left, box.top, box.right, box.bottom, x, y);
    EXPECT_EQ(wrong, 0) << box.left << "," << box.top << "," << box.right << "," << box.bottom;
  }
}

// A picture of random bytes, then each kind of primitive drawn with the exclusive-or pen: once it must
// equal the same primitive drawn with the copy pen on black (so no pixel was touched twice), twice it
// must give back the picture.
TEST(Raster, ExclusiveOrTouchesEachPixelOnceAndTwiceRestores) {
  for (const unsigned seed : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u}) {
    std::mt19937 random(seed);
    const auto coordinate = [&] { return static_cast<int>(random() % 60) - 10; };
    const int width = static_cast<int>(random() % 6) + 1;
    std::vector<POINT> points;
    for (int i = 0; i < 5; ++i) points.push_back(POINT{coordinate(), coordinate()});
    const auto drawAll = [&](HDC dc) {
      MoveToEx(dc, points[0].x, points[0].y, nullptr);
      LineTo(dc, points[1].x, points[1].y);
      Polyline(dc, points.data(), static_cast<int>(points.size()));
      Rectangle(dc, points[2].x, points[2].y, points[3].x, points[3].y);
      Ellipse(dc, points[3].x, points[3].y, points[4].x, points[4].y);
    };
    const auto drawEach = [&](Canvas& canvas, int rop2, std::uint32_t background, int which) {
      canvas.Fill(background);
      const PenScope pen(canvas.dc(), width, RGB(255, 255, 255), rop2);
      const HDC dc = canvas.dc();
      if (which == 0) {
        MoveToEx(dc, points[0].x, points[0].y, nullptr);
        LineTo(dc, points[1].x, points[1].y);
      } else if (which == 1) {
        Polyline(dc, points.data(), static_cast<int>(points.size()));
      } else if (which == 2) {
        Rectangle(dc, points[2].x, points[2].y, points[3].x, points[3].y);
      } else {
        Ellipse(dc, points[3].x, points[3].y, points[4].x, points[4].y);
      }
    };
    for (int which = 0; which < 4; ++which) {
      Canvas copied(40, 40);
      Canvas xored(40, 40);
      drawEach(copied, R2_COPYPEN, 0, which);
      drawEach(xored, R2_XORPEN, 0, which);
      EXPECT_EQ(xored.Pixels(), copied.Pixels()) << "seed " << seed << ", primitive " << which;
    }
    Canvas picture(40, 40);
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 40; ++x) picture.Set(x, y, random() & 0xFFFFFF);
    const std::vector<std::uint32_t> before = picture.Pixels();
    {
      const PenScope pen(picture.dc(), width, RGB(0x5A, 0xC3, 0x0F), R2_XORPEN);
      drawAll(picture.dc());
      EXPECT_NE(picture.Pixels(), before) << "seed " << seed;
      drawAll(picture.dc());
    }
    EXPECT_EQ(picture.Pixels(), before) << "seed " << seed;
  }
}

TEST(Raster, EightBitSurfacesTakeTheNearestTableEntryAndMixIndices) {
  // A grey table: entry i is (i, i, i).
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info{};
  info.header = {sizeof(BITMAPINFOHEADER), 4, 2, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
  for (int i = 0; i < 256; ++i)
    info.colors[i] = RGBQUAD{static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
  BYTE* bits = nullptr;
  const HDC dc = CreateCompatibleDC(nullptr);
  const HBITMAP bitmap = CreateDIBSection(dc, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS,
                                          reinterpret_cast<void**>(&bits), nullptr, 0);
  ASSERT_NE(bitmap, nullptr);
  const HGDIOBJ old = SelectObject(dc, bitmap);
  for (int i = 0; i < 8; ++i) bits[i] = 10;  // two rows of 4 bytes, bottom-up
  {
    const PenScope pen(dc, 1, RGB(200, 198, 202));
    MoveToEx(dc, 0, 0, nullptr);
    LineTo(dc, 2, 0);
  }
  {
    const PenScope pen(dc, 1, RGB(255, 255, 255), R2_XORPEN);
    MoveToEx(dc, 0, 1, nullptr);
    LineTo(dc, 4, 1);
  }
  // The top row is the second in memory.
  EXPECT_EQ(std::vector<int>(bits + 4, bits + 8), (std::vector<int>{200, 200, 10, 10}));
  EXPECT_EQ(std::vector<int>(bits, bits + 4), (std::vector<int>{245, 245, 245, 245}));
  SelectObject(dc, old);
  DeleteObject(bitmap);
  DeleteDC(dc);
}

TEST(Raster, PolygonRegionsUnderTheAlternateAndWindingRules) {
  // A square with a square inside, both drawn the same way round, joined by a cut that is walked twice.
  const POINT path[] = {{0, 0}, {8, 0}, {8, 8}, {0, 8}, {0, 0}, {2, 2}, {6, 2}, {6, 6}, {2, 6}, {2, 2}};
  const HRGN alternate = CreatePolygonRgn(path, 10, ALTERNATE);
  const HRGN winding = CreatePolygonRgn(path, 10, WINDING);
  struct {
    int x, y;
    bool inAlternate, inWinding;
  } const probes[] = {{0, 0, true, true},   {7, 7, true, true},  {8, 8, false, false},
                      {7, 8, false, false}, {2, 2, false, true}, {5, 5, false, true},
                      {6, 6, true, true},   {1, 4, true, true},  {-1, 3, false, false}};
  for (const auto& probe : probes) {
    EXPECT_EQ(PtInRegion(alternate, probe.x, probe.y) != 0, probe.inAlternate) << probe.x << "," << probe.y;
    EXPECT_EQ(PtInRegion(winding, probe.x, probe.y) != 0, probe.inWinding) << probe.x << "," << probe.y;
  }
  RECT box{};
  EXPECT_EQ(GetRgnBox(alternate, &box), COMPLEXREGION);
  EXPECT_EQ(box.right, 8);
  Canvas canvas(10, 10);
  EXPECT_TRUE(FillRgn(canvas.dc(), alternate, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH))));
  EXPECT_EQ(canvas.Count(kWhite), 64 - 16);

  // A slanted edge: pixels whose centres lie left of x = 4 - y, the edge itself outside.
  const POINT triangle[] = {{0, 0}, {4, 0}, {0, 4}};
  const HRGN slanted = CreatePolygonRgn(triangle, 3, ALTERNATE);
  canvas.Fill(0);
  FillRgn(canvas.dc(), slanted, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  EXPECT_EQ(canvas.Art().substr(0, 43), "###.......|##........|#.........|..........");
  for (const HRGN region : {alternate, winding, slanted}) EXPECT_TRUE(DeleteObject(region));
}

TEST(Raster, RegionsCombine) {
  const HRGN client = CreateRectRgn(0, 0, 10, 10);
  const HRGN picture = CreateRectRgn(7, 8, 2, 3);  // corners in any order
  const HRGN result = CreateRectRgn(0, 0, 0, 0);
  struct {
    int mode;
    int kind;
    int pixels;
  } const cases[] = {{RGN_DIFF, COMPLEXREGION, 100 - 25},
                     {RGN_AND, SIMPLEREGION, 25},
                     {RGN_OR, SIMPLEREGION, 100},
                     {RGN_XOR, COMPLEXREGION, 75},
                     {RGN_COPY, SIMPLEREGION, 100}};
  for (const auto& c : cases) {
    EXPECT_EQ(CombineRgn(result, client, picture, c.mode), c.kind) << c.mode;
    Canvas canvas(12, 12);
    FillRgn(canvas.dc(), result, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    EXPECT_EQ(canvas.Count(kWhite), c.pixels) << c.mode;
  }
  // A region may be its own operand.
  EXPECT_EQ(CombineRgn(result, result, result, RGN_DIFF), NULLREGION);
  EXPECT_EQ(CombineRgn(result, client, nullptr, RGN_AND), ERROR);
  for (const HRGN region : {client, picture, result}) DeleteObject(region);
}

TEST(Raster, ObjectsAndContexts) {
  Canvas canvas(2, 2);
  const HPEN pen = CreatePen(PS_SOLID, 2, RGB(1, 2, 3));
  const HGDIOBJ old = SelectObject(canvas.dc(), pen);
  EXPECT_EQ(old, GetStockObject(BLACK_PEN)) << "a new context holds the black pen";
  EXPECT_FALSE(DeleteObject(pen)) << "a selected pen stays";
  EXPECT_EQ(SelectObject(canvas.dc(), old), pen);
  EXPECT_TRUE(DeleteObject(pen));
  EXPECT_FALSE(DeleteObject(pen)) << "a stale handle";
  EXPECT_TRUE(DeleteObject(GetStockObject(WHITE_BRUSH))) << "stock objects ignore deletion";
  EXPECT_EQ(CreatePen(3, 1, 0), nullptr) << "dotted GDI pens are not provided";

  const HDC other = CreateCompatibleDC(canvas.dc());
  EXPECT_EQ(SelectObject(other, canvas.bitmap()), nullptr) << "a bitmap is in one context at a time";
  EXPECT_EQ(GetDeviceCaps(other, LOGPIXELSY), 96);
  EXPECT_EQ(GetDeviceCaps(other, BITSPIXEL), 32);
  EXPECT_EQ(WindowFromDC(other), nullptr);
  EXPECT_EQ(SetROP2(other, R2_XORPEN), R2_COPYPEN);
  EXPECT_EQ(SetROP2(other, 0), 0);
  EXPECT_TRUE(DeleteDC(other));
  EXPECT_FALSE(DeleteDC(other));
}

TEST(Raster, BitBltCopiesAcrossFormatsAndClips) {
  Canvas source(4, 4);
  for (int i = 0; i < 16; ++i) source.Set(i % 4, i / 4, 0x010101u * static_cast<std::uint32_t>(i * 16));
  Canvas target(4, 4);
  EXPECT_TRUE(BitBlt(target.dc(), 1, 2, 4, 4, source.dc(), 0, 0, SRCCOPY));
  EXPECT_EQ(target.At(1, 2), source.At(0, 0));
  EXPECT_EQ(target.At(3, 3), source.At(2, 1));
  EXPECT_EQ(target.At(0, 0), 0u);
  EXPECT_FALSE(BitBlt(target.dc(), 0, 0, 4, 4, source.dc(), 0, 0, 0x00EE0086)) << "only SRCCOPY";
}

TEST(Raster, MulDivAndPtInRect) {
  struct {
    int number, numerator, denominator, result;
  } const cases[] = {{1, 1, 2, 1},     {-1, 1, 2, -1}, {3, 1, 2, 2}, {-3, 1, -2, 2}, {8, 96, 72, 11},
                     {12, 96, 72, 16}, {5, 1, 3, 2},   {4, 1, 3, 1}, {7, 1, 0, -1},  {0x40000000, 4, 1, -1}};
  for (const auto& c : cases)
    EXPECT_EQ(MulDiv(c.number, c.numerator, c.denominator), c.result)
        << c.number << "*" << c.numerator << "/" << c.denominator;
  const RECT rect{1, 1, 3, 3};
  EXPECT_TRUE(PtInRect(&rect, POINT{1, 2}));
  EXPECT_FALSE(PtInRect(&rect, POINT{3, 2})) << "the right edge is outside";
  EXPECT_FALSE(PtInRect(&rect, POINT{2, 3})) << "the bottom edge is outside";
}

}  // namespace
