// The MPR line on the source images and the slab around it: the user drags the line's centre to shift
// it, its body to turn it, or a slab line to widen the slab. Each step moves the line (or the slab) in
// the stack system and draws it again with an exclusive-or pen on the window, without a redraw of the
// picture; the caller then has the oblique image regenerated (see each gesture's answer).
//
// The gestures act on an image of the MPR's source series (MprType 1) only; on any other image, or
// without a running MPR, they do nothing and answer false. Points are client pixels of the window that
// shows `image`. Failures of the coordinate transforms and of the image's strategy are thrown as
// MyException.
#pragma once

#include "image/annotations.h"
#include "image/image.h"
#include "ondrel/ondrel.h"

namespace spatial {

// A press: on the centre handle (a circle of 10 client pixels around the line's centre) it starts a
// shift (MPR_MODE_TRANSLATION), else on the line a turn about the centre (MPR_MODE_ROTATION); true
// then. The handle wins where both are hit.
bool MprButtonDown(Image& image, HWND window, POINT point);
// A move during a shift or turn: the line follows the mouse, clipped to the stack system (a shift
// that would take the line outside leaves it, while its centre follows the mouse alone). True when the
// line was processed: the oblique image is then to be regenerated.
bool MprMouseMove(Image& image, HWND window, POINT point);
// The release ends the shift or turn as a move does, and the mode goes back to MPR_MODE_GENERATED.
// True when processed.
bool MprButtonUp(Image& image, HWND window, POINT point);

// A press on either slab line sets the slab's drag flag (MIP_MODE_TRANSLATION), in any slab mode;
// true then.
bool SlabButtonDown(Image& image, HWND window, POINT point);
// A move while the slab is dragged: its half width becomes the distance of the mouse from the line.
// True when processed.
bool SlabMouseMove(Image& image, HWND window, POINT point);
// The release: as a move, then the drag flag goes. True when processed.
bool SlabButtonUp(Image& image, HWND window, POINT point);

// Sets the slab mode (MipOperationsEnum bits, unchecked); coming from no mode at all, the half width
// starts again at 20 pixels, so that a change between maximum and minimum keeps a dragged width.
void SetSlabMode(std::uint16_t mode);
// The slab back to no mode and a half width of 20; the oblique image keeps its pixels until it is
// regenerated.
void EndSlabMode();

// Draws the MPR line, its centre handle and, in a slab mode, the slab lines, on the images of the
// source series: in the user's MPR and MIP pens, or during a drag with a white exclusive-or pen.
ViewportLines& MprLines();

}  // namespace spatial
