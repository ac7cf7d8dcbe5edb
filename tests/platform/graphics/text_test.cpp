// Fonts and text: faces found by name, GDI's cell metrics, extents, and what TextOutA paints.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "graphics_test_support.h"

namespace {

using graphics_test::Canvas;

HFONT MakeFont(LONG height, const char* face, LONG weight = FW_NORMAL) {
  LOGFONTA font{};
  font.lfHeight = height;
  font.lfWeight = weight;
  std::strncpy(font.lfFaceName, face, LF_FACESIZE - 1);
  return CreateFontIndirectA(&font);
}

// The extent of `text` in a new font, measured on a memory context.
SIZE Extent(LONG height, const char* face, const std::string& text, LONG weight = FW_NORMAL) {
  const HDC dc = CreateCompatibleDC(nullptr);
  const HFONT font = MakeFont(height, face, weight);
  const HGDIOBJ old = SelectObject(dc, font);
  SIZE size{-1, -1};
  EXPECT_TRUE(GetTextExtentPoint32A(dc, text.data(), static_cast<int>(text.size()), &size));
  SelectObject(dc, old);
  DeleteObject(font);
  DeleteDC(dc);
  return size;
}

TEST(Text, WindowsFacesMeasureAsArialDoes) {
  // At 2048 pixels to the em one font unit is one pixel, so the advances and the cell are the font's
  // own numbers: Arial's (and Liberation Sans') hmtx widths X 1366, H 1479, i 455, and the OS/2
  // usWinAscent 1854 plus usWinDescent 434, read from the font file with a table parser of our own.
  for (const char* face : {"Arial", "MS Sans Serif", "Liberation Sans", ""}) {
    const SIZE size = Extent(-2048, face, "XHi");
    EXPECT_EQ(size.cx, 1366 + 1479 + 455) << face;
    EXPECT_EQ(size.cy, 1854 + 434) << face;
  }
  // The stand-in matters: the face fontconfig would give for "MS Sans Serif" alone is wider.
  EXPECT_NE(Extent(-12, "DejaVu Sans", "Measure").cx, Extent(-12, "MS Sans Serif", "Measure").cx);
  // A positive height is the height of the cell.
  EXPECT_EQ(Extent(20, "Arial", "X").cy, 20);
  EXPECT_EQ(Extent(13, "Arial", "X").cy, 13);
}

TEST(Text, ExtentsGrowWithTheStringAndTheSize) {
  SIZE previous{0, 0};
  for (const LONG height : {-8, -11, -16, -24, -40}) {
    const SIZE one = Extent(height, "Arial", "X");
    const SIZE two = Extent(height, "Arial", "XX");
    EXPECT_EQ(two.cx, 2 * one.cx) << height << ": no kerning, equal advances";
    EXPECT_EQ(two.cy, one.cy);
    EXPECT_LT(Extent(height, "Arial", "Abc").cx, Extent(height, "Arial", "Abcd").cx) << height;
    EXPECT_GT(one.cx, previous.cx) << height;
    EXPECT_GT(one.cy, previous.cy) << height;
    previous = one;
  }
  EXPECT_EQ(Extent(-12, "Arial", "").cx, 0);
  EXPECT_GT(Extent(-12, "Arial", "").cy, 0) << "an empty string still has the cell's height";
  EXPECT_GT(Extent(-16, "Arial", "Hello", FW_BOLD).cx, Extent(-16, "Arial", "Hello").cx);
}

TEST(Text, OpaqueBackgroundFillsTheExtentAndTransparentLeavesIt) {
  const HFONT font = MakeFont(-16, "Arial");
  const std::string text = "HX\xB0";
  for (const int mode : {OPAQUE, TRANSPARENT}) {
    Canvas canvas(80, 30);
    const HGDIOBJ old = SelectObject(canvas.dc(), font);
    SIZE extent{};
    GetTextExtentPoint32A(canvas.dc(), text.data(), 3, &extent);
    SetBkMode(canvas.dc(), mode);
    SetBkColor(canvas.dc(), RGB(255, 255, 255));
    SetTextColor(canvas.dc(), RGB(255, 0, 0));
    SetROP2(canvas.dc(), R2_XORPEN);  // text ignores the mix mode
    EXPECT_TRUE(TextOutA(canvas.dc(), 3, 4, text.data(), 3));
    SelectObject(canvas.dc(), old);
    const RECT ink = canvas.InkBox();
    if (mode == OPAQUE) {
      EXPECT_EQ(ink.left, 3);
      EXPECT_EQ(ink.top, 4);
      EXPECT_EQ(ink.right, 3 + extent.cx);
      EXPECT_EQ(ink.bottom, 4 + extent.cy);
      EXPECT_EQ(canvas.Count(0xFFFFFF) + canvas.Count(0xFF0000), extent.cx * extent.cy)
          << "white or text, nothing else";
    } else {
      EXPECT_EQ(canvas.Count(0xFFFFFF), 0);
      EXPECT_GE(ink.left, 3);
      EXPECT_LE(ink.right, 3 + extent.cx);
      EXPECT_LE(ink.bottom, 4 + extent.cy);
    }
    EXPECT_GT(canvas.Count(0xFF0000), 0) << mode;
  }
  DeleteObject(font);
}

TEST(Text, ByteB0IsTheDegreeSign) {
  // The degree sign sits high in the cell, wholly above the middle; a missing glyph would not.
  const HFONT font = MakeFont(-32, "Arial");
  Canvas canvas(40, 40);
  const HGDIOBJ old = SelectObject(canvas.dc(), font);
  SetBkMode(canvas.dc(), TRANSPARENT);
  SetTextColor(canvas.dc(), RGB(255, 255, 255));
  TextOutA(canvas.dc(), 0, 0, "\xB0", 1);
  SIZE extent{};
  GetTextExtentPoint32A(canvas.dc(), "\xB0", 1, &extent);
  SelectObject(canvas.dc(), old);
  DeleteObject(font);
  EXPECT_EQ(extent.cx, (819 * 32 + 1024) / 2048) << "the advance of U+00B0 in Arial's metrics, rounded";
  const RECT ink = canvas.InkBox();
  EXPECT_GT(ink.bottom, 0);
  EXPECT_LT(ink.bottom, extent.cy / 2);
}

TEST(Text, StockFontsAndFailures) {
  const HDC dc = CreateCompatibleDC(nullptr);
  SIZE system{};
  EXPECT_TRUE(GetTextExtentPoint32A(dc, "X", 1, &system)) << "a new context has the system font";
  EXPECT_EQ(system.cy, 16);
  SelectObject(dc, GetStockObject(DEFAULT_GUI_FONT));
  SIZE gui{};
  EXPECT_TRUE(GetTextExtentPoint32A(dc, "X", 1, &gui));
  EXPECT_LT(gui.cy, system.cy);
  EXPECT_FALSE(GetTextExtentPoint32A(dc, "X", -1, &gui));
  EXPECT_FALSE(TextOutA(dc, 0, 0, nullptr, 2));
  DeleteDC(dc);
  EXPECT_FALSE(GetTextExtentPoint32A(dc, "X", 1, &gui)) << "a deleted context";
}

}  // namespace
