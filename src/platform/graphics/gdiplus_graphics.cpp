// GDI+ graphics over windows and device contexts: regions, solid brushes, pens, and the drawing calls
// (region fill, rectangle outline, bilinear image stretch).
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "gdi_objects.h"
#include "gdiplus_objects.h"
#include "graphics_lock.h"
#include "grey_mix.h"
#include "raster.h"
#include "window_table.h"

using namespace ondrel::platform::graphics;
using namespace Gdiplus;

namespace {

template <class T, class Base>
GpStatus RegisterObject(std::unordered_set<const void*>& live, std::unique_ptr<T> object, Base** out) {
  try {
    live.insert(object.get());
  } catch (const std::bad_alloc&) {
    return OutOfMemory;
  }
  *out = object.release();
  return Ok;
}

// Straight-alpha colour `argb` over one pixel.
void BlendPixel(const Surface& surface, int x, int y, std::uint32_t argb) {
  const std::uint32_t a = argb >> 24;
  const COLORREF below = surface.ColorOf(surface.Read(x, y));
  const auto mix = [&](std::uint32_t top, std::uint32_t bottom) {
    return static_cast<BYTE>((top * a + bottom * (255 - a) + 127) / 255);
  };
  surface.Write(x, y,
                surface.ValueOf(RGB(mix((argb >> 16) & 0xFF, GetRValue(below)),
                                    mix((argb >> 8) & 0xFF, GetGValue(below)), mix(argb & 0xFF, GetBValue(below)))));
}

// Paints a set of pixels with a straight-alpha colour.
void FillPixels(const Surface& surface, const PixelRegion& pixels, ARGB color) {
  const std::uint32_t a = color >> 24;
  if (a == 0) return;
  if (a == 255) {
    const COLORREF rgb = RGB(static_cast<BYTE>(color >> 16), static_cast<BYTE>(color >> 8), static_cast<BYTE>(color));
    PaintRegion(surface, pixels, surface.ValueOf(rgb), R2_COPYPEN);
    return;
  }
  pixels.ForEachSpan([&](int y, int left, int right) {
    if (y < 0 || y >= surface.height) return;
    for (int x = std::max(left, 0); x < std::min(right, surface.width); ++x) BlendPixel(surface, x, y, color);
  });
}

// Premultiplied 0xAARRGGBB pixels a and b mixed with weight f/256 of b, two channels per multiply.
inline std::uint32_t Lerp(std::uint32_t a, std::uint32_t b, std::uint32_t f) {
  const std::uint32_t g = 256 - f;
  const std::uint32_t rb = ((((a & 0x00FF00FFu) * g + (b & 0x00FF00FFu) * f + 0x00800080u) >> 8) & 0x00FF00FFu);
  const std::uint32_t ag = ((((a >> 8) & 0x00FF00FFu) * g + ((b >> 8) & 0x00FF00FFu) * f + 0x00800080u) & 0xFF00FF00u);
  return rb | ag;
}

// Where destination pixel i of `size` samples the source of `sourceSize` pixels: the pair of source
// pixels around the point under its centre and the weight of the second, in 256ths. At equal sizes the
// point is the pixel itself, with weight 0.
Tap TapFor(int i, int size, int sourceSize) {
  const std::int64_t position =
      (2 * static_cast<std::int64_t>(i) + 1) * sourceSize * 65536 / (2 * static_cast<std::int64_t>(size)) - 32768;
  if (position <= 0) return {0, 0, 0};
  const int first = static_cast<int>(position >> 16);
  if (first >= sourceSize - 1) return {sourceSize - 1, sourceSize - 1, 0};
  return {first, first + 1, static_cast<std::uint32_t>((position >> 8) & 0xFF)};
}

struct Fetch8 {
  const std::array<std::uint32_t, 256>* palette;
  std::uint32_t operator()(const std::uint8_t* row, int x) const { return (*palette)[row[x]]; }
};
struct Fetch24 {
  std::uint32_t operator()(const std::uint8_t* row, int x) const {
    const std::uint8_t* p = row + 3 * x;
    return 0xFF000000u | static_cast<std::uint32_t>(p[2] << 16 | p[1] << 8 | p[0]);
  }
};
struct Fetch32 {
  std::uint32_t format;
  std::uint32_t operator()(const std::uint8_t* row, int x) const {
    std::uint32_t value;
    std::memcpy(&value, row + 4 * x, 4);
    if (format == picture::kFormat32bppRGB) return value | 0xFF000000u;
    return format == picture::kFormat32bppARGB ? Premultiply(value) : value;
  }
};

// Source rows interpolated across: each destination row mixes two of them, and neighbouring
// destination rows mostly mix the same two, so each is made once, by `makeLine(row, line)`, and kept
// while it is needed.
template <typename Value, class MakeLine>
class HorizontalLines {
 public:
  HorizontalLines(std::size_t width, MakeLine makeLine) : makeLine_(std::move(makeLine)) {
    for (std::vector<Value>& line : lines_) line.resize(width);
  }

