// Windows of the platform layer: handles, geometry, messages, window procedures, and modeless dialogs
// built from an in-memory template, with the Edit control of the text annotation.
//
// A window is an off-screen surface of 32-bit pixels of its client size, kept in a process-wide window
// table. HWND values are small table numbers that fit in 32 bits (never 0); the table checks every
// handle, so a destroyed or made-up handle fails the call (and IsWindow) instead of reaching freed
// memory. Windows have no borders or captions: the window rectangle is the client rectangle.
// Top-level windows are made by a host (host_window.h) and sit on the screen at 0,0 unless the host
// places them elsewhere; child windows sit in their parent's client area. Messages are delivered
// synchronously: there is no message queue, and a window paints itself (WM_PAINT) as soon as its size or
// contents change. Text is in the ANSI code page, Windows-1252.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "ondrel/platform/wintypes.h"

#ifndef CALLBACK
#define CALLBACK
#endif
#ifndef WINAPI
#define WINAPI
#endif

DECLARE_HANDLE(HWND);

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;

struct POINT {
  LONG x;
  LONG y;
};
struct SIZE {
  LONG cx;
  LONG cy;
};
struct RECT {
  LONG left;
  LONG top;
  LONG right;   // excluded
  LONG bottom;  // excluded
};
using LPPOINT = POINT*;
using LPRECT = RECT*;

using WNDPROC = LRESULT (*)(HWND, UINT, WPARAM, LPARAM);
using DLGPROC = INT_PTR (*)(HWND, UINT, WPARAM, LPARAM);

constexpr WORD LOWORD(std::uintptr_t value) { return static_cast<WORD>(value & 0xFFFF); }
constexpr WORD HIWORD(std::uintptr_t value) { return static_cast<WORD>((value >> 16) & 0xFFFF); }
constexpr LONG MAKELONG(WORD low, WORD high) {
  return static_cast<LONG>(static_cast<DWORD>(low) | (static_cast<DWORD>(high) << 16));
}
constexpr LPARAM MAKELPARAM(WORD low, WORD high) {
  return static_cast<LPARAM>(static_cast<DWORD>(MAKELONG(low, high)));
}

// Messages.
inline constexpr UINT WM_NULL = 0x0000;
inline constexpr UINT WM_CREATE = 0x0001;
inline constexpr UINT WM_DESTROY = 0x0002;
inline constexpr UINT WM_MOVE = 0x0003;
inline constexpr UINT WM_SIZE = 0x0005;
inline constexpr UINT WM_SETFOCUS = 0x0007;
inline constexpr UINT WM_KILLFOCUS = 0x0008;
inline constexpr UINT WM_SETTEXT = 0x000C;
inline constexpr UINT WM_GETTEXT = 0x000D;
inline constexpr UINT WM_GETTEXTLENGTH = 0x000E;
inline constexpr UINT WM_PAINT = 0x000F;
inline constexpr UINT WM_SETFONT = 0x0030;
inline constexpr UINT WM_GETFONT = 0x0031;
inline constexpr UINT WM_NCDESTROY = 0x0082;
inline constexpr UINT WM_CHAR = 0x0102;
inline constexpr UINT WM_INITDIALOG = 0x0110;
inline constexpr UINT WM_USER = 0x0400;
inline constexpr WPARAM SIZE_RESTORED = 0;

// Window styles, extended styles, dialog and edit styles.
inline constexpr DWORD WS_POPUP = 0x80000000u;
inline constexpr DWORD WS_CHILD = 0x40000000u;
inline constexpr DWORD WS_VISIBLE = 0x10000000u;
inline constexpr DWORD WS_BORDER = 0x00800000u;
inline constexpr DWORD WS_SYSMENU = 0x00080000u;
inline constexpr DWORD WS_TABSTOP = 0x00010000u;
inline constexpr DWORD WS_EX_TRANSPARENT = 0x00000020u;
inline constexpr DWORD DS_SETFONT = 0x40u;
inline constexpr DWORD ES_MULTILINE = 0x0004u;
inline constexpr DWORD ES_AUTOVSCROLL = 0x0040u;
inline constexpr DWORD ES_AUTOHSCROLL = 0x0080u;
inline constexpr DWORD ES_WANTRETURN = 0x1000u;

// Indices of SetWindowLongPtrA / GetWindowLongPtrA, and the dialog slots of a 64-bit process.
inline constexpr int GWLP_WNDPROC = -4;
inline constexpr int GWLP_HINSTANCE = -6;
inline constexpr int GWLP_ID = -12;
inline constexpr int GWLP_USERDATA = -21;
inline constexpr int DWLP_MSGRESULT = 0;
inline constexpr int DWLP_DLGPROC = static_cast<int>(sizeof(LRESULT));
inline constexpr int DWLP_USER = DWLP_DLGPROC + static_cast<int>(sizeof(DLGPROC));

