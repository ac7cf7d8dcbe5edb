// The host side of windows: top-level windows, reading what they show, typing, the desktop size.
#include "ondrel/platform/host_window.h"

#include <memory>
#include <new>

#include "graphics_lock.h"
#include "window_table.h"

namespace ondrel::platform {

using namespace graphics;

HWND CreateHostWindow(int width, int height) {
  if (width < 0 || height < 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto window = std::make_unique<Window>();
  window->windowClass = WindowClass::Host;
  window->style = WS_POPUP | WS_VISIBLE;
  window->procedure = DefWindowProcA;
  try {
    window->pixels.Allocate(width, height);
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  const GraphicsLock lock(GraphicsMutex());
  return WindowTable::Get().Add(std::move(window));
}

namespace {

// The screen position of a top-level host window, or false.
bool TopLevelPosition(HWND window, POINT& position) {
  const GraphicsLock lock(GraphicsMutex());
  const Window* found = FindWindowOrFail(window);
  if (found == nullptr || found->parent != nullptr || found->windowClass == WindowClass::Desktop) return false;
  position = POINT{found->x, found->y};
  return true;
}

}  // namespace

bool ResizeHostWindow(HWND window, int width, int height) {
  POINT position{};
  if (width < 0 || height < 0 || !TopLevelPosition(window, position)) return false;
  return MoveWindow(window, position.x, position.y, width, height, TRUE) != FALSE;
}

bool SetHostWindowPosition(HWND window, int x, int y) {
  POINT position{};
  RECT client{};
  if (!TopLevelPosition(window, position) || !GetClientRect(window, &client)) return false;
  return MoveWindow(window, x, y, client.right, client.bottom, FALSE) != FALSE;
}

bool ReadWindowPixels(HWND window, WindowPixels& pixels) {
  const GraphicsLock lock(GraphicsMutex());
  if (FindWindowOrFail(window) == nullptr) return false;
  try {
    OwnedSurface composed;
    ComposeWindow(window, composed);
    pixels.width = composed.surface.width;
    pixels.height = composed.surface.height;
    pixels.bgra = std::move(composed.memory);
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t i = 3; i < pixels.bgra.size(); i += 4) pixels.bgra[i] = 255;
  return true;
}

bool DeliverCharacter(HWND window, char character) {
  if (!IsWindow(window)) return false;
  SendMessageA(window, WM_CHAR, static_cast<unsigned char>(character), 1);
  return true;
}

bool DeliverCharacterToFocus(HWND topLevel, char character) {
  HWND focus = nullptr;
  {
    const GraphicsLock lock(GraphicsMutex());
    focus = WindowTable::Get().focus;
    if (focus == nullptr || !IsSameOrDescendant(focus, topLevel)) return false;
  }
  return DeliverCharacter(focus, character);
}

bool MoveHostCursor(HWND window, POINT clientPoint) {
  if (ClientToScreen(window, &clientPoint) == FALSE) return false;
  const GraphicsLock lock(GraphicsMutex());
  WindowTable::Get().cursor = clientPoint;
  return true;
}

bool SetDesktopSize(int width, int height) {
  if (width <= 0 || height <= 0) return false;
  const GraphicsLock lock(GraphicsMutex());
  WindowTable::Get().desktopWidth = width;
  WindowTable::Get().desktopHeight = height;
  return true;
}

}  // namespace ondrel::platform
