#include "image/magnifying_glass.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/exceptions.h"
#include "foundation/user_preferences.h"
#include "geometry/geometry.h"

namespace {

// Buffer coordinates are 64-bit: a point mapped through an empty picture rectangle lands at the 32-bit
// minimum, and the arithmetic below must carry it outside every buffer without overflowing.
struct BufferPoint {
  long long x = 0;
  long long y = 0;
};

// A client point to raw image pixels (column, row), truncated, as every tool maps it.
BufferPoint ClientToImage(POINT point, const PresentationIntent& intent, const RECT& dest, USHORT rows,
                          USHORT columns) {
  const PixelPoint pixel =
      ToImage(PixelPoint{point.x, point.y}, intent.rotation, intent.flipY != 0, intent.flipX != 0, dest, rows, columns);
  return {pixel.x, pixel.y};
}

// Raw image pixels to the display buffer, which holds the picture turned and mirrored, with its rows
// bottom-up. A quarter turn has exchanged the roles of the two mirrors.
BufferPoint ImageToBuffer(BufferPoint point, const PresentationIntent& intent, long long paddedRows,
                          long long paddedColumns) {
  const bool turned = intent.rotation % 180 != 0;
  const bool mirrorColumns = turned ? intent.flipY != 0 : intent.flipX != 0;
  const bool mirrorRows = turned ? intent.flipX != 0 : intent.flipY != 0;
  long long x = point.x;
  long long y = point.y;
  if (mirrorColumns) x = paddedColumns - x - 1;
  if (!mirrorRows) y = paddedRows - y - 1;
  switch (intent.rotation) {
    case 180:
      return {paddedColumns - x - 1, paddedRows - y - 1};
    case 90:
      return {y, paddedColumns - x - 1};
    case 270:
      return {paddedRows - y - 1, x};
    default:
      return {x, y};
  }
}

}  // namespace

void MagnifyingGlass(Image& image, HWND window, POINT pt) {
  const BYTE* display = image.DisplayBits();
  const PresentationIntent* intent = image.Intent();
  if (!IsWindow(window) || display == nullptr || intent == nullptr) return;
  ImageInfoStrategy& info = *image.Info();

  const Image::DisplayShape shape = image.Shape();
  const long long samples = shape.bytesPerPixel;
  const USHORT rows = info.GetRows();
  const USHORT columns = info.GetColumns();
  const long long paddedRows = shape.paddedRows;
  const long long paddedColumns = shape.paddedColumns;

  const RECT& dest = image.DisplayRect();
  const BufferPoint centre =
      ImageToBuffer(ClientToImage(pt, *intent, dest, rows, columns), *intent, paddedRows, paddedColumns);
  const long long bw = shape.width;
  const long long bh = shape.height;
  if (bw <= 0 || bh <= 0) return;

  // The glass's half size in buffer pixels: its screen rectangle mapped corner by corner.
  const BufferPoint from = ClientToImage(POINT{0, 0}, *intent, dest, rows, columns);
  const BufferPoint to = ClientToImage(POINT{Preferences().userMagGlassWidth, Preferences().userMagGlassHeight}, *intent, dest, rows, columns);
  const long long hw = std::llabs(to.x - from.x) / 2;
  const long long hh = std::llabs(to.y - from.y) / 2;

  const long long left = std::max(centre.x - hw, 0LL);
  const long long right = std::min(centre.x + hw, bw - 1);
  const long long top = std::max(centre.y - hh, 0LL);
  const long long bottom = std::min(centre.y + hh, bh - 1);
  if (left >= right || top >= bottom) return;

  const std::size_t rowBytes = static_cast<std::size_t>(samples * bw);
  ByteBlock block;
  try {
    block = ByteBlock::Zeroed(rowBytes * static_cast<std::size_t>(bh));
  } catch (const std::bad_alloc&) {
    THROW_MY_EXCEPTION("Failed to allocate memory for the magnifying glass pixel data.");
  }
  BYTE* const glass = block.Data();

  const long long m = Preferences().userMagGlassMagnification;
  const long long tl = centre.x - hw * m;
  const long long tr = centre.x + hw * m;
  const long long tt = centre.y - hh * m;
  const long long tb = centre.y + hh * m;
  if (tl >= tr || tt >= tb) return;

  // Outside the target window the copy is the display buffer.
  for (long long y = 0; y < bh; ++y) {
    const std::size_t row = static_cast<std::size_t>(y) * rowBytes;
    if (y < tt || y > tb) {
      std::memcpy(&glass[row], &display[row], rowBytes);
      continue;
    }
    const long long beforeEnd = std::clamp(tl, 0LL, bw);
    std::memcpy(&glass[row], &display[row], static_cast<std::size_t>(beforeEnd * samples));
    const long long afterStart = std::clamp(tr + 1, 0LL, bw);
    std::memcpy(&glass[row + static_cast<std::size_t>(afterStart * samples)],
                &display[row + static_cast<std::size_t>(afterStart * samples)],
                static_cast<std::size_t>((bw - afterStart) * samples));
  }

  const double md = static_cast<double>(m);
  const double m2 = md * md;
  const auto sampleAt = [&](long long x, long long y, long long s) {
    return static_cast<double>(display[static_cast<std::size_t>(y) * rowBytes + static_cast<std::size_t>(x * samples + s)]);
  };
  for (long long sy = top; sy < bottom; ++sy) {
    for (long long sx = left; sx < right; ++sx) {
      for (long long s = 0; s < samples; ++s) {
        const double p00 = sampleAt(sx, sy, s);
        const double p01 = sampleAt(sx + 1, sy, s);
        const double p10 = sampleAt(sx, sy + 1, s);
        const double p11 = sampleAt(sx + 1, sy + 1, s);
        // Only the offsets that land inside the buffer are visited: a large magnification sends most
        // of the enlargement outside it.
        const long long yBase = tt + (sy - top) * m;
        const long long xBase = tl + (sx - left) * m;
        for (long long a = std::clamp(-yBase, 0LL, m); a < std::clamp(bh - yBase, 0LL, m); ++a) {
          const long long y = yBase + a;
          for (long long b = std::clamp(-xBase, 0LL, m); b < std::clamp(bw - xBase, 0LL, m); ++b) {
            const long long x = xBase + b;
            const double da = static_cast<double>(a);
            const double db = static_cast<double>(b);
            const double value = da * (p10 / m2) * (md - db) + (md - da) * (p00 / m2) * (md - db) +
                                 (md - da) * (p01 / m2) * db + da * (p11 / m2) * db;
            glass[static_cast<std::size_t>(y) * rowBytes + static_cast<std::size_t>(x * samples + s)] =
                static_cast<BYTE>(static_cast<int>(value));
          }
        }
      }
    }
  }
  image.FastDraw(window, glass);
}
