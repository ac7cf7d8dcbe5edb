// Device contexts and GDI objects held for a scope: each gives back what it took when the scope ends,
// also when a failure leaves it.
#pragma once

#include "ondrel/platform/gdi.h"

// The context of a window from GetDC, released at the end. Null for an invalid window.
class ScopedWindowDC {
 public:
  explicit ScopedWindowDC(HWND window) : window_(window), dc_(GetDC(window)) {}
  ~ScopedWindowDC() {
    if (dc_ != nullptr) ReleaseDC(window_, dc_);
  }
  ScopedWindowDC(const ScopedWindowDC&) = delete;
  ScopedWindowDC& operator=(const ScopedWindowDC&) = delete;

  HDC Get() const { return dc_; }

 private:
  HWND window_;
  HDC dc_;
};

// A GDI object made for the scope (a pen, a font) and deleted at its end. Declare it before the
// ScopedSelection that selects it, so that the context lets go of it first.
template <class Handle>
class ScopedGdiObject {
 public:
  explicit ScopedGdiObject(Handle object) : object_(object) {}
  ~ScopedGdiObject() {
    if (object_ != nullptr) DeleteObject(object_);
  }
  ScopedGdiObject(const ScopedGdiObject&) = delete;
  ScopedGdiObject& operator=(const ScopedGdiObject&) = delete;

  Handle Get() const { return object_; }

 private:
  Handle object_;
};

// An object selected into a context for the scope; the one it replaced is selected back at the end.
// A null object selects nothing.
class ScopedSelection {
 public:
  ScopedSelection(HDC dc, HGDIOBJ object)
      : dc_(dc), previous_(object != nullptr ? SelectObject(dc, object) : nullptr) {}
  ~ScopedSelection() {
    if (previous_ != nullptr) SelectObject(dc_, previous_);
  }
  ScopedSelection(const ScopedSelection&) = delete;
  ScopedSelection& operator=(const ScopedSelection&) = delete;

 private:
  HDC dc_;
  HGDIOBJ previous_;
};
