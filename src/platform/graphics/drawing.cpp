// Lines, shapes and regions on device contexts: the raster geometry of raster.cpp painted with the
// context's pen and brush under its mix mode.
#include <utility>
#include <vector>

#include "gdi_objects.h"
#include "graphics_lock.h"
#include "raster.h"

using namespace ondrel::platform::graphics;

namespace {

// A context and the surface it draws on, or nothing with the last error set.
struct Target {
  DcObject* dc = nullptr;
  const Surface* surface = nullptr;
  explicit operator bool() const { return surface != nullptr; }
  Box Clip() const { return Box{0, 0, surface->width, surface->height}; }
};

Target FindTarget(HDC hdc) {
  Target target;
  target.dc = ObjectTable::Get().Find<DcObject>(hdc);
  if (target.dc != nullptr) target.surface = SurfaceOf(*target.dc);
  if (target.surface == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return target;
}

void PaintWithPen(const Target& target, const PixelRegion& pixels) {
  const auto* pen = ObjectTable::Get().Find<PenObject>(target.dc->pen);
  if (pen == nullptr || pen->style == PS_NULL) return;
  PaintRegion(*target.surface, pixels, target.surface->ValueOf(pen->color), target.dc->rop2);
}

void PaintShape(const Target& target, const ShapePixels& shape) {
  PaintWithPen(target, shape.outline);
  COLORREF color = 0;
  if (BrushColorOf(*target.dc, color))
    PaintRegion(*target.surface, shape.fill, target.surface->ValueOf(color), target.dc->rop2);
}

int KindOf(const PixelRegion& region) {
  if (region.Empty()) return NULLREGION;
  return region.IsBox() ? SIMPLEREGION : COMPLEXREGION;
}

RegionObject* FindRegion(HRGN hrgn) {
  auto* region = ObjectTable::Get().Find<RegionObject>(hrgn);
  if (region == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return region;
}

}  // namespace

BOOL MoveToEx(HDC hdc, int x, int y, POINT* lppt) {
  const GraphicsLock lock(GraphicsMutex());
  auto* dc = ObjectTable::Get().Find<DcObject>(hdc);
  if (dc == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  const POINT previous = std::exchange(dc->position, POINT{x, y});
  if (lppt != nullptr) *lppt = previous;
  return TRUE;
}

BOOL LineTo(HDC hdc, int x, int y) {
  const GraphicsLock lock(GraphicsMutex());
  const Target target = FindTarget(hdc);
  if (!target) return FALSE;
  const POINT from = std::exchange(target.dc->position, POINT{x, y});
  const int width = PenWidthOf(*target.dc);
  if (width == 0) return TRUE;
  RegionBuilder pixels;
  AddLine(pixels, from.x, from.y, x, y, width, target.Clip());
  PaintWithPen(target, pixels.Build());
  return TRUE;
}

BOOL Polyline(HDC hdc, const POINT* apt, int cpt) {
  if (apt == nullptr || cpt < 2) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const GraphicsLock lock(GraphicsMutex());
  const Target target = FindTarget(hdc);
  if (!target) return FALSE;
  const int width = PenWidthOf(*target.dc);
  if (width == 0) return TRUE;
  // One builder for all segments: their union is painted once.
  RegionBuilder pixels;
  for (int i = 0; i + 1 < cpt; ++i)
    AddLine(pixels, apt[i].x, apt[i].y, apt[i + 1].x, apt[i + 1].y, width, target.Clip());
  PaintWithPen(target, pixels.Build());
  return TRUE;
}

BOOL Rectangle(HDC hdc, int left, int top, int right, int bottom) {
  const GraphicsLock lock(GraphicsMutex());
  const Target target = FindTarget(hdc);
  if (!target) return FALSE;
  PaintShape(target, RectanglePixels(left, top, right, bottom, PenWidthOf(*target.dc)));
  return TRUE;
}

BOOL Ellipse(HDC hdc, int left, int top, int right, int bottom) {
  const GraphicsLock lock(GraphicsMutex());
  const Target target = FindTarget(hdc);
  if (!target) return FALSE;
  PaintShape(target, EllipsePixels(left, top, right, bottom, PenWidthOf(*target.dc), target.Clip()));
  return TRUE;
}

HRGN CreateRectRgn(int x1, int y1, int x2, int y2) {
  if (x1 > x2) std::swap(x1, x2);
  if (y1 > y2) std::swap(y1, y2);
  const GraphicsLock lock(GraphicsMutex());
  return static_cast<HRGN>(ObjectTable::Get().Add({RegionObject{PixelRegion::FromBox(x1, y1, x2, y2)}}));
}

HRGN CreatePolygonRgn(const POINT* pptl, int cPoint, int iMode) {
  if (pptl == nullptr || cPoint < 2 || (iMode != ALTERNATE && iMode != WINDING)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  PixelRegion area = PolygonArea(std::vector<POINT>(pptl, pptl + cPoint), iMode == WINDING);
  const GraphicsLock lock(GraphicsMutex());
  return static_cast<HRGN>(ObjectTable::Get().Add({RegionObject{std::move(area)}}));
}

int CombineRgn(HRGN hrgnDst, HRGN hrgnSrc1, HRGN hrgnSrc2, int iMode) {
  const GraphicsLock lock(GraphicsMutex());
  RegionObject* target = FindRegion(hrgnDst);
  const RegionObject* first = FindRegion(hrgnSrc1);
  if (target == nullptr || first == nullptr) return ERROR;
  if (iMode == RGN_COPY) {
    target->region = first->region;
    return KindOf(target->region);
  }
  const RegionObject* second = FindRegion(hrgnSrc2);
  if (second == nullptr) return ERROR;
  RegionOp op = RegionOp::And;
  switch (iMode) {
    case RGN_AND:
      op = RegionOp::And;
      break;
    case RGN_OR:
      op = RegionOp::Or;
      break;
    case RGN_XOR:
      op = RegionOp::Xor;
      break;
    case RGN_DIFF:
      op = RegionOp::Diff;
      break;
    default:
      SetLastError(ERROR_INVALID_PARAMETER);
      return ERROR;
  }
  target->region = Combine(first->region, second->region, op);
  return KindOf(target->region);
}

BOOL PtInRegion(HRGN hrgn, int x, int y) {
  const GraphicsLock lock(GraphicsMutex());
  const RegionObject* region = FindRegion(hrgn);
  return region != nullptr && region->region.Contains(x, y) ? TRUE : FALSE;
}

int GetRgnBox(HRGN hrgn, RECT* lprect) {
  const GraphicsLock lock(GraphicsMutex());
  const RegionObject* region = FindRegion(hrgn);
  if (region == nullptr || lprect == nullptr) return ERROR;
  const Box box = region->region.Bounds();
  *lprect = RECT{box.left, box.top, box.right, box.bottom};
  return KindOf(region->region);
}

BOOL FillRgn(HDC hdc, HRGN hrgn, HBRUSH hbr) {
  const GraphicsLock lock(GraphicsMutex());
  const Target target = FindTarget(hdc);
  const RegionObject* region = FindRegion(hrgn);
  const auto* brush = ObjectTable::Get().Find<BrushObject>(hbr);
  if (!target || region == nullptr || brush == nullptr) return FALSE;
  if (!brush->hollow)
    PaintRegion(*target.surface, region->region, target.surface->ValueOf(brush->color), target.dc->rop2);
  return TRUE;
}
