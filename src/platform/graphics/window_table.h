// The process-wide window table. A window is a record with its own 32-bit surface; its handle is a
// number given once and never reused while the process runs, so a stale handle stays invalid. All
// functions here expect the graphics lock to be held.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ondrel/platform/gdi.h"
#include "surface.h"

namespace ondrel::platform::graphics {

enum class WindowClass { Desktop, Host, Dialog, Edit };

struct Window {
  WindowClass windowClass = WindowClass::Host;
  HWND parent = nullptr;
  std::vector<HWND> children;  // in creation order; later ones are painted over earlier ones
  int x = 0;                   // in the parent's client area, or on the screen for a top-level window
  int y = 0;
  OwnedSurface pixels;
  DWORD style = 0;
  DWORD extendedStyle = 0;
  int id = 0;
  std::string text;  // Windows-1252
  WNDPROC procedure = nullptr;
  LONG_PTR userData = 0;
  HFONT font = nullptr;          // of a dialog or an edit control
  HFONT templateFont = nullptr;  // the font a dialog made from its template, deleted with it
  bool destroying = false;
  DLGPROC dialogProcedure = nullptr;
  LONG_PTR dialogResult = 0;
  LONG_PTR dialogUser = 0;
};

class WindowTable {
 public:
  static WindowTable& Get();

  // Adds a window, linking it to its parent's children; null when memory runs out.
  HWND Add(std::unique_ptr<Window> window);
  Window* Find(HWND handle);
  // Unlinks a window from its parent and frees it; its children must be gone already.
  void Remove(HWND handle);

  HWND Desktop() const { return desktop_; }
  HWND focus = nullptr;
  int desktopWidth = 1920;
  int desktopHeight = 1080;
  POINT cursor{0, 0};  // in screen coordinates

  // The screen position of a window's client origin.
  POINT ScreenOrigin(HWND handle);

 private:
  WindowTable();
  std::unordered_map<std::uint32_t, std::unique_ptr<Window>> windows_;
  std::uint32_t next_ = 1;
  HWND desktop_ = nullptr;
};

// The live window of a handle, with the last error set to ERROR_INVALID_WINDOW_HANDLE when there is
// none.
Window* FindWindowOrFail(HWND handle);

// Whether `handle` is `ancestor` or lies below it.
bool IsSameOrDescendant(HWND handle, HWND ancestor);

// What a window shows: its pixels with its visible children painted over them, recursively.
void ComposeWindow(HWND handle, OwnedSurface& out);
// Whether a window has a visible child, i.e. whether what it shows differs from its own pixels.
bool HasVisibleChildren(const Window& window);

}  // namespace ondrel::platform::graphics
