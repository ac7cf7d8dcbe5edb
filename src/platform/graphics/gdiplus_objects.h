// The objects behind the GDI+ flat API and the registry that checks them. All functions here expect
// the graphics lock to be held.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

#include "ondrel/platform/gdiplus.h"
#include "picture/picture.h"
#include "pixel_region.h"
#include "surface.h"

namespace ondrel::platform::graphics {

namespace picture = ondrel::platform::picture;

struct BitmapImage final : Gdiplus::GpBitmap {
  picture::Picture picture;
  Gdiplus::Status error = Gdiplus::Ok;  // not Ok for a bitmap whose file could not be read
  // A 32bppARGB copy for formats that drawing and locking do not read directly; made on first need.
  std::optional<picture::Picture> converted;
  // The lock in force, if any.
  bool locked = false;
  Gdiplus::Rect lockRect;
  UINT lockFlags = 0;
  Gdiplus::PixelFormat lockFormat = 0;
  std::vector<std::uint8_t> lockBuffer;
};

struct GraphicsTarget final : Gdiplus::GpGraphics {
  HWND window = nullptr;
  HDC dc = nullptr;
};

struct RegionShape final : Gdiplus::GpRegion {
  PixelRegion pixels;
};

struct SolidBrush final : Gdiplus::GpSolidFill {
  Gdiplus::ARGB color = 0;
};

struct PenShape final : Gdiplus::GpPen {
  Gdiplus::ARGB color = 0;
  Gdiplus::REAL width = 1;
  Gdiplus::DashStyle dash = Gdiplus::DashStyleSolid;
};

// Live objects by kind, so that a stale or made-up pointer answers InvalidParameter.
struct GdiplusRegistry {
  static GdiplusRegistry& Get();
  int startups = 0;
  std::unordered_set<ULONG_PTR> tokens;
  ULONG_PTR nextToken = 1;
  std::unordered_set<const void*> images;
  std::unordered_set<const void*> graphics;
  std::unordered_set<const void*> regions;
  std::unordered_set<const void*> brushes;
  std::unordered_set<const void*> pens;
};

bool GdiplusStarted();

// The registered object behind a pointer, or null.
BitmapImage* FindImage(Gdiplus::GpImage* image);
GraphicsTarget* FindGraphics(Gdiplus::GpGraphics* graphics);
RegionShape* FindRegion(Gdiplus::GpRegion* region);
SolidBrush* FindBrush(Gdiplus::GpBrush* brush);
PenShape* FindPen(Gdiplus::GpPen* pen);

// The surface a graphics object draws on when called; null when its window or context is gone.
const Surface* SurfaceOf(const GraphicsTarget& target);

// Whether a format is read pixel by pixel by ReadArgb; others go through picture's conversion first.
bool IsDirectFormat(std::uint32_t format);
// The picture drawing and locking read: the bitmap's own, or its 32bppARGB copy (none when the copy fails).
const picture::Picture* ReadablePicture(BitmapImage& image);
// Pixel x of a row of a picture in a direct format as 0xAARRGGBB, not premultiplied.
std::uint32_t ReadArgb(const picture::Picture& picture, const std::uint8_t* row, int x);
std::uint32_t Premultiply(std::uint32_t argb);

}  // namespace ondrel::platform::graphics
