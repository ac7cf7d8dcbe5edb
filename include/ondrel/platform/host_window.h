// The host side of the platform's windows: what a host program (the command-line host, a viewer, a
// test) does that a user and a screen would do on Windows. It makes top-level windows of a size,
// resizes and places them, reads what they show, types characters into them, and sets the size of
// the desktop. Destroying a top-level window is DestroyWindow (windows.h).
#pragma once

#include <cstdint>
#include <vector>

#include "ondrel/platform/windows.h"

namespace ondrel::platform {

// A new visible top-level window with a black client area of width x height pixels at screen 0,0.
// Null for a negative size or when memory runs out.
HWND CreateHostWindow(int width, int height);
// Resizes a top-level window as a user would: the pixels that still fit stay, new ones are black, and
// the window receives WM_SIZE. False for an invalid or child window or a negative size.
bool ResizeHostWindow(HWND window, int width, int height);
// Places a top-level window on the screen; its client coordinates are unchanged.
bool SetHostWindowPosition(HWND window, int x, int y);

// What a window shows: its pixels with its visible child windows (and theirs) painted over them,
// top-down rows of width * 4 bytes, each pixel blue, green, red, alpha (always 255).
struct WindowPixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> bgra;
};
// False for an invalid window or when memory runs out.
bool ReadWindowPixels(HWND window, WindowPixels& pixels);

// Types a character (Windows-1252) into a window: WM_CHAR to its window procedure. False for an invalid
// window.
bool DeliverCharacter(HWND window, char character);
// Types a character into the window that has the focus, if it is `topLevel` or one of its descendants
// (the edit box of an open text annotation, for example). False when the focus is elsewhere.
bool DeliverCharacterToFocus(HWND topLevel, char character);

// Puts the pointer where a mouse event of the host happens: `clientPoint` of `window`, kept in screen
// coordinates for GetCursorPos. A host calls it before it hands each mouse event on. False, with the
// pointer unmoved, for an invalid window.
bool MoveHostCursor(HWND window, POINT clientPoint);

// The client size of GetDesktopWindow(), 1920 x 1080 until a host sets it. Non-positive sizes are
// refused.
bool SetDesktopSize(int width, int height);

}  // namespace ondrel::platform
