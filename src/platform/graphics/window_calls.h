// Window services shared by the window, dialog and edit sources. Unlike window_table.h, these take the
// graphics lock themselves and may send messages, so they are called without it.
#pragma once

#include <string>

#include "ondrel/platform/windows.h"

namespace ondrel::platform::graphics {

// The window procedures of the predefined classes.
LRESULT CALLBACK DialogWindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CALLBACK EditWindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);

// A window's text; empty for an invalid window.
std::string TextOf(HWND window);
// Sends WM_PAINT to a window, then to its descendants.
void PaintTree(HWND window);

}  // namespace ondrel::platform::graphics
