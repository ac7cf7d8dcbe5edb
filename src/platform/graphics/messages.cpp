// Messages, window procedures and their slots, window text and the keyboard focus.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "graphics_lock.h"
#include "window_calls.h"
#include "window_table.h"

using namespace ondrel::platform::graphics;

namespace ondrel::platform::graphics {

std::string TextOf(HWND window) {
  const GraphicsLock lock(GraphicsMutex());
  const Window* found = WindowTable::Get().Find(window);
  return found == nullptr ? std::string() : found->text;
}

void PaintTree(HWND window) {
  SendMessageA(window, WM_PAINT, 0, 0);
  std::vector<HWND> children;
  {
    const GraphicsLock lock(GraphicsMutex());
    if (const Window* found = WindowTable::Get().Find(window)) children = found->children;
  }
  for (const HWND child : children) PaintTree(child);
}

}  // namespace ondrel::platform::graphics

LRESULT SendMessageA(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam) {
  WNDPROC procedure = nullptr;
  {
    const GraphicsLock lock(GraphicsMutex());
    const Window* window = FindWindowOrFail(hWnd);
    if (window == nullptr) return 0;
    procedure = window->procedure;
  }
  return procedure == nullptr ? 0 : procedure(hWnd, Msg, wParam, lParam);
}

LRESULT CallWindowProcA(WNDPROC lpPrevWndFunc, HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam) {
  return lpPrevWndFunc == nullptr ? 0 : lpPrevWndFunc(hWnd, Msg, wParam, lParam);
}

LRESULT DefWindowProcA(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam) {
  const GraphicsLock lock(GraphicsMutex());
  Window* window = FindWindowOrFail(hWnd);
  if (window == nullptr) return 0;
  switch (Msg) {
    case WM_SETTEXT: {
      const auto* text = reinterpret_cast<const char*>(lParam);
      window->text = text == nullptr ? std::string() : std::string(text);
      return TRUE;
    }
    case WM_GETTEXT: {
      auto* buffer = reinterpret_cast<char*>(lParam);
      if (buffer == nullptr || wParam == 0) return 0;
      const std::size_t count = std::min<std::size_t>(window->text.size(), wParam - 1);
      std::memcpy(buffer, window->text.data(), count);
      buffer[count] = '\0';
      return static_cast<LRESULT>(count);
    }
    case WM_GETTEXTLENGTH:
      return static_cast<LRESULT>(window->text.size());
    default:
      return 0;
  }
}

LONG_PTR SetWindowLongPtrA(HWND hWnd, int nIndex, LONG_PTR dwNewLong) {
  const GraphicsLock lock(GraphicsMutex());
  Window* window = FindWindowOrFail(hWnd);
  if (window == nullptr) return 0;
  const bool dialog = window->windowClass == WindowClass::Dialog;
  switch (nIndex) {
    case GWLP_WNDPROC:
      if (dwNewLong != 0)
        return reinterpret_cast<LONG_PTR>(std::exchange(window->procedure, reinterpret_cast<WNDPROC>(dwNewLong)));
      break;
    case GWLP_USERDATA:
      return std::exchange(window->userData, dwNewLong);
    case GWLP_ID:
      return std::exchange(window->id, static_cast<int>(dwNewLong));
    case DWLP_MSGRESULT:
      if (dialog) return std::exchange(window->dialogResult, dwNewLong);
      break;
    case DWLP_DLGPROC:
      if (dialog)
        return reinterpret_cast<LONG_PTR>(std::exchange(window->dialogProcedure, reinterpret_cast<DLGPROC>(dwNewLong)));
      break;
    case DWLP_USER:
      if (dialog) return std::exchange(window->dialogUser, dwNewLong);
      break;
    default:
      break;
  }
  SetLastError(ERROR_INVALID_INDEX);
  return 0;
}

LONG_PTR GetWindowLongPtrA(HWND hWnd, int nIndex) {
  const GraphicsLock lock(GraphicsMutex());
  const Window* window = FindWindowOrFail(hWnd);
  if (window == nullptr) return 0;
  const bool dialog = window->windowClass == WindowClass::Dialog;
  switch (nIndex) {
    case GWLP_WNDPROC:
      return reinterpret_cast<LONG_PTR>(window->procedure);
    case GWLP_USERDATA:
      return window->userData;
    case GWLP_ID:
      return window->id;
    case DWLP_MSGRESULT:
      if (dialog) return window->dialogResult;
      break;
    case DWLP_DLGPROC:
      if (dialog) return reinterpret_cast<LONG_PTR>(window->dialogProcedure);
      break;
    case DWLP_USER:
      if (dialog) return window->dialogUser;
      break;
    default:
      break;
  }
  SetLastError(ERROR_INVALID_INDEX);
  return 0;
}

BOOL SetWindowTextA(HWND hWnd, LPCSTR lpString) {
  if (!IsWindow(hWnd)) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return FALSE;
  }
  return SendMessageA(hWnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(lpString)) != 0 ? TRUE : FALSE;
}

int GetWindowTextA(HWND hWnd, LPSTR lpString, int nMaxCount) {
  if (lpString == nullptr || nMaxCount <= 0 || !IsWindow(hWnd)) return 0;
  return static_cast<int>(
      SendMessageA(hWnd, WM_GETTEXT, static_cast<WPARAM>(nMaxCount), reinterpret_cast<LPARAM>(lpString)));
}

int GetWindowTextLengthA(HWND hWnd) { return static_cast<int>(SendMessageA(hWnd, WM_GETTEXTLENGTH, 0, 0)); }

HWND SetFocus(HWND hWnd) {
  HWND previous = nullptr;
  {
    const GraphicsLock lock(GraphicsMutex());
    WindowTable& table = WindowTable::Get();
    if (hWnd != nullptr && FindWindowOrFail(hWnd) == nullptr) return nullptr;
    previous = std::exchange(table.focus, hWnd);
  }
  if (previous != hWnd) {
    if (previous != nullptr) SendMessageA(previous, WM_KILLFOCUS, reinterpret_cast<WPARAM>(hWnd), 0);
    if (hWnd != nullptr) SendMessageA(hWnd, WM_SETFOCUS, reinterpret_cast<WPARAM>(previous), 0);
  }
  return previous;
}

HWND GetFocus() {
  const GraphicsLock lock(GraphicsMutex());
  return WindowTable::Get().focus;
}
