// DrawDib of the platform layer: the fast stretch of a device-independent bitmap into a device context,
// with which every drag redraws its picture.
//
// The stretch is nearest neighbour. Destination pixel (i, j) of a stretch of a w x h source to a W x H
// rectangle takes source pixel (floor((2i + 1) w / 2W), floor((2j + 1) h / 2H)), the source pixel under
// the destination pixel's centre, so that whole-number enlargements repeat every pixel the same number
// of times. The column and row maps are computed once per shape and kept in the DrawDib handle: a
// redraw of the same shape divides nothing and allocates nothing.
#pragma once

#include "ondrel/platform/gdi.h"

DECLARE_HANDLE(HDRAWDIB);

// Flags are accepted and ignored: every draw is immediate and exact.
inline constexpr UINT DDF_SAME_HDC = 0x0004;
inline constexpr UINT DDF_SAME_DRAW = 0x0008;
inline constexpr UINT DDF_HALFTONE = 0x8000;

// A new DrawDib handle; null when memory runs out.
HDRAWDIB DrawDibOpen();
// Frees the handle; FALSE for an invalid one.
BOOL DrawDibClose(HDRAWDIB hdd);
// Stretches the source rectangle xSrc, ySrc, dxSrc, dySrc (top-left origin, in the bitmap's pixels; a
// size of -1 means the rest of the bitmap) of the BI_RGB DIB lpbi with pixels lpBits to the destination
// rectangle xDst, yDst, dxDst, dyDst of hdc (a size of -1 means the source's size), clipped to the
// surface. The DIB is 8-bit with the colour table that follows its header, or 24-bit; bottom-up when
// biHeight > 0, top-down otherwise; rows padded to 4 bytes. The mix mode does not apply. FALSE for an
// invalid handle, context or format, or a source rectangle outside the bitmap.
BOOL DrawDibDraw(HDRAWDIB hdd, HDC hdc, int xDst, int yDst, int dxDst, int dyDst, LPBITMAPINFOHEADER lpbi,
                 LPVOID lpBits, int xSrc, int ySrc, int dxSrc, int dySrc, UINT wFlags);
