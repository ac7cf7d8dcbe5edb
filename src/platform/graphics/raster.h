// The pixel rules of GDI's lines and shapes, as pure geometry: each function gives the set of pixels a
// primitive covers, clipped loosely to `clip` so that far-away coordinates cost nothing. Painting them
// is the device context's business (drawing.cpp).
#pragma once

#include <vector>

#include "ondrel/platform/windows.h"
#include "pixel_region.h"

namespace ondrel::platform::graphics {

// Pixels of a one-pixel line from x0,y0 towards x1,y1, the last pixel left out. Bresenham: along the
// major axis every step lights the pixel nearest the true line, a tie keeping the row (or column) of
// the previous pixel.
void AddThinLine(RegionBuilder& out, int x0, int y0, int x1, int y1, Box clip);

// Pixels of a line of pen width `width` (2 or more): the pixels whose centres lie strictly within
// width/2 of the segment, the segment running through pixel centres for odd widths and through the
// top-left corners of the pixels for even widths. Both ends are round and included.
void AddWideLine(RegionBuilder& out, int x0, int y0, int x1, int y1, int width, Box clip);

// A line of a pen width (1 or less: thin) into a builder.
void AddLine(RegionBuilder& out, int x0, int y0, int x1, int y1, int width, Box clip);

// The pixels of an outline drawn with a pen of `penWidth` (0: no pen) and the pixels a brush fills,
// for a box whose right and bottom edges are excluded (corners in any order).
struct ShapePixels {
  PixelRegion outline;
  PixelRegion fill;
};
ShapePixels RectanglePixels(int left, int top, int right, int bottom, int penWidth);
ShapePixels EllipsePixels(int left, int top, int right, int bottom, int penWidth, Box clip);

// The pixels of the ellipse inscribed in the box left..right, top..bottom (right and bottom excluded):
// those whose centres lie inside it, and in every row at least the middle pixel or two, so that the
// ellipse reaches all four sides of its box.
PixelRegion EllipseArea(int left, int top, int right, int bottom, Box clip);

// The pixels whose centres lie inside the closed polygon, under the alternate (even-odd) or the
// winding (non-zero) rule; a centre exactly on a left edge is inside, on a right edge outside.
PixelRegion PolygonArea(const std::vector<POINT>& points, bool winding);

}  // namespace ondrel::platform::graphics
