// Sets of whole pixels, the common currency of the rasteriser: every shape, line and region is first
// computed as a PixelRegion, then painted, so that no primitive touches a pixel twice. Stored as bands
// of rows that share the same sorted, disjoint horizontal spans, as GDI keeps its regions.
#pragma once

#include <cstdint>
#include <vector>

namespace ondrel::platform::graphics {

struct Span {
  int left;
  int right;  // excluded
  friend bool operator==(const Span&, const Span&) = default;
};

struct Box {
  int left = 0;
  int top = 0;
  int right = 0;   // excluded
  int bottom = 0;  // excluded
};

enum class RegionOp { And, Or, Xor, Diff };

class PixelRegion {
 public:
  PixelRegion() = default;
  // The pixels left <= x < right, top <= y < bottom; empty when either extent is not positive.
  static PixelRegion FromBox(int left, int top, int right, int bottom);

  bool Empty() const { return bands_.empty(); }
  // One rectangle (GDI's "simple" region).
  bool IsBox() const { return bands_.size() == 1 && bands_[0].count == 1; }
  bool Contains(int x, int y) const;
  Box Bounds() const;  // all zero when empty

  // Calls f(y, left, right) for every span of every row, rows in increasing order.
  template <class F>
  void ForEachSpan(F&& f) const {
    for (const Band& band : bands_)
      for (int y = band.top; y < band.bottom; ++y)
        for (std::uint32_t i = 0; i < band.count; ++i) f(y, spans_[band.first + i].left, spans_[band.first + i].right);
  }

  friend PixelRegion Combine(const PixelRegion& a, const PixelRegion& b, RegionOp op);

  // Appends rows top..bottom with `spans` (sorted, disjoint, not touching), joining the last band when
  // it continues it with the same spans: for a shape made a row at a time, top to bottom, which then
  // needs no builder. `top` must not lie above the bottom of the region so far.
  void AppendBand(int top, int bottom, const Span* spans, std::uint32_t count);
  // Makes room for as many more bands and spans, so that appending them moves nothing.
  void Reserve(std::size_t bands, std::size_t spans) {
    bands_.reserve(bands_.size() + bands);
    spans_.reserve(spans_.size() + spans);
  }

 private:
  friend class RegionBuilder;
  struct Band {
    int top;
    int bottom;           // excluded
    std::uint32_t first;  // index into spans_
    std::uint32_t count;
  };

  std::vector<Band> bands_;
  std::vector<Span> spans_;
};

// Collects spans row by row in any order, overlapping or not, and makes their union.
class RegionBuilder {
 public:
  void Add(int y, int left, int right) {
    if (left < right) pieces_.push_back({y, left, right});
  }
  PixelRegion Build();

 private:
  struct Piece {
    int y;
    int left;
    int right;
  };
  std::vector<Piece> pieces_;
};

}  // namespace ondrel::platform::graphics