  // The lines of source rows `upper` and `lower` (which may be the same row).
  std::pair<const Value*, const Value*> Pair(int upper, int lower) {
    const int upperSlot = SlotOf(upper, rows_[0] == lower ? 1 : 0);
    const int lowerSlot = SlotOf(lower, upperSlot == 0 ? 1 : 0);
    return {lines_[static_cast<std::size_t>(upperSlot)].data(), lines_[static_cast<std::size_t>(lowerSlot)].data()};
  }

 private:
  // The slot holding `row`, else `spare` filled with it.
  int SlotOf(int row, int spare) {
    if (rows_[0] == row) return 0;
    if (rows_[1] == row) return 1;
    makeLine_(row, lines_[static_cast<std::size_t>(spare)].data());
    rows_[static_cast<std::size_t>(spare)] = row;
    return spare;
  }

  MakeLine makeLine_;
  std::array<std::vector<Value>, 2> lines_;
  std::array<int, 2> rows_{-1, -1};
};

// The destination pixels a stretch to `target` writes on the surface, and the source columns each
// of them mixes; none when the target lies off the surface.
struct StretchArea {
  int left = 0;
  int right = 0;
  int top = 0;
  int bottom = 0;
  std::vector<Tap> columns;
};

std::optional<StretchArea> AreaOf(const picture::Picture& source, const Surface& surface, Rect target) {
  StretchArea area;
  area.left = std::max(target.X, 0);
  area.right =
      static_cast<int>(std::min<std::int64_t>(static_cast<std::int64_t>(target.X) + target.Width, surface.width));
  area.top = std::max(target.Y, 0);
  area.bottom =
      static_cast<int>(std::min<std::int64_t>(static_cast<std::int64_t>(target.Y) + target.Height, surface.height));
  if (area.left >= area.right || area.top >= area.bottom) return {};
  area.columns.resize(static_cast<std::size_t>(area.right - area.left));
  for (int x = area.left; x < area.right; ++x)
    area.columns[static_cast<std::size_t>(x - area.left)] = TapFor(x - target.X, target.Width, source.width);
  return area;
}

const std::uint8_t* RowOf(const picture::Picture& source, int row) {
  return source.bits.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(source.stride);
}

// The bilinear stretch of the whole picture to the destination rectangle, clipped to the surface.
template <class Fetch>
void Stretch(const picture::Picture& source, const Fetch& fetch, bool opaque, const Surface& surface, Rect target) {
  const std::optional<StretchArea> area = AreaOf(source, surface, target);
  if (!area) return;
  const std::vector<Tap>& columns = area->columns;
  const int left = area->left;
  const int right = area->right;
  const auto makeLine = [&](int row, std::uint32_t* line) {
    const std::uint8_t* bits = RowOf(source, row);
    for (std::size_t i = 0; i < columns.size(); ++i)
      line[i] = Lerp(fetch(bits, columns[i].first), fetch(bits, columns[i].second), columns[i].weight);
  };
  HorizontalLines<std::uint32_t, decltype(makeLine)> lines(columns.size(), makeLine);
  for (int y = area->top; y < area->bottom; ++y) {
    const Tap row = TapFor(y - target.Y, target.Height, source.height);
    const std::pair<const std::uint32_t*, const std::uint32_t*> pair = lines.Pair(row.first, row.second);
    const std::uint32_t* upper = pair.first;
    const std::uint32_t* lower = pair.second;
    const auto sample = [&](int x) {
      const std::size_t i = static_cast<std::size_t>(x - left);
      return Lerp(upper[i], lower[i], row.weight);
    };
    if (opaque && surface.bitsPerPixel == 32) {
      // The common case: an opaque picture on a window, stored as it comes.
      auto* out = reinterpret_cast<std::uint32_t*>(surface.Row(y)) + left;
      const std::size_t count = columns.size();
      for (std::size_t i = 0; i < count; ++i) out[i] = Lerp(upper[i], lower[i], row.weight) & 0x00FFFFFFu;
      continue;
    }
    for (int x = left; x < right; ++x) {
      const std::uint32_t pixel = sample(x);
      const std::uint32_t a = pixel >> 24;
      if (a == 0) continue;
      if (a == 255) {
        surface.Write(x, y,
                      surface.ValueOf(RGB(static_cast<BYTE>(pixel >> 16), static_cast<BYTE>(pixel >> 8),
                                          static_cast<BYTE>(pixel))));
        continue;
      }
      // Premultiplied over: the colour plus what shows through.
      const COLORREF under = surface.ColorOf(surface.Read(x, y));
      const auto over = [&](std::uint32_t colour, std::uint32_t beneath) {
        return static_cast<BYTE>(std::min<std::uint32_t>(255, colour + (beneath * (255 - a) + 127) / 255));
      };
      surface.Write(
          x, y,
          surface.ValueOf(RGB(over((pixel >> 16) & 0xFF, GetRValue(under)), over((pixel >> 8) & 0xFF, GetGValue(under)),
                              over(pixel & 0xFF, GetBValue(under)))));
    }
  }
}

// One channel of Lerp: a and b mixed with weight f/256 of b, rounded to the nearest. Lerp mixes
// every channel of a pixel this way, so a grey picture can be mixed in one channel.
inline std::uint8_t Mix(std::uint32_t a, std::uint32_t b, std::uint32_t f) {
  return static_cast<std::uint8_t>((a * (256 - f) + b * f + 128) >> 8);
}

// Whether an 8-bit picture's table is the 256 opaque greys in order, as a grey display buffer's is.
bool IsGreyRamp(const std::vector<std::uint32_t>& palette) {
  if (palette.size() != 256) return false;
  for (std::uint32_t i = 0; i < 256; ++i)
    if (palette[i] != (0xFF000000u | i * 0x010101u)) return false;
  return true;
}

// The stretch of a grey-ramp picture onto a 32-bit surface: the same bytes as Stretch, with each
// pixel mixed once instead of once per channel and written as grey at the end.
void StretchGrey(const picture::Picture& source, const Surface& surface, Rect target) {
  const std::optional<StretchArea> area = AreaOf(source, surface, target);
  if (!area) return;
  const std::vector<Tap>& columns = area->columns;
  const std::size_t count = columns.size();
  const GreyRowMixer mixer(columns, source.width);
  const auto makeLine = [&](int row, std::uint8_t* line) { mixer.Mix(RowOf(source, row), line); };
  HorizontalLines<std::uint8_t, decltype(makeLine)> lines(count, makeLine);
  std::vector<std::uint8_t> mixed(count);
  for (int y = area->top; y < area->bottom; ++y) {
    const Tap row = TapFor(y - target.Y, target.Height, source.height);
    const auto [upper, lower] = lines.Pair(row.first, row.second);
    for (std::size_t i = 0; i < count; ++i) mixed[i] = Mix(upper[i], lower[i], row.weight);
    auto* out = reinterpret_cast<std::uint32_t*>(surface.Row(y)) + area->left;
    for (std::size_t i = 0; i < count; ++i) out[i] = mixed[i] * 0x010101u;
  }
}

// Dash patterns in pen widths: on, off, on, off...
const std::vector<int>& PatternOf(DashStyle style) {
  static const std::vector<int> solid;
  static const std::vector<int> dash = {3, 1};
  static const std::vector<int> dot = {1, 1};
  static const std::vector<int> dashDot = {3, 1, 1, 1};
  static const std::vector<int> dashDotDot = {3, 1, 1, 1, 1, 1};
  switch (style) {
    case DashStyleDash:
      return dash;
    case DashStyleDot:
      return dot;
    case DashStyleDashDot:
      return dashDot;
    case DashStyleDashDotDot:
      return dashDotDot;
    default:
      return solid;
  }
}

// Whether the pen draws at distance s along its path.
bool PatternOn(const std::vector<int>& pattern, int penWidth, std::int64_t s) {
  if (pattern.empty()) return true;
  std::int64_t period = 0;
  for (const int length : pattern) period += length * penWidth;
  std::int64_t at = ((s % period) + period) % period;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    at -= pattern[i] * penWidth;
    if (at < 0) return i % 2 == 0;
  }
  return false;
}

}  // namespace

