// The process-wide table of GDI objects (pens, brushes, fonts, bitmaps, regions and device contexts).
// Handles are numbers given once and never reused while the process runs; stock objects have fixed
// ones. All functions here expect the graphics lock to be held.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <variant>
#include <vector>

#include "ondrel/platform/gdi.h"
#include "pixel_region.h"
#include "surface.h"

namespace ondrel::platform::graphics {

class FontFace;

struct PenObject {
  int style = PS_SOLID;
  int width = 1;  // in pixels, at least 1
  COLORREF color = 0;
};
struct BrushObject {
  bool hollow = false;
  COLORREF color = 0;
};
struct FontObject {
  LOGFONTA logFont{};
  std::shared_ptr<FontFace> face;  // found on first use
};
struct BitmapObject {
  Surface surface;
  std::vector<std::uint8_t> memory;  // the pixels; a DIB section hands out their address
  HDC selectedInto = nullptr;
};
struct RegionObject {
  PixelRegion region;
};
struct DcObject {
  HWND window = nullptr;     // a window's context
  HBITMAP bitmap = nullptr;  // a memory context's bitmap
  HPEN pen = nullptr;
  HBRUSH brush = nullptr;
  HFONT font = nullptr;
  int rop2 = R2_COPYPEN;
  POINT position{0, 0};
  COLORREF textColor = RGB(0, 0, 0);
  COLORREF backgroundColor = RGB(255, 255, 255);
  int backgroundMode = OPAQUE;
};

struct GdiObject {
  std::variant<PenObject, BrushObject, FontObject, BitmapObject, RegionObject, DcObject> data;
  bool stock = false;
  int selections = 0;  // the contexts it is selected into
};

class ObjectTable {
 public:
  static ObjectTable& Get();

  // Adds an object and gives its handle; null when memory runs out.
  void* Add(GdiObject object);
  GdiObject* Find(const void* handle);
  template <class T>
  T* Find(const void* handle) {
    GdiObject* object = Find(handle);
    return object == nullptr ? nullptr : std::get_if<T>(&object->data);
  }
  void Remove(const void* handle);

  HGDIOBJ Stock(int index) const;
  HBITMAP DefaultBitmap() const { return defaultBitmap_; }

  // Every context, for freeing those of a destroyed window.
  std::vector<HDC> ContextsOfWindow(HWND window);

 private:
  ObjectTable();
  std::unordered_map<std::uintptr_t, std::unique_ptr<GdiObject>> objects_;
  std::uintptr_t next_ = 0x1000;  // below are the stock objects
  HBITMAP defaultBitmap_ = nullptr;
};

// The surface a context draws on: the window's pixels or the selected bitmap's; null when the window
// is gone.
const Surface* SurfaceOf(const DcObject& dc);

// Frees a context: deselects its objects and removes it.
void FreeContext(HDC hdc);

// The pen width a context draws lines with (0 for a null pen), its brush's colour, if it fills.
int PenWidthOf(const DcObject& dc);
bool BrushColorOf(const DcObject& dc, COLORREF& color);

}  // namespace ondrel::platform::graphics
