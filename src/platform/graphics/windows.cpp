// Window geometry, the desktop, destruction, and the small integer helpers of user32.
#include <algorithm>
#include <cstdlib>
#include <new>
#include <vector>

#include "gdi_objects.h"
#include "graphics_lock.h"
#include "window_calls.h"
#include "window_table.h"

using namespace ondrel::platform::graphics;

BOOL PtInRect(const RECT* lprc, POINT pt) {
  return lprc != nullptr && pt.x >= lprc->left && pt.x < lprc->right && pt.y >= lprc->top && pt.y < lprc->bottom
             ? TRUE
             : FALSE;
}

int MulDiv(int nNumber, int nNumerator, int nDenominator) {
  if (nDenominator == 0) return -1;
  const std::int64_t product = static_cast<std::int64_t>(nNumber) * nNumerator;
  const std::int64_t magnitude = (std::llabs(product) + std::llabs(nDenominator) / 2) / std::llabs(nDenominator);
  const std::int64_t result = (product < 0) != (nDenominator < 0) ? -magnitude : magnitude;
  return result < INT32_MIN || result > INT32_MAX ? -1 : static_cast<int>(result);
}

BOOL IsWindow(HWND hWnd) {
  const GraphicsLock lock(GraphicsMutex());
  return WindowTable::Get().Find(hWnd) != nullptr ? TRUE : FALSE;
}

BOOL GetClientRect(HWND hWnd, RECT* lpRect) {
  const GraphicsLock lock(GraphicsMutex());
  WindowTable& table = WindowTable::Get();
  const Window* window = FindWindowOrFail(hWnd);
  if (window == nullptr || lpRect == nullptr) return FALSE;
  if (hWnd == table.Desktop()) {
    *lpRect = RECT{0, 0, table.desktopWidth, table.desktopHeight};
  } else {
    *lpRect = RECT{0, 0, window->pixels.surface.width, window->pixels.surface.height};
  }
  return TRUE;
}

BOOL GetWindowRect(HWND hWnd, RECT* lpRect) {
  RECT client{};
  if (lpRect == nullptr || !GetClientRect(hWnd, &client)) return FALSE;
  const GraphicsLock lock(GraphicsMutex());
  const POINT origin = WindowTable::Get().ScreenOrigin(hWnd);
  *lpRect = RECT{origin.x, origin.y, origin.x + client.right, origin.y + client.bottom};
  return TRUE;
}

HWND GetDesktopWindow() {
  const GraphicsLock lock(GraphicsMutex());
  return WindowTable::Get().Desktop();
}

HWND GetParent(HWND hWnd) {
  const GraphicsLock lock(GraphicsMutex());
  const Window* window = FindWindowOrFail(hWnd);
  return window == nullptr ? nullptr : window->parent;
}

BOOL MoveWindow(HWND hWnd, int X, int Y, int nWidth, int nHeight, BOOL bRepaint) {
  nWidth = std::max(nWidth, 0);
  nHeight = std::max(nHeight, 0);
  bool resized = false;
  bool moved = false;
  {
    const GraphicsLock lock(GraphicsMutex());
    Window* window = FindWindowOrFail(hWnd);
    if (window == nullptr || hWnd == WindowTable::Get().Desktop()) return FALSE;
    resized = nWidth != window->pixels.surface.width || nHeight != window->pixels.surface.height;
    moved = X != window->x || Y != window->y;
    if (resized) {
      try {
        window->pixels.Resize(nWidth, nHeight);
      } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
      }
    }
    window->x = X;
    window->y = Y;
  }
  if (resized)
    SendMessageA(hWnd, WM_SIZE, SIZE_RESTORED, MAKELPARAM(static_cast<WORD>(nWidth), static_cast<WORD>(nHeight)));
  if (moved) SendMessageA(hWnd, WM_MOVE, 0, MAKELPARAM(static_cast<WORD>(X), static_cast<WORD>(Y)));
  if (resized || bRepaint) SendMessageA(hWnd, WM_PAINT, 0, 0);
  return TRUE;
}

int MapWindowPoints(HWND hWndFrom, HWND hWndTo, POINT* lpPoints, UINT cPoints) {
  const GraphicsLock lock(GraphicsMutex());
  WindowTable& table = WindowTable::Get();
  if ((hWndFrom != nullptr && FindWindowOrFail(hWndFrom) == nullptr) ||
      (hWndTo != nullptr && FindWindowOrFail(hWndTo) == nullptr))
    return 0;
  const POINT from = table.ScreenOrigin(hWndFrom);
  const POINT to = table.ScreenOrigin(hWndTo);
  const LONG dx = from.x - to.x;
  const LONG dy = from.y - to.y;
  for (UINT i = 0; lpPoints != nullptr && i < cPoints; ++i) {
    lpPoints[i].x += dx;
    lpPoints[i].y += dy;
  }
  return MAKELONG(static_cast<WORD>(dx), static_cast<WORD>(dy));
}

BOOL ScreenToClient(HWND hWnd, POINT* lpPoint) {
  if (hWnd == nullptr || lpPoint == nullptr) return FALSE;
  SetLastError(0);
  return MapWindowPoints(nullptr, hWnd, lpPoint, 1) != 0 || GetLastError() == 0 ? TRUE : FALSE;
}

BOOL ClientToScreen(HWND hWnd, POINT* lpPoint) {
  if (hWnd == nullptr || lpPoint == nullptr) return FALSE;
  SetLastError(0);
  return MapWindowPoints(hWnd, nullptr, lpPoint, 1) != 0 || GetLastError() == 0 ? TRUE : FALSE;
}

BOOL GetCursorPos(LPPOINT lpPoint) {
  if (lpPoint == nullptr) return FALSE;
  const GraphicsLock lock(GraphicsMutex());
  *lpPoint = WindowTable::Get().cursor;
  return TRUE;
}

BOOL DestroyWindow(HWND hWnd) {
  std::vector<HWND> children;
  {
    const GraphicsLock lock(GraphicsMutex());
    Window* window = FindWindowOrFail(hWnd);
    if (window == nullptr || hWnd == WindowTable::Get().Desktop()) return FALSE;
    if (window->destroying) return TRUE;
    window->destroying = true;
  }
  SendMessageA(hWnd, WM_DESTROY, 0, 0);
  {
    const GraphicsLock lock(GraphicsMutex());
    if (const Window* window = WindowTable::Get().Find(hWnd)) children = window->children;
  }
  for (const HWND child : children) DestroyWindow(child);
  SendMessageA(hWnd, WM_NCDESTROY, 0, 0);
  const GraphicsLock lock(GraphicsMutex());
  for (const HDC dc : ObjectTable::Get().ContextsOfWindow(hWnd)) FreeContext(dc);
  WindowTable::Get().Remove(hWnd);
  return TRUE;
}