namespace Gdiplus::DllExports {

GpStatus GdipCreateFromHWND(HWND hwnd, GpGraphics** graphics) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (graphics == nullptr || WindowTable::Get().Find(hwnd) == nullptr) return InvalidParameter;
  auto target = std::make_unique<GraphicsTarget>();
  target->window = hwnd;
  return RegisterObject(GdiplusRegistry::Get().graphics, std::move(target), graphics);
}

GpStatus GdipCreateFromHDC(HDC hdc, GpGraphics** graphics) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (graphics == nullptr || ObjectTable::Get().Find<DcObject>(hdc) == nullptr) return InvalidParameter;
  auto target = std::make_unique<GraphicsTarget>();
  target->dc = hdc;
  return RegisterObject(GdiplusRegistry::Get().graphics, std::move(target), graphics);
}

GpStatus GdipDeleteGraphics(GpGraphics* graphics) {
  const GraphicsLock lock(GraphicsMutex());
  GraphicsTarget* found = FindGraphics(graphics);
  if (found == nullptr) return InvalidParameter;
  GdiplusRegistry::Get().graphics.erase(found);
  delete found;
  return Ok;
}

GpStatus GdipCreateRegionRectI(const GpRect* rect, GpRegion** region) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (rect == nullptr || region == nullptr) return InvalidParameter;
  auto shape = std::make_unique<RegionShape>();
  shape->pixels = PixelRegion::FromBox(rect->X, rect->Y, rect->X + rect->Width, rect->Y + rect->Height);
  return RegisterObject(GdiplusRegistry::Get().regions, std::move(shape), region);
}

