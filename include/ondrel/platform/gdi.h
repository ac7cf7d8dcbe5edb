// GDI of the platform layer: device contexts over windows and bitmaps, pens, brushes, regions, fonts and
// text, drawn by a software rasteriser with GDI's pixel rules.
//
// - Lines of one pixel leave out their last pixel (LineTo, Polyline); wider pens draw the shape swept
//   by a disc of the pen's width, round at both ends, centred on the pixel for odd widths and on its
//   top-left corner for even widths, so that a pen of width w covers w rows of a horizontal line.
// - Rectangle and Ellipse fit the box without its right and bottom edges: a one-pixel outline touches
//   columns left and right-1, rows top and bottom-1; the brush fills what the pen leaves inside. With
//   NULL_PEN the filled shape is one pixel smaller in width and height, as in GDI. An ellipse holds the
//   pixels whose centres lie inside it, and reaches all four sides of its box however thin it is.
// - The mix mode (SetROP2) combines the pen or brush colour with each pixel bitwise; every primitive
//   touches each pixel once, so R2_XORPEN drawn twice gives back the picture. Text and BitBlt ignore it.
// - Regions are sets of whole pixels; a polygon holds the pixels whose centres lie inside it, under the
//   alternate (even-odd) or winding rule.
// - Surfaces are 32-bit (windows and compatible bitmaps) or DIB sections of 8 bits with a colour table,
//   24 or 32 bits. Colours are mapped to the nearest entry of a colour table.
// Handles are checked: a stale or made-up handle fails the call instead of reaching freed memory.
// Coordinates are device pixels (no mapping modes, no clipping regions but the surface's edges).
#pragma once

#include "ondrel/platform/windows.h"

DECLARE_HANDLE(HDC);
DECLARE_HANDLE(HPEN);
DECLARE_HANDLE(HBRUSH);
DECLARE_HANDLE(HBITMAP);
DECLARE_HANDLE(HRGN);
DECLARE_HANDLE(HFONT);
DECLARE_HANDLE(HPALETTE);
using HGDIOBJ = void*;  // any of the object handles above

using COLORREF = DWORD;  // 0x00BBGGRR
constexpr COLORREF RGB(BYTE r, BYTE g, BYTE b) {
  return static_cast<COLORREF>(r) | (static_cast<COLORREF>(g) << 8) | (static_cast<COLORREF>(b) << 16);
}
constexpr BYTE GetRValue(COLORREF c) { return static_cast<BYTE>(c & 0xFF); }
constexpr BYTE GetGValue(COLORREF c) { return static_cast<BYTE>((c >> 8) & 0xFF); }
constexpr BYTE GetBValue(COLORREF c) { return static_cast<BYTE>((c >> 16) & 0xFF); }
inline constexpr COLORREF CLR_INVALID = 0xFFFFFFFFu;

struct BITMAPINFOHEADER {
  DWORD biSize;  // 40
  LONG biWidth;
  LONG biHeight;        // positive: rows bottom-up; negative: top-down
  WORD biPlanes;        // 1
  WORD biBitCount;      // 8, 24 or 32
  DWORD biCompression;  // BI_RGB
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;  // colour table entries of an 8-bit bitmap; 0 means 256
  DWORD biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);
using LPBITMAPINFOHEADER = BITMAPINFOHEADER*;
struct RGBQUAD {
  BYTE rgbBlue;
  BYTE rgbGreen;
  BYTE rgbRed;
  BYTE rgbReserved;
};
struct BITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];  // the colour table of an 8-bit bitmap begins here, biSize bytes after the header
};
inline constexpr DWORD BI_RGB = 0;
inline constexpr UINT DIB_RGB_COLORS = 0;

inline constexpr int LF_FACESIZE = 32;
struct LOGFONTA {
  LONG lfHeight;  // < 0: character height in pixels; > 0: cell height; 0: a default of 12-pixel characters
  LONG lfWidth;
  LONG lfEscapement;
  LONG lfOrientation;
  LONG lfWeight;  // FW_BOLD (700) and above draw bold
  BYTE lfItalic;
  BYTE lfUnderline;
  BYTE lfStrikeOut;
  BYTE lfCharSet;
  BYTE lfOutPrecision;
  BYTE lfClipPrecision;
  BYTE lfQuality;
  BYTE lfPitchAndFamily;
  CHAR lfFaceName[LF_FACESIZE];
};
using LOGFONT = LOGFONTA;
inline constexpr LONG FW_DONTCARE = 0;
inline constexpr LONG FW_NORMAL = 400;
inline constexpr LONG FW_BOLD = 700;

