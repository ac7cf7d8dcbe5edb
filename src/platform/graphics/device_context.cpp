// Device contexts: over windows and memory bitmaps, their state, and BitBlt.
#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "gdi_objects.h"
#include "graphics_lock.h"
#include "window_table.h"

using namespace ondrel::platform::graphics;

namespace {

HDC NewContext(HWND window, HBITMAP bitmap) {
  ObjectTable& table = ObjectTable::Get();
  DcObject dc;
  dc.window = window;
  dc.bitmap = bitmap;
  dc.pen = static_cast<HPEN>(table.Stock(BLACK_PEN));
  dc.brush = static_cast<HBRUSH>(table.Stock(WHITE_BRUSH));
  dc.font = static_cast<HFONT>(table.Stock(SYSTEM_FONT));
  for (const void* selected : {static_cast<const void*>(dc.pen), static_cast<const void*>(dc.brush),
                               static_cast<const void*>(dc.font), static_cast<const void*>(dc.bitmap)}) {
    if (GdiObject* object = table.Find(selected)) ++object->selections;
  }
  return static_cast<HDC>(table.Add({dc}));
}

DcObject* FindContext(HDC hdc) {
  auto* dc = ObjectTable::Get().Find<DcObject>(hdc);
  if (dc == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return dc;
}

// Copies pixels between surfaces of any formats, through their colours where the formats differ.
void CopyPixels(const Surface& from, int fromX, int fromY, const Surface& to, int toX, int toY, int width, int height) {
  if (from.bitsPerPixel == to.bitsPerPixel && (from.bitsPerPixel != 8 || from.colors.size() == to.colors.size())) {
    const bool sameTable =
        from.bitsPerPixel != 8 ||
        std::equal(from.colors.begin(), from.colors.end(), to.colors.begin(), [](const RGBQUAD& a, const RGBQUAD& b) {
          return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen && a.rgbBlue == b.rgbBlue;
        });
    if (sameTable) {
      const std::size_t bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(from.bitsPerPixel / 8);
      const std::size_t offsetFrom = static_cast<std::size_t>(fromX) * static_cast<std::size_t>(from.bitsPerPixel / 8);
      const std::size_t offsetTo = static_cast<std::size_t>(toX) * static_cast<std::size_t>(to.bitsPerPixel / 8);
      // Rows in the order that never reads a row already overwritten when both are one surface.
      const bool upward = from.top == to.top && toY > fromY;
      for (int i = 0; i < height; ++i) {
        const int row = upward ? height - 1 - i : i;
        std::memmove(to.Row(toY + row) + offsetTo, from.Row(fromY + row) + offsetFrom, bytes);
      }
      return;
    }
  }
  std::unordered_map<std::uint32_t, std::uint32_t> mapped;
  std::vector<std::uint32_t> values(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) values[static_cast<std::size_t>(y * width + x)] = from.Read(fromX + x, fromY + y);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const std::uint32_t value = values[static_cast<std::size_t>(y * width + x)];
      auto it = mapped.find(value);
      if (it == mapped.end()) it = mapped.emplace(value, to.ValueOf(from.ColorOf(value))).first;
      to.Write(toX + x, toY + y, it->second);
    }
  }
}

}  // namespace

HDC GetDC(HWND hWnd) {
  const GraphicsLock lock(GraphicsMutex());
  WindowTable& windows = WindowTable::Get();
  const HWND window = hWnd == nullptr ? windows.Desktop() : hWnd;
  if (FindWindowOrFail(window) == nullptr) return nullptr;
  return NewContext(window, nullptr);
}

int ReleaseDC(HWND hWnd, HDC hDC) {
  const GraphicsLock lock(GraphicsMutex());
  const auto* dc = ObjectTable::Get().Find<DcObject>(hDC);
  const HWND window = hWnd == nullptr ? WindowTable::Get().Desktop() : hWnd;
  if (dc == nullptr || dc->window == nullptr || dc->window != window) return 0;
  FreeContext(hDC);
  return 1;
}

HDC CreateCompatibleDC(HDC hdc) {
  const GraphicsLock lock(GraphicsMutex());
  if (hdc != nullptr && FindContext(hdc) == nullptr) return nullptr;
  return NewContext(nullptr, ObjectTable::Get().DefaultBitmap());
}

