// DrawDib: the nearest-neighbour stretch of a DIB into a device context, the drag path of every viewport.
#include "ondrel/platform/drawdib.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <unordered_map>
#include <vector>

#include "gdi_objects.h"
#include "graphics_lock.h"

using namespace ondrel::platform::graphics;

namespace {

// The source index of each destination pixel of a visible range, kept while the shape stays the same.
struct IndexMap {
  std::vector<int> source;
  int sourceStart = -1;
  int sourceSize = -1;
  int destinationStart = 0;
  int destinationSize = -1;
  int visibleStart = 0;
  int visibleEnd = 0;

  // Makes the map for destination pixels visibleStart..visibleEnd of a stretch of `sourceSize` pixels
  // from `sourceStart` to `destinationSize` pixels from `destinationStart`, unless it is the one held.
  void Prepare(int sourceStart_, int sourceSize_, int destinationStart_, int destinationSize_, int visibleStart_,
               int visibleEnd_) {
    if (sourceStart == sourceStart_ && sourceSize == sourceSize_ && destinationStart == destinationStart_ &&
        destinationSize == destinationSize_ && visibleStart == visibleStart_ && visibleEnd == visibleEnd_)
      return;
    source.resize(static_cast<std::size_t>(visibleEnd_ - visibleStart_));
    const std::int64_t twice = 2 * static_cast<std::int64_t>(destinationSize_);
    for (int i = visibleStart_; i < visibleEnd_; ++i) {
      // The source pixel under the centre of destination pixel i.
      const std::int64_t offset = (2 * static_cast<std::int64_t>(i - destinationStart_) + 1) * sourceSize_ / twice;
      source[static_cast<std::size_t>(i - visibleStart_)] = sourceStart_ + static_cast<int>(offset);
    }
    sourceStart = sourceStart_;
    sourceSize = sourceSize_;
    destinationStart = destinationStart_;
    destinationSize = destinationSize_;
    visibleStart = visibleStart_;
    visibleEnd = visibleEnd_;
  }
};

struct DrawDib {
  IndexMap columns;
  IndexMap rows;
  std::array<std::uint32_t, 256> palette{};  // physical values of the 256 source indices
  std::vector<RGBQUAD> paletteColors;        // the colour table `palette` was made from
  const void* paletteSurface = nullptr;      // and the surface it was made for, with its depth and table
  int surfaceBits = 0;
  std::vector<RGBQUAD> surfaceColors;
};

std::unordered_map<std::uintptr_t, std::unique_ptr<DrawDib>>& Handles() {
  static auto* const handles = new std::unordered_map<std::uintptr_t, std::unique_ptr<DrawDib>>();
  return *handles;
}
std::uintptr_t nextHandle = 1;

bool SameColors(const std::vector<RGBQUAD>& a, const RGBQUAD* b, std::size_t count) {
  return a.size() == count && (count == 0 || std::memcmp(a.data(), b, count * sizeof(RGBQUAD)) == 0);
}

// Maps the source colour table to the surface's values, again only when either has changed.
void PreparePalette(DrawDib& draw, const RGBQUAD* table, std::size_t count, const Surface& surface) {
  const bool sameSurface = draw.paletteSurface == &surface && draw.surfaceBits == surface.bitsPerPixel &&
                           SameColors(draw.surfaceColors, surface.colors.data(), surface.colors.size());
  if (sameSurface && SameColors(draw.paletteColors, table, count)) return;
  draw.palette.fill(surface.ValueOf(RGB(0, 0, 0)));
  for (std::size_t i = 0; i < count; ++i)
    draw.palette[i] = surface.ValueOf(RGB(table[i].rgbRed, table[i].rgbGreen, table[i].rgbBlue));
  draw.paletteColors.assign(table, table + count);
  draw.paletteSurface = &surface;
  draw.surfaceBits = surface.bitsPerPixel;
  draw.surfaceColors = surface.colors;
}

// One destination row from one source row, through the column map.
void StretchRow(const DrawDib& draw, const std::uint8_t* sourceRow, int sourceBits, const Surface& surface, int y) {
  const std::vector<int>& columns = draw.columns.source;
  const int left = draw.columns.visibleStart;
  const std::size_t count = columns.size();
  if (surface.bitsPerPixel == 32) {
    auto* out = reinterpret_cast<std::uint32_t*>(surface.Row(y)) + left;
    if (sourceBits == 8) {
      for (std::size_t i = 0; i < count; ++i) out[i] = draw.palette[sourceRow[columns[i]]];
    } else {
      for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* p = sourceRow + 3 * columns[i];
        out[i] = static_cast<std::uint32_t>(p[0] | (p[1] << 8) | (p[2] << 16));
      }
    }
    return;
  }
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t value = 0;
    if (sourceBits == 8) {
      value = draw.palette[sourceRow[columns[i]]];
    } else {
      const std::uint8_t* p = sourceRow + 3 * columns[i];
      value = surface.ValueOf(RGB(p[2], p[1], p[0]));
    }
    surface.Write(left + static_cast<int>(i), y, value);
  }
}

}  // namespace