// Stock objects.
inline constexpr int WHITE_BRUSH = 0;
inline constexpr int LTGRAY_BRUSH = 1;
inline constexpr int GRAY_BRUSH = 2;
inline constexpr int DKGRAY_BRUSH = 3;
inline constexpr int BLACK_BRUSH = 4;
inline constexpr int NULL_BRUSH = 5;
inline constexpr int HOLLOW_BRUSH = NULL_BRUSH;
inline constexpr int WHITE_PEN = 6;
inline constexpr int BLACK_PEN = 7;
inline constexpr int NULL_PEN = 8;
inline constexpr int ANSI_VAR_FONT = 12;
inline constexpr int SYSTEM_FONT = 13;
inline constexpr int DEFAULT_GUI_FONT = 17;

// Pen styles.
inline constexpr int PS_SOLID = 0;
inline constexpr int PS_NULL = 5;

// Mix modes of SetROP2: the result from the pen (or brush) colour P and the pixel D.
inline constexpr int R2_BLACK = 1;         // 0
inline constexpr int R2_NOTMERGEPEN = 2;   // ~(P | D)
inline constexpr int R2_MASKNOTPEN = 3;    // ~P & D
inline constexpr int R2_NOTCOPYPEN = 4;    // ~P
inline constexpr int R2_MASKPENNOT = 5;    // P & ~D
inline constexpr int R2_NOT = 6;           // ~D
inline constexpr int R2_XORPEN = 7;        // P ^ D
inline constexpr int R2_NOTMASKPEN = 8;    // ~(P & D)
inline constexpr int R2_MASKPEN = 9;       // P & D
inline constexpr int R2_NOTXORPEN = 10;    // ~(P ^ D)
inline constexpr int R2_NOP = 11;          // D
inline constexpr int R2_MERGENOTPEN = 12;  // ~P | D
inline constexpr int R2_COPYPEN = 13;      // P
inline constexpr int R2_MERGEPENNOT = 14;  // P | ~D
inline constexpr int R2_MERGEPEN = 15;     // P | D
inline constexpr int R2_WHITE = 16;        // all ones

// Background modes.
inline constexpr int TRANSPARENT = 1;
inline constexpr int OPAQUE = 2;

// Regions: CombineRgn modes, polygon fill modes, and the kinds a region call returns.
inline constexpr int RGN_AND = 1;
inline constexpr int RGN_OR = 2;
inline constexpr int RGN_XOR = 3;
inline constexpr int RGN_DIFF = 4;
inline constexpr int RGN_COPY = 5;
inline constexpr int ALTERNATE = 1;
inline constexpr int WINDING = 2;
inline constexpr int ERROR = 0;
inline constexpr int NULLREGION = 1;
inline constexpr int SIMPLEREGION = 2;
inline constexpr int COMPLEXREGION = 3;

inline constexpr DWORD SRCCOPY = 0x00CC0020u;

// GetDeviceCaps indices.
inline constexpr int HORZRES = 8;
inline constexpr int VERTRES = 10;
inline constexpr int BITSPIXEL = 12;
inline constexpr int PLANES = 14;
inline constexpr int LOGPIXELSX = 88;
inline constexpr int LOGPIXELSY = 90;

// Device contexts. A window's context draws on the window's own pixels (its children are painted over
// them when the window is read); a memory context draws on the bitmap selected into it, at first a
// stock bitmap of one pixel. A new context has BLACK_PEN, WHITE_BRUSH, SYSTEM_FONT, R2_COPYPEN, black
// text on a white OPAQUE background, and the current position at 0,0.
// GetDC: the context of a window (null: the desktop, which has no pixels). Null for an invalid window.
HDC GetDC(HWND hWnd);
// Frees a context from GetDC; 1 on success, 0 when hDC is not a context of hWnd.
int ReleaseDC(HWND hWnd, HDC hDC);
// A memory context. Its compatible bitmaps are 32-bit like the screen, whatever hdc (may be null) is.
HDC CreateCompatibleDC(HDC hdc);
BOOL DeleteDC(HDC hdc);
// The window of a context from GetDC; null for a memory context or an invalid handle.
HWND WindowFromDC(HDC hDC);
// LOGPIXELSX/Y 96, HORZRES/VERTRES the desktop size, BITSPIXEL of the surface (32 for a window),
// PLANES 1; 0 for other indices.
int GetDeviceCaps(HDC hdc, int index);