BOOL DeleteDC(HDC hdc) {
  const GraphicsLock lock(GraphicsMutex());
  if (FindContext(hdc) == nullptr) return FALSE;
  FreeContext(hdc);
  return TRUE;
}

HWND WindowFromDC(HDC hDC) {
  const GraphicsLock lock(GraphicsMutex());
  const auto* dc = ObjectTable::Get().Find<DcObject>(hDC);
  return dc == nullptr ? nullptr : dc->window;
}

int GetDeviceCaps(HDC hdc, int index) {
  const GraphicsLock lock(GraphicsMutex());
  const DcObject* dc = FindContext(hdc);
  if (dc == nullptr) return 0;
  switch (index) {
    case LOGPIXELSX:
    case LOGPIXELSY:
      return 96;
    case HORZRES:
      return WindowTable::Get().desktopWidth;
    case VERTRES:
      return WindowTable::Get().desktopHeight;
    case BITSPIXEL: {
      const Surface* surface = SurfaceOf(*dc);
      return surface == nullptr || dc->window != nullptr ? 32 : surface->bitsPerPixel;
    }
    case PLANES:
      return 1;
    default:
      return 0;
  }
}

int SetROP2(HDC hdc, int rop2) {
  const GraphicsLock lock(GraphicsMutex());
  DcObject* dc = FindContext(hdc);
  if (dc == nullptr || rop2 < R2_BLACK || rop2 > R2_WHITE) return 0;
  return std::exchange(dc->rop2, rop2);
}

int GetROP2(HDC hdc) {
  const GraphicsLock lock(GraphicsMutex());
  const DcObject* dc = FindContext(hdc);
  return dc == nullptr ? 0 : dc->rop2;
}

COLORREF SetTextColor(HDC hdc, COLORREF color) {
  const GraphicsLock lock(GraphicsMutex());
  DcObject* dc = FindContext(hdc);
  return dc == nullptr ? CLR_INVALID : std::exchange(dc->textColor, color & 0xFFFFFFu);
}

COLORREF SetBkColor(HDC hdc, COLORREF color) {
  const GraphicsLock lock(GraphicsMutex());
  DcObject* dc = FindContext(hdc);
  return dc == nullptr ? CLR_INVALID : std::exchange(dc->backgroundColor, color & 0xFFFFFFu);
}

int SetBkMode(HDC hdc, int mode) {
  const GraphicsLock lock(GraphicsMutex());
  DcObject* dc = FindContext(hdc);
  if (dc == nullptr || (mode != TRANSPARENT && mode != OPAQUE)) return 0;
  return std::exchange(dc->backgroundMode, mode);
}

BOOL BitBlt(HDC hdc, int x, int y, int cx, int cy, HDC hdcSrc, int x1, int y1, DWORD rop) {
  if (rop != SRCCOPY) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const GraphicsLock lock(GraphicsMutex());
  const DcObject* to = FindContext(hdc);
  const DcObject* from = FindContext(hdcSrc);
  if (to == nullptr || from == nullptr) return FALSE;
  const Surface* target = SurfaceOf(*to);
  const Surface* source = SurfaceOf(*from);
  if (target == nullptr || source == nullptr) return FALSE;
  // A window shows its children too: read what it shows.
  OwnedSurface composed;
  if (from->window != nullptr) {
    const Window* window = WindowTable::Get().Find(from->window);
    if (HasVisibleChildren(*window)) {
      ComposeWindow(from->window, composed);
      source = &composed.surface;
    }
  }
  // Clip against both surfaces.
  if (x1 < 0) {
    x -= x1;
    cx += x1;
    x1 = 0;
  }
  if (y1 < 0) {
    y -= y1;
    cy += y1;
    y1 = 0;
  }
  if (x < 0) {
    x1 -= x;
    cx += x;
    x = 0;
  }
  if (y < 0) {
    y1 -= y;
    cy += y;
    y = 0;
  }
  cx = std::min({cx, source->width - x1, target->width - x});
  cy = std::min({cy, source->height - y1, target->height - y});
  if (cx > 0 && cy > 0) CopyPixels(*source, x1, y1, *target, x, y, cx, cy);
  return TRUE;
}