GpStatus GdipCombineRegionRectI(GpRegion* region, const GpRect* rect, CombineMode combineMode) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  RegionShape* shape = FindRegion(region);
  if (shape == nullptr || rect == nullptr) return InvalidParameter;
  const PixelRegion box = PixelRegion::FromBox(rect->X, rect->Y, rect->X + rect->Width, rect->Y + rect->Height);
  switch (combineMode) {
    case CombineModeReplace:
      shape->pixels = box;
      break;
    case CombineModeIntersect:
      shape->pixels = Combine(shape->pixels, box, RegionOp::And);
      break;
    case CombineModeUnion:
      shape->pixels = Combine(shape->pixels, box, RegionOp::Or);
      break;
    case CombineModeXor:
      shape->pixels = Combine(shape->pixels, box, RegionOp::Xor);
      break;
    case CombineModeExclude:
      shape->pixels = Combine(shape->pixels, box, RegionOp::Diff);
      break;
    case CombineModeComplement:
      shape->pixels = Combine(box, shape->pixels, RegionOp::Diff);
      break;
    default:
      return InvalidParameter;
  }
  return Ok;
}

GpStatus GdipDeleteRegion(GpRegion* region) {
  const GraphicsLock lock(GraphicsMutex());
  RegionShape* found = FindRegion(region);
  if (found == nullptr) return InvalidParameter;
  GdiplusRegistry::Get().regions.erase(found);
  delete found;
  return Ok;
}