HDRAWDIB DrawDibOpen() {
  const GraphicsLock lock(GraphicsMutex());
  try {
    const std::uintptr_t id = nextHandle++;
    Handles().emplace(id, std::make_unique<DrawDib>());
    return reinterpret_cast<HDRAWDIB>(id);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

BOOL DrawDibClose(HDRAWDIB hdd) {
  const GraphicsLock lock(GraphicsMutex());
  return Handles().erase(reinterpret_cast<std::uintptr_t>(hdd)) != 0 ? TRUE : FALSE;
}

BOOL DrawDibDraw(HDRAWDIB hdd, HDC hdc, int xDst, int yDst, int dxDst, int dyDst, LPBITMAPINFOHEADER lpbi,
                 LPVOID lpBits, int xSrc, int ySrc, int dxSrc, int dySrc, UINT /*wFlags*/) {
  const GraphicsLock lock(GraphicsMutex());
  const auto found = Handles().find(reinterpret_cast<std::uintptr_t>(hdd));
  const auto* dc = ObjectTable::Get().Find<DcObject>(hdc);
  const Surface* surface = dc == nullptr ? nullptr : SurfaceOf(*dc);
  if (found == Handles().end() || surface == nullptr || lpbi == nullptr || lpBits == nullptr) return FALSE;
  DrawDib& draw = *found->second;
  const BITMAPINFOHEADER& header = *lpbi;
  const int bits = header.biBitCount;
  if (header.biSize < sizeof(BITMAPINFOHEADER) || header.biCompression != BI_RGB || (bits != 8 && bits != 24) ||
      header.biWidth <= 0 || header.biHeight == 0 || header.biHeight == INT32_MIN || header.biClrUsed > 256)
    return FALSE;
  const int width = header.biWidth;
  const int height = header.biHeight > 0 ? header.biHeight : -header.biHeight;
  if (dxSrc == -1) dxSrc = width - xSrc;
  if (dySrc == -1) dySrc = height - ySrc;
  if (xSrc < 0 || ySrc < 0 || dxSrc <= 0 || dySrc <= 0 || dxSrc > width - xSrc || dySrc > height - ySrc) return FALSE;
  if (dxDst == -1) dxDst = dxSrc;
  if (dyDst == -1) dyDst = dySrc;
  if (dxDst < 0 || dyDst < 0) return FALSE;

  const int left = std::max(xDst, 0);
  const int right = static_cast<int>(std::min<std::int64_t>(static_cast<std::int64_t>(xDst) + dxDst, surface->width));
  const int top = std::max(yDst, 0);
  const int bottom = static_cast<int>(std::min<std::int64_t>(static_cast<std::int64_t>(yDst) + dyDst, surface->height));
  if (left >= right || top >= bottom) return TRUE;

  draw.columns.Prepare(xSrc, dxSrc, xDst, dxDst, left, right);
  draw.rows.Prepare(ySrc, dySrc, yDst, dyDst, top, bottom);
  if (bits == 8) {
    const auto* table = reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const BYTE*>(lpbi) + header.biSize);
    PreparePalette(draw, table, header.biClrUsed == 0 ? 256 : header.biClrUsed, *surface);
  }
  const std::ptrdiff_t stride = DibStride(width, bits);
  const auto* memory = static_cast<const std::uint8_t*>(lpBits);
  const std::size_t rowBytes =
      static_cast<std::size_t>(right - left) * static_cast<std::size_t>(surface->bitsPerPixel / 8);
  const std::size_t rowOffset = static_cast<std::size_t>(left) * static_cast<std::size_t>(surface->bitsPerPixel / 8);
  int previous = -1;
  for (int y = top; y < bottom; ++y) {
    const int sourceY = draw.rows.source[static_cast<std::size_t>(y - top)];
    if (sourceY == previous) {
      // A repeated source row: the row just drawn again.
      std::memcpy(surface->Row(y) + rowOffset, surface->Row(y - 1) + rowOffset, rowBytes);
      continue;
    }
    const int memoryRow = header.biHeight > 0 ? height - 1 - sourceY : sourceY;
    StretchRow(draw, memory + memoryRow * stride, bits, *surface, y);
    previous = sourceY;
  }
  return TRUE;
}