// Window errors (GetLastError).
inline constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;
inline constexpr DWORD ERROR_CANNOT_FIND_WND_CLASS = 1407;
inline constexpr DWORD ERROR_INVALID_INDEX = 1413;
inline constexpr DWORD ERROR_CONTROL_ID_NOT_FOUND = 1421;

// Geometry.
// TRUE when `pt` lies in `lprc`, whose right and bottom edges are outside. FALSE for a null rectangle.
BOOL PtInRect(const RECT* lprc, POINT pt);
// nNumber * nNumerator / nDenominator through a 64-bit product, rounded half away from zero as Windows
// rounds it. -1 when nDenominator is 0 or the result does not fit in 32 bits.
int MulDiv(int nNumber, int nNumerator, int nDenominator);

// Windows. Every call with a handle that is not a live window fails (FALSE, null or 0) with
// ERROR_INVALID_WINDOW_HANDLE, unless it says otherwise.
BOOL IsWindow(HWND hWnd);
// {0, 0, width, height} of the client area.
BOOL GetClientRect(HWND hWnd, RECT* lpRect);
// The window's rectangle in screen coordinates (the same size as the client area).
BOOL GetWindowRect(HWND hWnd, RECT* lpRect);
// The desktop window: a window without pixels whose client size is the desktop size the host set
// (1920 x 1080 by default). It cannot be moved or destroyed.
HWND GetDesktopWindow();
// The parent of a child window; null for a top-level window (without an error) or an invalid one.
HWND GetParent(HWND hWnd);
// Moves and sizes a window: X, Y in the parent's client coordinates for a child, in screen coordinates
// for a top-level window. Negative sizes count as 0. A change of size keeps the pixels that still fit
// and sends WM_SIZE; WM_MOVE follows a change of place; the window repaints (WM_PAINT) when its size
// changed or bRepaint is TRUE. FALSE for the desktop window.
BOOL MoveWindow(HWND hWnd, int X, int Y, int nWidth, int nHeight, BOOL bRepaint);
// Converts cPoints points from the client coordinates of hWndFrom to those of hWndTo (null: the
// screen). Returns the horizontal shift in the low word and the vertical one in the high word, or 0 with
// the last error set when a handle is invalid (0 is also the result of a zero shift: clear the last
// error first to tell them apart, as on Windows).
int MapWindowPoints(HWND hWndFrom, HWND hWndTo, POINT* lpPoints, UINT cPoints);
BOOL ScreenToClient(HWND hWnd, POINT* lpPoint);
BOOL ClientToScreen(HWND hWnd, POINT* lpPoint);
// The pointer's position in screen coordinates, where the host last put it (host_window.h), 0,0 until
// then. FALSE for a null pointer.
BOOL GetCursorPos(LPPOINT lpPoint);
// Sends WM_DESTROY to the window, destroys its children the same way, sends WM_NCDESTROY, and frees
// the window with its device contexts. Focus on the window or a child is lost. FALSE for the desktop.
BOOL DestroyWindow(HWND hWnd);

// Window text, narrow in the ANSI code page. SetWindowTextA and GetWindowTextA send WM_SETTEXT and
// WM_GETTEXT, so that a window procedure sees them. GetWindowTextA copies at most nMaxCount - 1
// characters and a null, and returns the characters copied.
BOOL SetWindowTextA(HWND hWnd, LPCSTR lpString);
int GetWindowTextA(HWND hWnd, LPSTR lpString, int nMaxCount);
int GetWindowTextLengthA(HWND hWnd);

// Messages. SendMessageA calls the window's procedure at once and returns its result; 0 for a window
// that is not live. No lock is held while a window procedure runs: it may call any function here.
LRESULT SendMessageA(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);
// The default handling: WM_SETTEXT, WM_GETTEXT and WM_GETTEXTLENGTH on the window text; 0 for others.
LRESULT DefWindowProcA(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);
LRESULT CallWindowProcA(WNDPROC lpPrevWndFunc, HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);
// Window slots: GWLP_WNDPROC (subclassing: returns the previous procedure, which the new one passes
// messages on to with CallWindowProcA), GWLP_USERDATA, GWLP_ID, and for dialogs DWLP_MSGRESULT,
// DWLP_DLGPROC and DWLP_USER. Returns the previous value, or 0 with ERROR_INVALID_INDEX for another index
// (or a null procedure). As on Windows, success leaves the last error alone: a caller that must tell a
// previous value of 0 from a failure clears it first.
LONG_PTR SetWindowLongPtrA(HWND hWnd, int nIndex, LONG_PTR dwNewLong);
LONG_PTR GetWindowLongPtrA(HWND hWnd, int nIndex);

// Keyboard focus, one for the process. SetFocus sends WM_KILLFOCUS to the window that loses it and
// WM_SETFOCUS to the one that gains it, and returns the previous focus; null focuses nothing.
HWND SetFocus(HWND hWnd);
HWND GetFocus();

