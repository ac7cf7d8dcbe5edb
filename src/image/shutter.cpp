#include "image/shutter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/gdi.h"

namespace {

bool g_shutterApplied = true;

std::string NarrowOf(const ImageInfoStrategy::Text& text) { return ToNarrow(text.View()); }

// All bits of a stored value set. Bits stored outside 1 to 31 come from no valid file; they are kept
// defined rather than shifted out of range.
DWORD LargestStoredValue(SHORT bits) {
  if (bits <= 0) return 0;
  if (bits >= 32) return 0xFFFFFFFFu;
  return (DWORD{1} << bits) - 1;
}

// A vertex number as the C library reads an integer: leading blanks skipped, an optional sign, digits
// up to the first other character; no digits read as 0.
LONG ReadVertex(const std::string& text) { return static_cast<LONG>(std::strtol(text.c_str(), nullptr, 10)); }

}  // namespace

bool ShutterApplied() { return g_shutterApplied; }
void SetShutterApplied(bool applied) { g_shutterApplied = applied; }

Shutter::Shutter(FramePixels source, ImageInfoStrategy* info, bool monochrome1)
    : source_(std::move(source)), info_(info) {
  if (info_ == nullptr) return;
  rows_ = static_cast<SHORT>(info_->GetRows());
  columns_ = static_cast<SHORT>(info_->GetColumns());
  blankValue_ = info_->GetShutterPresentationValue();
  bits_ = static_cast<SHORT>(info_->GetBitsStored());
  if (monochrome1 && blankValue_ == 0) blankValue_ = LargestStoredValue(bits_);
}

void Shutter::Apply(std::span<BYTE> target) {
  const bool wanted = ShutterApplied();
  if (applied_ == wanted) return;
  applied_ = wanted;
  target_ = target;
  if (!wanted) {
    if (!source_.Empty()) Restore();
    return;
  }
  if (source_.Empty() || target_.empty() || info_ == nullptr) return;
  std::string shape = NarrowOf(info_->GetShutterShape());
  if (shape.empty()) return;
  Restore();
  std::transform(shape.begin(), shape.end(), shape.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  if (shape.find("CIRCULAR") != std::string::npos) ApplyCircular();
  if (shape.find("RECTANGULAR") != std::string::npos) ApplyRectangular();
  if (shape.find("POLYGONAL") != std::string::npos) ApplyPolygonal();
}

// The raw pixels back over the working copy: rows x columns x samples elements, two bytes each when the
// high bit is above 7. Never more than either block holds, since a short file gives a short source.
void Shutter::Restore() {
  if (source_.Empty() || target_.empty() || info_ == nullptr) return;
  // No samples reads as one, as the image's own copy takes it.
  const std::size_t samples = std::max<USHORT>(info_->GetSamplesPerPixel(), 1);
  const std::size_t elements = static_cast<std::size_t>(std::max<SHORT>(rows_, 0)) *
                               static_cast<std::size_t>(std::max<SHORT>(columns_, 0)) * samples;
  const std::size_t bytes = elements * (info_->GetHighBit() > 7 ? 2 : 1);
  const std::span<const std::uint8_t> source = source_.Bytes();
  std::memcpy(target_.data(), source.data(), std::min<std::size_t>({bytes, source.size(), target_.size()}));
}

void Shutter::Blank(LONG row, LONG column) {
  const std::size_t index = static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
                            static_cast<std::size_t>(column);
  if (bits_ < 9) {
    if (index < target_.size()) target_[index] = static_cast<BYTE>(blankValue_);
    return;
  }
  if (2 * index + 1 >= target_.size()) return;
  target_[2 * index] = static_cast<BYTE>(blankValue_);
  target_[2 * index + 1] = static_cast<BYTE>(blankValue_ >> 8);
}

// The circle is stretched in y by the image's aspect (columns / rows), so on a non-square image it is
// an ellipse; images are made with it so.
void Shutter::ApplyCircular() {
  SHORT cx = 0;
  SHORT cy = 0;
  info_->GetShutterCircularCenter(&cx, &cy);
  const double radius = info_->GetShutterRadius();
  const double a2 = radius * radius;
  const double b = static_cast<double>(columns_) / static_cast<double>(rows_) * radius;
  const double b2 = b * b;
  for (LONG y = 0; y < rows_; ++y) {
    for (LONG x = 0; x < columns_; ++x) {
      const double dx = x - cx;
      const double dy = y - cy;
      if (dx * dx / a2 + dy * dy / b2 > 1.0) Blank(y, x);
    }
  }
}

// The right and bottom edges lie outside, as for any rectangle here.
void Shutter::ApplyRectangular() {
  const RECT open{info_->GetShutterLeftEdge(), info_->GetShutterUpperEdge(), info_->GetShutterRightEdge(),
                  info_->GetShutterLowerEdge()};
  for (LONG y = 0; y < rows_; ++y) {
    for (LONG x = 0; x < columns_; ++x) {
      if (!PtInRect(&open, POINT{x, y})) Blank(y, x);
    }
  }
}

// The vertices are "row\column\row\column...". A polygon of fewer than two vertices makes no region
// and blanks nothing.
void Shutter::ApplyPolygonal() {
  const std::string text = NarrowOf(info_->GetShutterVertices());
  std::vector<POINT> vertices;
  std::size_t at = 0;
  for (;;) {
    const std::size_t rowEnd = text.find('\\', at);
    if (rowEnd == std::string::npos)
      THROW_MY_EXCEPTION("Invalid polygonal shutter: The vertices don't come in paires.");
    const LONG row = ReadVertex(text.substr(at, rowEnd - at));
    at = rowEnd + 1;
    const std::size_t columnEnd = text.find('\\', at);
    const std::size_t columnLength = columnEnd == std::string::npos ? std::string::npos : columnEnd - at;
    const LONG column = ReadVertex(text.substr(at, columnLength));
    vertices.push_back(POINT{column, row});
    if (columnEnd == std::string::npos) break;
    at = columnEnd + 1;
  }
  const HRGN region = CreatePolygonRgn(vertices.data(), static_cast<int>(vertices.size()), ALTERNATE);
  if (region == nullptr) return;
  // Pixels outside the region's box are outside the region: only those within it need asking.
  RECT box{};
  GetRgnBox(region, &box);
  for (LONG y = 0; y < rows_; ++y) {
    for (LONG x = 0; x < columns_; ++x) {
      const bool inBox = x >= box.left && x < box.right && y >= box.top && y < box.bottom;
      if (!inBox || !PtInRegion(region, x, y)) Blank(y, x);
    }
  }
  DeleteObject(region);
}