// Objects. SelectObject takes a pen, brush, font or (memory contexts only) bitmap and returns the
// object of that kind it replaces, or null on failure (a bitmap may be selected into one context at a
// time). DeleteObject fails (FALSE) for an object selected into a context, and does nothing (TRUE) for
// a stock object.
HGDIOBJ SelectObject(HDC hdc, HGDIOBJ h);
BOOL DeleteObject(HGDIOBJ ho);
HGDIOBJ GetStockObject(int i);
// PS_SOLID or PS_NULL; width 0 or 1 is one pixel. Null for other styles.
HPEN CreatePen(int iStyle, int cWidth, COLORREF color);
HBRUSH CreateSolidBrush(COLORREF color);
// A 32-bit bitmap, black; a size of 0 gives the stock one-pixel bitmap. Null for negative sizes.
HBITMAP CreateCompatibleBitmap(HDC hdc, int cx, int cy);
// A DIB section of 8 bits (with the colour table of pbmi), 24 or 32 bits, BI_RGB, rows padded to 4
// bytes, bottom-up when biHeight > 0 and top-down when it is negative, cleared to zero. *ppvBits
// receives the pixel memory itself, which the caller may read and write while the bitmap lives.
// Only DIB_RGB_COLORS and a null hSection are supported. Null on failure, with *ppvBits null.
HBITMAP CreateDIBSection(HDC hdc, const BITMAPINFO* pbmi, UINT usage, void** ppvBits, HANDLE hSection, DWORD offset);

int SetROP2(HDC hdc, int rop2);  // the previous mode, 0 on failure
int GetROP2(HDC hdc);
COLORREF SetTextColor(HDC hdc, COLORREF color);  // the previous colour, CLR_INVALID on failure
COLORREF SetBkColor(HDC hdc, COLORREF color);
int SetBkMode(HDC hdc, int mode);  // TRANSPARENT or OPAQUE; the previous mode, 0 on failure

// Lines and shapes, with the selected pen and brush under the mix mode.
BOOL MoveToEx(HDC hdc, int x, int y, POINT* lppt);
// From the current position to x, y, which becomes the current position.
BOOL LineTo(HDC hdc, int x, int y);
// The segments joining cpt points as one primitive: a pixel covered by two segments is drawn once.
BOOL Polyline(HDC hdc, const POINT* apt, int cpt);
BOOL Rectangle(HDC hdc, int left, int top, int right, int bottom);
BOOL Ellipse(HDC hdc, int left, int top, int right, int bottom);

// Regions.
HRGN CreateRectRgn(int x1, int y1, int x2, int y2);
// A polygon of cPoint vertices (at least 2), closed, under ALTERNATE or WINDING.
HRGN CreatePolygonRgn(const POINT* pptl, int cPoint, int iMode);
// hrgnDst = hrgnSrc1 <op> hrgnSrc2 (hrgnSrc2 unused for RGN_COPY); any of the three may be the same
// region. Returns the kind of the result, or ERROR.
int CombineRgn(HRGN hrgnDst, HRGN hrgnSrc1, HRGN hrgnSrc2, int iMode);
BOOL PtInRegion(HRGN hrgn, int x, int y);
BOOL FillRgn(HDC hdc, HRGN hrgn, HBRUSH hbr);
int GetRgnBox(HRGN hrgn, RECT* lprect);  // the bounding box and the kind, ERROR for a bad handle

// Copies a rectangle of pixels (SRCCOPY only) between contexts of any formats. Reading a window's
// context reads what the window shows, its visible children included.
BOOL BitBlt(HDC hdc, int x, int y, int cx, int cy, HDC hdcSrc, int x1, int y1, DWORD rop);

// Fonts and text. Faces are found by name through fontconfig; "Arial", "MS Sans Serif", "MS Shell Dlg",
// "Tahoma", "System" and an empty name resolve to the metric-compatible Liberation Sans. Glyphs are
// drawn without anti-aliasing. Text is Windows-1252, placed with the top of its cell at y.
HFONT CreateFontIndirectA(const LOGFONTA* lplf);
// Draws c characters in the text colour, over the extent filled with the background colour when the
// background mode is OPAQUE. The mix mode does not apply, as in GDI.
BOOL TextOutA(HDC hdc, int x, int y, LPCSTR lpString, int c);
// The width of the c characters (their advances) and the height of the font's cell.
BOOL GetTextExtentPoint32A(HDC hdc, LPCSTR lpString, int c, SIZE* psizl);
