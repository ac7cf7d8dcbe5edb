#include "pixel_region.h"

#include <algorithm>
#include <climits>
#include <cstddef>

namespace ondrel::platform::graphics {

namespace {

bool Inside(bool a, bool b, RegionOp op) {
  switch (op) {
    case RegionOp::And:
      return a && b;
    case RegionOp::Or:
      return a || b;
    case RegionOp::Xor:
      return a != b;
    case RegionOp::Diff:
      return a && !b;
  }
  return false;
}

// The spans of the pixels inside `op` of two sorted span lists, by a sweep over their edges.
void CombineSpans(const Span* a, std::size_t na, const Span* b, std::size_t nb, RegionOp op, std::vector<Span>& out) {
  out.clear();
  std::size_t ia = 0;
  std::size_t ib = 0;
  bool inA = false;
  bool inB = false;
  bool inside = false;
  int start = 0;
  // The next edge of a list: the left edge of its next span when outside, the right edge when inside.
  const auto edgeOf = [](const Span* spans, std::size_t n, std::size_t i, bool in) {
    if (i >= n) return INT_MAX;
    return in ? spans[i].right : spans[i].left;
  };
  for (;;) {
    const int ea = edgeOf(a, na, ia, inA);
    const int eb = edgeOf(b, nb, ib, inB);
    const int x = std::min(ea, eb);
    if (x == INT_MAX) break;
    if (ea == x) {
      if (inA) ++ia;
      inA = !inA;
    }
    if (eb == x) {
      if (inB) ++ib;
      inB = !inB;
    }
    const bool now = Inside(inA, inB, op);
    if (now && !inside) start = x;
    if (!now && inside && start < x) out.push_back({start, x});
    inside = now;
  }
}

}  // namespace

PixelRegion PixelRegion::FromBox(int left, int top, int right, int bottom) {
  PixelRegion region;
  if (left < right && top < bottom) {
    const Span span{left, right};
    region.AppendBand(top, bottom, &span, 1);
  }
  return region;
}

void PixelRegion::AppendBand(int top, int bottom, const Span* spans, std::uint32_t count) {
  if (top >= bottom || count == 0) return;
  if (!bands_.empty()) {
    Band& last = bands_.back();
    if (last.bottom == top && last.count == count &&
        std::equal(spans, spans + count, spans_.begin() + static_cast<std::ptrdiff_t>(last.first))) {
      last.bottom = bottom;
      return;
    }
  }
  bands_.push_back({top, bottom, static_cast<std::uint32_t>(spans_.size()), count});
  spans_.insert(spans_.end(), spans, spans + count);
}

bool PixelRegion::Contains(int x, int y) const {
  const auto band =
      std::upper_bound(bands_.begin(), bands_.end(), y, [](int value, const Band& b) { return value < b.bottom; });
  if (band == bands_.end() || y < band->top) return false;
  const Span* first = spans_.data() + band->first;
  const Span* last = first + band->count;
  const Span* span = std::upper_bound(first, last, x, [](int value, const Span& s) { return value < s.right; });
  return span != last && x >= span->left;
}

Box PixelRegion::Bounds() const {
  if (bands_.empty()) return {};
  Box box{INT_MAX, bands_.front().top, INT_MIN, bands_.back().bottom};
  for (const Band& band : bands_) {
    box.left = std::min(box.left, spans_[band.first].left);
    box.right = std::max(box.right, spans_[band.first + band.count - 1].right);
  }
  return box;
}

PixelRegion Combine(const PixelRegion& a, const PixelRegion& b, RegionOp op) {
  // Every row boundary of either region, so that within each interval both have fixed spans. Each
  // region's bands follow one another down the rows, so its boundaries come sorted: a merge orders all.
  const auto boundaries = [](const PixelRegion& region) {
    std::vector<int> edges;
    edges.reserve(2 * region.bands_.size());
    for (const PixelRegion::Band& band : region.bands_) {
      edges.push_back(band.top);
      edges.push_back(band.bottom);
    }
    return edges;
  };
  const std::vector<int> edgesA = boundaries(a);
  const std::vector<int> edgesB = boundaries(b);
  std::vector<int> edges(edgesA.size() + edgesB.size());
  std::merge(edgesA.begin(), edgesA.end(), edgesB.begin(), edgesB.end(), edges.begin());
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());

  PixelRegion result;
  std::vector<Span> spans;
  std::size_t ia = 0;
  std::size_t ib = 0;
  for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
    const int top = edges[i];
    const int bottom = edges[i + 1];
    while (ia < a.bands_.size() && a.bands_[ia].bottom <= top) ++ia;
    while (ib < b.bands_.size() && b.bands_[ib].bottom <= top) ++ib;
    const bool hasA = ia < a.bands_.size() && a.bands_[ia].top <= top;
    const bool hasB = ib < b.bands_.size() && b.bands_[ib].top <= top;
    const Span* sa = hasA ? a.spans_.data() + a.bands_[ia].first : nullptr;
    const Span* sb = hasB ? b.spans_.data() + b.bands_[ib].first : nullptr;
    CombineSpans(sa, hasA ? a.bands_[ia].count : 0, sb, hasB ? b.bands_[ib].count : 0, op, spans);
    result.AppendBand(top, bottom, spans.data(), static_cast<std::uint32_t>(spans.size()));
  }
  return result;
}

PixelRegion RegionBuilder::Build() {
  const auto before = [](const Piece& p, const Piece& q) { return p.y != q.y ? p.y < q.y : p.left < q.left; };
  // Shapes that add their rows in order, as most do, need no sorting.
  if (!std::is_sorted(pieces_.begin(), pieces_.end(), before)) std::sort(pieces_.begin(), pieces_.end(), before);
  PixelRegion region;
  std::vector<Span> row;
  std::size_t i = 0;
  while (i < pieces_.size()) {
    const int y = pieces_[i].y;
    row.clear();
    for (; i < pieces_.size() && pieces_[i].y == y; ++i) {
      // Sorted by left edge: a piece that starts at or before the end of the last span joins it.
      if (!row.empty() && pieces_[i].left <= row.back().right) {
        row.back().right = std::max(row.back().right, pieces_[i].right);
      } else {
        row.push_back({pieces_[i].left, pieces_[i].right});
      }
    }
    region.AppendBand(y, y + 1, row.data(), static_cast<std::uint32_t>(row.size()));
  }
  pieces_.clear();
  return region;
}

}  // namespace ondrel::platform::graphics