GpStatus GdipCreateSolidFill(ARGB color, GpSolidFill** brush) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (brush == nullptr) return InvalidParameter;
  auto fill = std::make_unique<SolidBrush>();
  fill->color = color;
  return RegisterObject(GdiplusRegistry::Get().brushes, std::move(fill), brush);
}

GpStatus GdipDeleteBrush(GpBrush* brush) {
  const GraphicsLock lock(GraphicsMutex());
  SolidBrush* found = FindBrush(brush);
  if (found == nullptr) return InvalidParameter;
  GdiplusRegistry::Get().brushes.erase(found);
  delete found;
  return Ok;
}

GpStatus GdipCreatePen1(ARGB color, REAL width, GpUnit unit, GpPen** pen) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (pen == nullptr || !(width >= 0)) return InvalidParameter;
  if (unit != UnitWorld && unit != UnitPixel) return NotImplemented;
  auto shape = std::make_unique<PenShape>();
  shape->color = color;
  shape->width = width;
  return RegisterObject(GdiplusRegistry::Get().pens, std::move(shape), pen);
}

GpStatus GdipDeletePen(GpPen* pen) {
  const GraphicsLock lock(GraphicsMutex());
  PenShape* found = FindPen(pen);
  if (found == nullptr) return InvalidParameter;
  GdiplusRegistry::Get().pens.erase(found);
  delete found;
  return Ok;
}

GpStatus GdipSetPenDashStyle(GpPen* pen, GpDashStyle dashStyle) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  PenShape* found = FindPen(pen);
  if (found == nullptr || dashStyle < DashStyleSolid || dashStyle > DashStyleCustom) return InvalidParameter;
  if (dashStyle == DashStyleCustom) return NotImplemented;
  found->dash = dashStyle;
  return Ok;
}

GpStatus GdipGetPenWidth(GpPen* pen, REAL* width) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const PenShape* found = FindPen(pen);
  if (found == nullptr || width == nullptr) return InvalidParameter;
  *width = found->width;
  return Ok;
}

GpStatus GdipFillRegion(GpGraphics* graphics, GpBrush* brush, GpRegion* region) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const GraphicsTarget* target = FindGraphics(graphics);
  const SolidBrush* fill = FindBrush(brush);
  const RegionShape* shape = FindRegion(region);
  if (target == nullptr || fill == nullptr || shape == nullptr) return InvalidParameter;
  const Surface* surface = SurfaceOf(*target);
  if (surface == nullptr) return Win32Error;
  FillPixels(*surface, shape->pixels, fill->color);
  return Ok;
}

