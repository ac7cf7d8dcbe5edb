// The GDI object table, stock objects, and the calls that make, select and delete objects.
#include "gdi_objects.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "graphics_lock.h"
#include "window_table.h"

namespace ondrel::platform::graphics {

namespace {

constexpr std::uintptr_t kStockBase = 0x100;
constexpr int kStockCount = DEFAULT_GUI_FONT + 1;
constexpr std::uintptr_t kDefaultBitmapId = kStockBase + kStockCount;

void* HandleOf(std::uintptr_t id) { return reinterpret_cast<void*>(id); }

LOGFONTA StockFont(LONG height, LONG weight, const char* face) {
  LOGFONTA font{};
  font.lfHeight = height;
  font.lfWeight = weight;
  std::strncpy(font.lfFaceName, face, LF_FACESIZE - 1);
  return font;
}

}  // namespace

ObjectTable& ObjectTable::Get() {
  static auto* const table = new ObjectTable();
  return *table;
}

ObjectTable::ObjectTable() {
  const auto stock = [this](int index, GdiObject object) {
    object.stock = true;
    objects_.emplace(kStockBase + static_cast<std::uintptr_t>(index), std::make_unique<GdiObject>(std::move(object)));
  };
  stock(WHITE_BRUSH, {BrushObject{false, RGB(255, 255, 255)}});
  stock(LTGRAY_BRUSH, {BrushObject{false, RGB(192, 192, 192)}});
  stock(GRAY_BRUSH, {BrushObject{false, RGB(128, 128, 128)}});
  stock(DKGRAY_BRUSH, {BrushObject{false, RGB(64, 64, 64)}});
  stock(BLACK_BRUSH, {BrushObject{false, RGB(0, 0, 0)}});
  stock(NULL_BRUSH, {BrushObject{true, 0}});
  stock(WHITE_PEN, {PenObject{PS_SOLID, 1, RGB(255, 255, 255)}});
  stock(BLACK_PEN, {PenObject{PS_SOLID, 1, RGB(0, 0, 0)}});
  stock(NULL_PEN, {PenObject{PS_NULL, 1, 0}});
  stock(ANSI_VAR_FONT, {FontObject{StockFont(-11, FW_NORMAL, "MS Sans Serif"), nullptr}});
  stock(SYSTEM_FONT, {FontObject{StockFont(16, FW_BOLD, "System"), nullptr}});
  stock(DEFAULT_GUI_FONT, {FontObject{StockFont(-11, FW_NORMAL, "MS Shell Dlg"), nullptr}});
  // The one-pixel bitmap of a new memory context; it may be in any number of contexts at once.
  GdiObject bitmap{BitmapObject{}};
  bitmap.stock = true;
  auto& object = std::get<BitmapObject>(bitmap.data);
  object.memory.assign(4, 0);
  object.surface = Surface{1, 1, 32, 4, object.memory.data(), {}};
  auto owned = std::make_unique<GdiObject>(std::move(bitmap));
  auto& placed = std::get<BitmapObject>(owned->data);
  placed.surface.top = placed.memory.data();
  objects_.emplace(kDefaultBitmapId, std::move(owned));
  defaultBitmap_ = static_cast<HBITMAP>(HandleOf(kDefaultBitmapId));
}

void* ObjectTable::Add(GdiObject object) {
  try {
    while (objects_.count(next_) != 0) ++next_;
    const std::uintptr_t id = next_++;
    objects_.emplace(id, std::make_unique<GdiObject>(std::move(object)));
    return HandleOf(id);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

GdiObject* ObjectTable::Find(const void* handle) {
  const auto it = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
  return it == objects_.end() ? nullptr : it->second.get();
}

void ObjectTable::Remove(const void* handle) { objects_.erase(reinterpret_cast<std::uintptr_t>(handle)); }

HGDIOBJ ObjectTable::Stock(int index) const {
  const auto it = objects_.find(kStockBase + static_cast<std::uintptr_t>(index));
  return index < 0 || index >= kStockCount || it == objects_.end() ? nullptr : HandleOf(it->first);
}

std::vector<HDC> ObjectTable::ContextsOfWindow(HWND window) {
  std::vector<HDC> contexts;
  for (const auto& [id, object] : objects_) {
    const auto* dc = std::get_if<DcObject>(&object->data);
    if (dc != nullptr && dc->window == window) contexts.push_back(static_cast<HDC>(HandleOf(id)));
  }
  return contexts;
}

const Surface* SurfaceOf(const DcObject& dc) {
  if (dc.bitmap != nullptr) {
    const auto* bitmap = ObjectTable::Get().Find<BitmapObject>(dc.bitmap);
    return bitmap == nullptr ? nullptr : &bitmap->surface;
  }
  const Window* window = WindowTable::Get().Find(dc.window);
  return window == nullptr ? nullptr : &window->pixels.surface;
}

void FreeContext(HDC hdc) {
  ObjectTable& table = ObjectTable::Get();
  const auto* dc = table.Find<DcObject>(hdc);
  if (dc == nullptr) return;
  for (const void* selected : {static_cast<const void*>(dc->pen), static_cast<const void*>(dc->brush),
                               static_cast<const void*>(dc->font), static_cast<const void*>(dc->bitmap)}) {
    if (GdiObject* object = table.Find(selected)) {
      --object->selections;
      if (auto* bitmap = std::get_if<BitmapObject>(&object->data); bitmap != nullptr && bitmap->selectedInto == hdc)
        bitmap->selectedInto = nullptr;
    }
  }
  table.Remove(hdc);
}

int PenWidthOf(const DcObject& dc) {
  const auto* pen = ObjectTable::Get().Find<PenObject>(dc.pen);
  return pen == nullptr || pen->style == PS_NULL ? 0 : pen->width;
}

bool BrushColorOf(const DcObject& dc, COLORREF& color) {
  const auto* brush = ObjectTable::Get().Find<BrushObject>(dc.brush);
  if (brush == nullptr || brush->hollow) return false;
  color = brush->color;
  return true;
}

}  // namespace ondrel::platform::graphics

using namespace ondrel::platform::graphics;

HGDIOBJ GetStockObject(int i) {
  const GraphicsLock lock(GraphicsMutex());
  return ObjectTable::Get().Stock(i);
}

HPEN CreatePen(int iStyle, int cWidth, COLORREF color) {
  if (iStyle != PS_SOLID && iStyle != PS_NULL) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const GraphicsLock lock(GraphicsMutex());
  return static_cast<HPEN>(ObjectTable::Get().Add({PenObject{iStyle, std::max(cWidth, 1), color & 0xFFFFFFu}}));
}

HBRUSH CreateSolidBrush(COLORREF color) {
  const GraphicsLock lock(GraphicsMutex());
  return static_cast<HBRUSH>(ObjectTable::Get().Add({BrushObject{false, color & 0xFFFFFFu}}));
}

HFONT CreateFontIndirectA(const LOGFONTA* lplf) {
  if (lplf == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  FontObject font{*lplf, nullptr};
  font.logFont.lfFaceName[LF_FACESIZE - 1] = '\0';
  const GraphicsLock lock(GraphicsMutex());
  return static_cast<HFONT>(ObjectTable::Get().Add({std::move(font)}));
}

HBITMAP CreateCompatibleBitmap(HDC /*hdc*/, int cx, int cy) {
  if (cx < 0 || cy < 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const GraphicsLock lock(GraphicsMutex());
  if (cx == 0 || cy == 0) return ObjectTable::Get().DefaultBitmap();
  try {
    OwnedSurface pixels;
    pixels.Allocate(cx, cy);
    BitmapObject bitmap{pixels.surface, std::move(pixels.memory), nullptr};
    bitmap.surface.top = bitmap.memory.data();
    GdiObject object{std::move(bitmap)};
    // The vector moved into the table keeps its buffer, so the surface still points at it.
    return static_cast<HBITMAP>(ObjectTable::Get().Add(std::move(object)));
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
}

HBITMAP CreateDIBSection(HDC /*hdc*/, const BITMAPINFO* pbmi, UINT usage, void** ppvBits, HANDLE hSection,
                         DWORD /*offset*/) {
  if (ppvBits != nullptr) *ppvBits = nullptr;
  if (pbmi == nullptr || usage != DIB_RGB_COLORS || hSection != nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const BITMAPINFOHEADER& header = pbmi->bmiHeader;
  const int bits = header.biBitCount;
  const bool valid = header.biSize >= sizeof(BITMAPINFOHEADER) && header.biPlanes == 1 &&
                     header.biCompression == BI_RGB && (bits == 8 || bits == 24 || bits == 32) && header.biWidth > 0 &&
                     header.biHeight != 0 && header.biHeight != INT32_MIN && header.biClrUsed <= 256;
  if (!valid) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const int width = header.biWidth;
  const int height = header.biHeight > 0 ? header.biHeight : -header.biHeight;
  const std::ptrdiff_t stride = DibStride(width, bits);
  try {
    BitmapObject bitmap;
    bitmap.memory.assign(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height), 0);
    bitmap.surface.width = width;
    bitmap.surface.height = height;
    bitmap.surface.bitsPerPixel = bits;
    if (header.biHeight > 0) {
      bitmap.surface.stride = -stride;
      bitmap.surface.top = bitmap.memory.data() + stride * (height - 1);
    } else {
      bitmap.surface.stride = stride;
      bitmap.surface.top = bitmap.memory.data();
    }
    if (bits == 8) {
      const std::size_t count = header.biClrUsed == 0 ? 256 : header.biClrUsed;
      const auto* table = reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const BYTE*>(pbmi) + header.biSize);
      bitmap.surface.colors.assign(table, table + count);
    }
    void* const memory = bitmap.memory.data();
    const GraphicsLock lock(GraphicsMutex());
    const auto handle = static_cast<HBITMAP>(ObjectTable::Get().Add({std::move(bitmap)}));
    if (handle != nullptr && ppvBits != nullptr) *ppvBits = memory;
    return handle;
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
}

BOOL DeleteObject(HGDIOBJ ho) {
  const GraphicsLock lock(GraphicsMutex());
  ObjectTable& table = ObjectTable::Get();
  GdiObject* object = table.Find(ho);
  if (object == nullptr || std::holds_alternative<DcObject>(object->data)) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (object->stock) return TRUE;
  if (object->selections > 0) return FALSE;
  table.Remove(ho);
  return TRUE;
}

HGDIOBJ SelectObject(HDC hdc, HGDIOBJ h) {
  const GraphicsLock lock(GraphicsMutex());
  ObjectTable& table = ObjectTable::Get();
  auto* dc = table.Find<DcObject>(hdc);
  GdiObject* object = table.Find(h);
  if (dc == nullptr || object == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  void** slot = nullptr;
  if (std::holds_alternative<PenObject>(object->data)) {
    slot = reinterpret_cast<void**>(&dc->pen);
  } else if (std::holds_alternative<BrushObject>(object->data)) {
    slot = reinterpret_cast<void**>(&dc->brush);
  } else if (std::holds_alternative<FontObject>(object->data)) {
    slot = reinterpret_cast<void**>(&dc->font);
  } else if (auto* bitmap = std::get_if<BitmapObject>(&object->data)) {
    // Only memory contexts hold bitmaps, and an ordinary bitmap one context at a time.
    if (dc->window != nullptr || (!object->stock && bitmap->selectedInto != nullptr && bitmap->selectedInto != hdc)) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return nullptr;
    }
    if (auto* old = table.Find<BitmapObject>(dc->bitmap); old != nullptr && old->selectedInto == hdc)
      old->selectedInto = nullptr;
    if (!object->stock) bitmap->selectedInto = hdc;
    slot = reinterpret_cast<void**>(&dc->bitmap);
  } else {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  void* const previous = *slot;
  if (previous == h) return previous;
  if (GdiObject* old = table.Find(previous)) --old->selections;
  ++object->selections;
  *slot = h;
  return previous;
}