// Dialog templates, in the binary layout of Windows: a DLGTEMPLATE, then three WORD-aligned fields (menu,
// class, title: each 0x0000 for none, 0xFFFF and an ordinal, or a null-terminated UTF-16 text), then
// with DS_SETFONT the point size (WORD) and the face name (UTF-16); then each control on a DWORD
// boundary: a DLGITEMTEMPLATE, its class (0xFFFF and an ordinal, 0x0081 being Edit, or a name), its
// title, and a WORD count of creation bytes that follow. Positions and sizes are in dialog units.
#pragma pack(push, 2)
struct DLGTEMPLATE {
  DWORD style;
  DWORD dwExtendedStyle;
  WORD cdit;
  short x;
  short y;
  short cx;
  short cy;
};
struct DLGITEMTEMPLATE {
  DWORD style;
  DWORD dwExtendedStyle;
  short x;
  short y;
  short cx;
  short cy;
  WORD id;
};
#pragma pack(pop)
static_assert(sizeof(DLGTEMPLATE) == 18 && sizeof(DLGITEMTEMPLATE) == 18);
using LPCDLGTEMPLATEA = const DLGTEMPLATE*;

inline constexpr WORD kDialogClassEdit = 0x0081;  // the predefined class ordinal of Edit

// Creates a modeless dialog from a template. The dialog gets the template's font (DS_SETFONT; the
// system font otherwise), its size in pixels from the font's dialog base units, and the dialog
// procedure lpDialogFunc, which answers TRUE for the messages it handles (the dialog's own procedure
// does the rest: it keeps the font of WM_SETFONT and paints the face colour). In this order the dialog
// receives WM_SETFONT, each control is created and receives WM_SETFONT, and WM_INITDIALOG comes with the
// control for the focus in wParam and dwInitParam in lParam; a TRUE answer puts the focus there. A
// WS_CHILD dialog is a child of hWndParent, placed in its client coordinates. Controls may be of the
// class Edit only. Null on failure: a malformed template or unknown control class
// (ERROR_CANNOT_FIND_WND_CLASS), a WS_CHILD dialog without a live parent.
HWND CreateDialogIndirectParamA(HINSTANCE hInstance, LPCDLGTEMPLATEA lpTemplate, HWND hWndParent, DLGPROC lpDialogFunc,
                                LPARAM dwInitParam);
// The child control with identifier nIDDlgItem, or null with ERROR_CONTROL_ID_NOT_FOUND.
HWND GetDlgItem(HWND hDlg, int nIDDlgItem);
int GetDlgCtrlID(HWND hWnd);

// The Edit control. It keeps its text as window text, appends each printable character of WM_CHAR
// (bytes 0x20 to 0xFF but 0x7F), removes the last character for a backspace (8), a line end "\r\n" as a
// whole, and adds "\r\n" for a carriage return (13) when it is ES_MULTILINE. It paints its text black on
// white in the font of WM_SETFONT (the system font before one is set), one line per "\r\n", from one
// pixel in from the left edge. There is no caret and no selection.

namespace ondrel::platform {

// Writes a dialog template in the layout above, aligned as CreateDialogIndirectParamA needs it. A
// convenience over raw WORD arrays; the result is a genuine Windows template.
class DialogTemplateWriter {
 public:
  // The header: styles, position and size in dialog units, and with DS_SETFONT the font.
  DialogTemplateWriter(DWORD style, DWORD extendedStyle, short x, short y, short cx, short cy, WORD pointSize,
                       std::u16string_view faceName) {
    Put(LOWORD(style));
    Put(HIWORD(style));
    Put(LOWORD(extendedStyle));
    Put(HIWORD(extendedStyle));
    Put(0);  // the count of controls, set by AddControl
    for (const short value : {x, y, cx, cy}) Put(static_cast<WORD>(value));
    Put(0);  // no menu
    Put(0);  // the predefined dialog class
    Put(0);  // no title
    if ((style & DS_SETFONT) != 0) {
      Put(pointSize);
      PutText(faceName);
    }
  }
  // A control of a predefined class (kDialogClassEdit) with its initial text.
  void AddControl(DWORD style, DWORD extendedStyle, short x, short y, short cx, short cy, WORD id, WORD classOrdinal,
                  std::u16string_view text) {
    if (words_.size() % 2 != 0) Put(0);  // DWORD boundary
    Put(LOWORD(style));
    Put(HIWORD(style));
    Put(LOWORD(extendedStyle));
    Put(HIWORD(extendedStyle));
    for (const short value : {x, y, cx, cy}) Put(static_cast<WORD>(value));
    Put(id);
    Put(0xFFFF);
    Put(classOrdinal);
    PutText(text);
    Put(0);  // no creation data
    ++words_[4];
  }
  LPCDLGTEMPLATEA Get() const { return reinterpret_cast<LPCDLGTEMPLATEA>(words_.data()); }

 private:
  void Put(WORD value) { words_.push_back(value); }
  void PutText(std::u16string_view text) {
    for (const char16_t c : text) Put(static_cast<WORD>(c));
    Put(0);
  }
  std::vector<WORD> words_;  // std::vector's storage is aligned for DWORD, as a template must be
};

}  // namespace ondrel::platform
