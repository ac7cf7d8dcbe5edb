// The magnifying glass: a bilinear enlargement of an image's display buffer around the mouse, put on
// the window with the fast draw. The host calls it on every mouse move and ends with
// EndInteractiveTool, whose full draw takes the glass away. The enlargement is made in a temporary
// copy of the display buffer: the image itself does not change.
#pragma once

#include "image/image.h"
#include "ondrel/platform/windows.h"

// Shows the glass over `image` in `window` around the client point `pt`, magnified m times, m being
// the user's userMagGlassMagnification, over a glass of userMagGlassWidth by userMagGlassHeight
// screen pixels.
//
// The point is taken to the display buffer pixel under it (the centre). The glass's size, turned into
// buffer pixels, gives a source window around the centre, cut at the buffer's edges, and a target
// window m times as large around the same centre, which is not cut: target pixels beyond the buffer
// are dropped. Each source pixel becomes m x m target pixels interpolated between it and its right,
// upper and upper-right neighbours, every sample (grey, or blue, green and red) on its own; target
// pixels inside the target window that no source pixel reaches (its last column and row) are black.
// The rest of the copy is the display buffer as it is. On screen the glass is stretched with the whole
// picture, so its size follows the zoom, and it shows no overlays or measurements.
//
// Nothing happens for an invalid window, an image that has not been drawn or has no intent, a glass
// that covers less than two pixels either way, or a magnification below 1. Throws MyException
// "Failed to allocate memory for the magnifying glass pixel data." when the copy can't be had, and
// what the image's strategy throws.
void MagnifyingGlass(Image& image, HWND window, POINT pt);
