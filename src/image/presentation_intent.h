// The display state of a viewport, and how that state acts on the pixels and on the screen.
//
// A PresentationIntent lives with a window, not with an image, so a series can be paged through under
// one state. The picture is always the raw image turned by `rotation`, then mirrored left-right when
// `flipX`, then up-down when `flipY`; a user's rotation exchanges the two flags, so composing gestures
// needs no matrix. The image's working pixels are kept in that displayed order: RotateFlipPixels
// changes them by one operation, ApplyPresentationToPixels replays the whole state on a fresh copy.
#pragma once

#include <optional>
#include <string>

#include "foundation/byte_block.h"
#include "image/window_level.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/windows.h"
#include "ondrel/platform/wintypes.h"
#include "sources/pixel_layout.h"

struct PresentationIntent {
  SHORT rotation = 0;  // degrees: 0, 90, 180 or 270
  BYTE flipX = 0;      // toggled by FLIP_LR
  BYTE flipY = 0;      // toggled by FLIP_UD
  ULONG zoom = 100;    // percent of the fitted size; 0 shows one image pixel per screen pixel
  LONG panX = 0;       // screen pixels
  LONG panY = 0;
  std::optional<WindowLevel> windowLevel;  // none until the image sets one
  BYTE invert = 0;
  LONG palette = 0;   // ColorPaletteEnum value
  USHORT filter = 0;  // ImageFilterEnum bits
  LONG threshold = 0;

  // Back to the defaults above, dropping the window and level.
  void Reset();

  // The trace form: "\r\nPresentation Intent:\r\n\tRotation=..." with every field, the flags as
  // true or false, and the window and level as "\tWindow=%d\tLevel=%d\tStep=%d" or "NULL".
  std::string ToTraceText() const;

  // Changes the state only: a quarter turn right or left (kept within 0..359), or a toggled flag.
  // ROT_FLIP_NONE and values outside the enumeration change nothing.
  void UpdateRotationFlip(ImageRotationFlipEnum op);

  // What a user's gesture does to the state: UpdateRotationFlip, and for the two rotations an exchange
  // of flipX and flipY, since a mirror done before a turn lies across the other axis after it.
  void ApplyUserRotationFlip(ImageRotationFlipEnum op);
};

// Performs one operation on `pixels` and records it in `intent`. The pixels are taken to be in the
// shape the intent's rotation gives them (rows and columns swapped at 90 and 270 degrees); `layout`
// describes the raw image. Colour samples travel each in its own plane or slot; grey ones use the
// plain index. A rotation puts the turned picture into a new block of the same size, which replaces
// the old one, and then calls UpdateRotationFlip; a flip toggles its flag and swaps rows or columns in
// place. Nothing happens when `pixels` has no data or `op` is ROT_FLIP_NONE.
// Returns true when the pixels were changed, so the caller's display buffer no longer matches them.
// Throws MyException when `pixels` holds fewer bytes than the layout needs, or when memory for a
// rotation can't be had.
bool RotateFlipPixels(PresentationIntent& intent, ByteBlock& pixels, const PixelLayout& layout,
                      ImageRotationFlipEnum op);

// Replays `intent` on freshly copied raw pixels: the rotation as quarter turns, then the flips. The
// intent is left as it was found. Failures as RotateFlipPixels.
void ApplyPresentationToPixels(PresentationIntent& intent, ByteBlock& pixels, const PixelLayout& layout);

// Where the picture goes in a client rectangle: at zoom 0 one image pixel per screen pixel from the
// client's corner; otherwise fitted and centred, then grown or shrunk about its centre by zoom / 100,
// then moved by the pan. `rows` and `columns` are the raw image's; they swap at 90 and 270 degrees.
RECT CalculateDisplayRect(const RECT& client, const PresentationIntent& intent, LONG rows, LONG columns);
// The same for a window's client rectangle, which is also returned in `client`. Throws MyException
// "Failed to calculate the display rectangle." wrapping "Cannot get the client rectangle." when the
// window can't give it.
RECT CalculateDisplayRect(HWND window, const PresentationIntent& intent, LONG rows, LONG columns, RECT& client);