GpStatus GdipDrawRectangleI(GpGraphics* graphics, GpPen* pen, INT x, INT y, INT width, INT height) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const GraphicsTarget* target = FindGraphics(graphics);
  const PenShape* shape = FindPen(pen);
  if (target == nullptr || shape == nullptr) return InvalidParameter;
  const Surface* surface = SurfaceOf(*target);
  if (surface == nullptr) return Win32Error;
  if (width < 0 || height < 0) return Ok;
  const int w = std::max(1, static_cast<int>(std::lround(shape->width)));
  const int below = w / 2;
  const int above = (w - 1) / 2;
  const std::vector<int>& pattern = PatternOf(shape->dash);
  const std::int64_t right = static_cast<std::int64_t>(x) + width;
  const std::int64_t bottom = static_cast<std::int64_t>(y) + height;
  // The four edges clockwise from the top-left corner, each with the pixels it claims and the distance
  // along the path of a pixel's column or row; the corners belong to the top and bottom edges.
  struct Edge {
    std::int64_t left, top, right, bottom;  // pixels, inclusive
    bool horizontal;
    std::int64_t start;  // the path distance at the edge's first coordinate
    int direction;       // +1 when the distance grows with the coordinate
  };
  const Edge edges[] = {
      {x - below, y - below, right + above, y + above, true, -static_cast<std::int64_t>(x), 1},
      {right - below, y + above + 1, right + above, bottom - below - 1, false, width - static_cast<std::int64_t>(y), 1},
      {x - below, bottom - below, right + above, bottom + above, true, width + height + right, -1},
      {x - below, y + above + 1, x + above, bottom - below - 1, false,
       2 * static_cast<std::int64_t>(width) + height + bottom, -1},
  };
  RegionBuilder pixels;
  for (const Edge& edge : edges) {
    const std::int64_t top = std::max<std::int64_t>(edge.top, 0);
    const std::int64_t last = std::min<std::int64_t>(edge.bottom, surface->height - 1);
    for (std::int64_t py = top; py <= last; ++py) {
      const std::int64_t first = std::max<std::int64_t>(edge.left, 0);
      const std::int64_t end = std::min<std::int64_t>(edge.right, surface->width - 1);
      if (pattern.empty() || !edge.horizontal) {
        if (!edge.horizontal && !PatternOn(pattern, w, edge.start + edge.direction * py)) continue;
        pixels.Add(static_cast<int>(py), static_cast<int>(first), static_cast<int>(end + 1));
        continue;
      }
      for (std::int64_t px = first; px <= end; ++px)
        if (PatternOn(pattern, w, edge.start + edge.direction * px))
          pixels.Add(static_cast<int>(py), static_cast<int>(px), static_cast<int>(px + 1));
    }
  }
  FillPixels(*surface, pixels.Build(), shape->color);
  return Ok;
}

GpStatus GdipDrawImageRectI(GpGraphics* graphics, GpImage* image, INT x, INT y, INT width, INT height) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const GraphicsTarget* target = FindGraphics(graphics);
  BitmapImage* bitmap = FindImage(image);
  if (target == nullptr || bitmap == nullptr) return InvalidParameter;
  if (bitmap->error != Ok) return bitmap->error;
  const Surface* surface = SurfaceOf(*target);
  if (surface == nullptr) return Win32Error;
  if (width <= 0 || height <= 0 || bitmap->picture.width <= 0 || bitmap->picture.height <= 0) return Ok;
  const picture::Picture* source = ReadablePicture(*bitmap);
  if (source == nullptr) return GenericError;
  const Rect area(x, y, width, height);
  switch (source->pixelFormat) {
    case picture::kFormat8bppIndexed: {
      if (surface->bitsPerPixel == 32 && IsGreyRamp(source->palette)) {
        StretchGrey(*source, *surface, area);
        break;
      }
      std::array<std::uint32_t, 256> palette;
      palette.fill(0xFF000000u);
      bool opaque = true;
      for (std::size_t i = 0; i < std::min<std::size_t>(256, source->palette.size()); ++i) {
        palette[i] = Premultiply(source->palette[i]);
        opaque = opaque && (source->palette[i] >> 24) == 255;
      }
      Stretch(*source, Fetch8{&palette}, opaque, *surface, area);
      break;
    }
    case picture::kFormat24bppRGB:
      Stretch(*source, Fetch24{}, true, *surface, area);
      break;
    default:
      Stretch(*source, Fetch32{source->pixelFormat}, source->pixelFormat == picture::kFormat32bppRGB, *surface, area);
      break;
  }
  return Ok;
}

}  // namespace Gdiplus::DllExports
