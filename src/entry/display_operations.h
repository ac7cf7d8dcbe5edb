// The gestures a user makes on a shown image: pan, zoom, window and level, invert, palette, rotation
// and flips. Each works on an image and the presentation intent it is shown with, and draws it again:
// drags (pan, dynamic zoom, window/level) with the fast draw, which shows only the picture, the others
// with the full draw. The caller finds the image (ImageRenderer::LiveImage) and, for the operations
// that copy the pixels again, fetches them (ImageRenderer::FetchPixelData).
//
// The image must have an intent. Failures of the draws and of the pixel copy are thrown as they come.
#pragma once

#include "image/image.h"
#include "ondrel/ondrel.h"
#include "sources/pixel_data.h"

// panX += dx, panY += dy, held at the ends of LONG; fast draw.
void PanImage(Image& image, HWND window, LONG dx, LONG dy);
// zoom = `zoom`, unchecked (0 shows one image pixel per screen pixel); full draw.
void ZoomImage(Image& image, HWND window, ULONG zoom);
// Only the sign of dy counts: above 0 the zoom shrinks by five percent of itself, otherwise it grows
// by as much; it never goes below 100, the fitted size. Fast draw.
void ZoomImageDynamically(Image& image, HWND window, LONG dy);
// The zoom of a window's image, 100 when there is no image or no intent.
ULONG CurrentZoom(const Image* image);
// Without a filter: window += step * dx, level += step * dy, the window at least 1, and the values
// marked as the user's. With a filter: threshold -= step * dy. Then the LUT and a fast draw.
void WindowLevelImage(Image& image, HWND window, LONG dx, LONG dy);
// The user's window (at least 1) and level; the step stays. The LUT and a full draw.
void ApplyWindowLevelPreset(Image& image, HWND window, LONG width, LONG level);
// Toggles the invert flag; the LUT and a full draw.
void InvertImage(Image& image, HWND window);
// Sets the palette (unchecked: a value outside the enumeration finds no table) and reloads the pixels
// from `source`, since the palette changes the display buffer's shape; full draw.
void ApplyColorPalette(Image& image, HWND window, LONG palette, const FramePixels& source);
// The palette of a window's image, 0 when there is no image or no intent.
LONG CurrentPalette(const Image* image);
// The user's rotation or flip (see PresentationIntent::ApplyUserRotationFlip), replayed on a fresh copy
// of `source`; full draw.
void RotateFlipImage(Image& image, HWND window, ImageRotationFlipEnum op, const FramePixels& source);
