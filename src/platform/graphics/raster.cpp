#include "raster.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace ondrel::platform::graphics {

namespace {

__extension__ typedef __int128 Wide;  // squared distances of far coordinates overflow 64 bits

template <class Int>
Int FloorDiv(Int a, Int b) {
  Int q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// A row of pixels that a convex shape covers, from an estimate refined with the exact test, so that
// rounding in the estimate never changes the result. `covers(x)` must describe one interval of the row.
// Returns whether the row holds any pixel.
template <class Sink, class Covers>
bool AddConvexRow(Sink& out, int y, double estimateLeft, double estimateRight, Box clip, Covers covers) {
  const double low = std::max(estimateLeft, static_cast<double>(clip.left) - 1);
  const double high = std::min(estimateRight, static_cast<double>(clip.right));
  if (low > high + 2) return false;
  int left = static_cast<int>(std::floor(low));
  int right = static_cast<int>(std::ceil(high));
  while (left <= right && !covers(left)) ++left;
  if (left > right) {
    // The estimate missed a sliver; look once more around it.
    for (int x = static_cast<int>(std::floor(low)) - 2; x <= static_cast<int>(std::ceil(high)) + 2; ++x)
      if (covers(x)) {
        left = right = x;
        break;
      }
    if (left > right) return false;
  }
  while (left > clip.left && covers(left - 1)) --left;
  while (right >= left && !covers(right)) --right;
  while (right + 1 < clip.right && covers(right + 1)) ++right;
  out.Add(y, std::max(left, clip.left), std::min(right + 1, clip.right));
  return true;
}

}  // namespace

void AddThinLine(RegionBuilder& out, int x0, int y0, int x1, int y1, Box clip) {
  const std::int64_t dx = static_cast<std::int64_t>(x1) - x0;
  const std::int64_t dy = static_cast<std::int64_t>(y1) - y0;
  const bool xMajor = std::llabs(dx) >= std::llabs(dy);
  // Work along the major axis: u is the major coordinate, v the minor one.
  const std::int64_t du = xMajor ? dx : dy;
  const std::int64_t dv = xMajor ? dy : dx;
  const std::int64_t n = std::llabs(du);
  if (n == 0) return;
  const std::int64_t su = du > 0 ? 1 : -1;
  const std::int64_t sv = dv >= 0 ? 1 : -1;
  const std::int64_t adv = std::llabs(dv);
  const std::int64_t u0 = xMajor ? x0 : y0;
  const std::int64_t v0 = xMajor ? y0 : x0;
  // Steps whose major coordinate falls inside the clip box.
  const std::int64_t uLow = xMajor ? clip.left : clip.top;
  const std::int64_t uHigh = (xMajor ? clip.right : clip.bottom) - 1;
  std::int64_t first = su > 0 ? uLow - u0 : u0 - uHigh;
  std::int64_t last = su > 0 ? uHigh - u0 : u0 - uLow;
  first = std::max<std::int64_t>(first, 0);
  last = std::min<std::int64_t>(last, n - 1);
  // And those whose minor coordinate may: the offset grows by adv/n per step.
  if (adv > 0) {
    const std::int64_t vLow = xMajor ? clip.top : clip.left;
    const std::int64_t vHigh = (xMajor ? clip.bottom : clip.right) - 1;
    const std::int64_t offLow = sv > 0 ? vLow - v0 : v0 - vHigh;
    const std::int64_t offHigh = sv > 0 ? vHigh - v0 : v0 - vLow;
    const Wide lowStep = FloorDiv<Wide>(static_cast<Wide>(offLow - 1) * n, adv) - 1;
    const Wide highStep = FloorDiv<Wide>(static_cast<Wide>(offHigh + 1) * n, adv) + 1;
    if (lowStep > first) first = lowStep > n ? n : static_cast<std::int64_t>(lowStep);
    if (highStep < last) last = highStep < -1 ? -1 : static_cast<std::int64_t>(highStep);
  }
  int runY = 0;
  int runLeft = 0;
  int runRight = 0;
  bool run = false;
  for (std::int64_t k = first; k <= last; ++k) {
    // The nearest minor offset, rounding a half down: a tie keeps the previous row.
    const auto offset = static_cast<std::int64_t>(FloorDiv<Wide>(static_cast<Wide>(2 * k) * adv + n - 1, 2 * n));
    const int u = static_cast<int>(u0 + su * k);
    const int v = static_cast<int>(v0 + sv * offset);
    const int x = xMajor ? u : v;
    const int y = xMajor ? v : u;
    if (x < clip.left || x >= clip.right || y < clip.top || y >= clip.bottom) continue;
    if (run && y == runY && (x == runRight || x == runLeft - 1)) {
      runLeft = std::min(runLeft, x);
      runRight = std::max(runRight, x + 1);
      continue;
    }
    if (run) out.Add(runY, runLeft, runRight);
    run = true;
    runY = y;
    runLeft = x;
    runRight = x + 1;
  }
  if (run) out.Add(runY, runLeft, runRight);
}

void AddWideLine(RegionBuilder& out, int x0, int y0, int x1, int y1, int width, Box clip) {
  // Doubled coordinates keep every centre an integer: a pixel's centre is 2x + 1; the segment runs
  // through centres (odd width) or corners (even width).
  const std::int64_t offset = width % 2;
  const std::int64_t ax = 2 * static_cast<std::int64_t>(x0) + offset;
  const std::int64_t ay = 2 * static_cast<std::int64_t>(y0) + offset;
  const std::int64_t bx = 2 * static_cast<std::int64_t>(x1) + offset;
  const std::int64_t by = 2 * static_cast<std::int64_t>(y1) + offset;
  const std::int64_t dx = bx - ax;
  const std::int64_t dy = by - ay;
  const Wide length2 = static_cast<Wide>(dx) * dx + static_cast<Wide>(dy) * dy;
  const Wide w2 = static_cast<Wide>(width) * width;  // the doubled radius is the width
  const auto covers = [&](std::int64_t px, std::int64_t py) {
    const std::int64_t qx = 2 * px + 1 - ax;
    const std::int64_t qy = 2 * py + 1 - ay;
    const Wide t = static_cast<Wide>(qx) * dx + static_cast<Wide>(qy) * dy;
    if (length2 == 0 || t <= 0) return static_cast<Wide>(qx) * qx + static_cast<Wide>(qy) * qy < w2;
    if (t >= length2) {
      const std::int64_t rx = 2 * px + 1 - bx;
      const std::int64_t ry = 2 * py + 1 - by;
      return static_cast<Wide>(rx) * rx + static_cast<Wide>(ry) * ry < w2;
    }
    const Wide cross = static_cast<Wide>(dx) * qy - static_cast<Wide>(dy) * qx;
    return cross * cross < w2 * length2;
  };
  const std::int64_t top = std::max<std::int64_t>(FloorDiv<std::int64_t>(std::min(ay, by) - width - 1, 2), clip.top);
  const std::int64_t bottom =
      std::min<std::int64_t>(FloorDiv<std::int64_t>(std::max(ay, by) + width, 2), clip.bottom - 1);
  const double w = width;
  const double length = std::sqrt(static_cast<double>(length2));
  for (std::int64_t py = top; py <= bottom; ++py) {
    // The row's crossing of the capsule in doubled units: the end discs and the band between them.
    const double yc = static_cast<double>(2 * py + 1);
    double low = INFINITY;
    double high = -INFINITY;
    for (const auto& [cx, cy] : {std::pair{ax, ay}, std::pair{bx, by}}) {
      const double h2 = w * w - (yc - static_cast<double>(cy)) * (yc - static_cast<double>(cy));
      if (h2 > 0) {
        low = std::min(low, static_cast<double>(cx) - std::sqrt(h2));
        high = std::max(high, static_cast<double>(cx) + std::sqrt(h2));
      }
    }
    if (dy != 0 && length > 0) {
      const double fdx = static_cast<double>(dx);
      const double fdy = static_cast<double>(dy);
      const double ry = yc - static_cast<double>(ay);
      double a = static_cast<double>(ax) + (fdx * ry - w * length) / fdy;
      double b = static_cast<double>(ax) + (fdx * ry + w * length) / fdy;
      if (a > b) std::swap(a, b);
      if (dx != 0) {
        double c = static_cast<double>(ax) - ry * fdy / fdx;
        double d = static_cast<double>(ax) + (fdx * fdx + fdy * fdy - ry * fdy) / fdx;
        if (c > d) std::swap(c, d);
        a = std::max(a, c);
        b = std::min(b, d);
      } else if (ry * fdy < 0 || ry * fdy > fdy * fdy) {
        a = INFINITY;
      }
      if (a <= b) {
        low = std::min(low, a);
        high = std::max(high, b);
      }
    } else if (dy == 0 && std::abs(yc - static_cast<double>(ay)) < w) {
      low = std::min(low, static_cast<double>(std::min(ax, bx)));
      high = std::max(high, static_cast<double>(std::max(ax, bx)));
    }
    if (!(low <= high)) continue;
    AddConvexRow(out, static_cast<int>(py), (low - 1) / 2, (high - 1) / 2, clip,
                 [&](int px) { return covers(px, py); });
  }
}

void AddLine(RegionBuilder& out, int x0, int y0, int x1, int y1, int width, Box clip) {
  if (width <= 1) {
    AddThinLine(out, x0, y0, x1, y1, clip);
  } else {
    AddWideLine(out, x0, y0, x1, y1, width, clip);
  }
}

ShapePixels RectanglePixels(int left, int top, int right, int bottom, int penWidth) {
  if (left > right) std::swap(left, right);
  if (top > bottom) std::swap(top, bottom);
  ShapePixels shape;
  if (penWidth <= 0) {
    // As GDI: without a pen the filled box is one pixel smaller in width and height.
    shape.fill = PixelRegion::FromBox(left, top, right - 1, bottom - 1);
    return shape;
  }
  // A one-pixel line at column c widens to c - w/2 .. c + (w-1)/2, as AddWideLine does.
  const int below = penWidth / 2;
  const int above = (penWidth - 1) / 2;
  const PixelRegion outer = PixelRegion::FromBox(left - below, top - below, right + above, bottom + above);
  shape.fill = PixelRegion::FromBox(left + above + 1, top + above + 1, right - 1 - below, bottom - 1 - below);
  shape.outline = Combine(outer, shape.fill, RegionOp::Diff);
  return shape;
}

namespace {

// The one span a convex shape covers in a row, from an estimate refined with the exact test, as
// AddConvexRow finds it; empty (left >= right) when the row holds no pixel.
struct SpanSink {
  Span span{0, 0};
  void Add(int, int left, int right) { span = Span{left, right}; }
};

// The filled ellipse of the box, a row at a time. `Exact` is the integer type of the covering test: 64
// bits while the box and the clip are small enough for its products, else 128.
template <class Exact>
class EllipseRowMaker {
 public:
  EllipseRowMaker(int left, int top, int right, int bottom)
      : w_(static_cast<std::int64_t>(right) - left),
        h_(static_cast<std::int64_t>(bottom) - top),
        sumX_(static_cast<std::int64_t>(left) + right),
        sumY_(static_cast<std::int64_t>(top) + bottom),
        limit_(static_cast<Exact>(w_) * w_ * h_ * h_),
        a_(static_cast<double>(w_) / 2),
        b_(static_cast<double>(h_) / 2) {}

  // The pixels of row py whose centres lie inside the ellipse, within `rowClip`.
  Span Row(std::int64_t py, Box rowClip) const {
    const std::int64_t ey = 2 * py + 1 - sumY_;  // twice the distance to the centre
    const Exact rowTerm = static_cast<Exact>(ey) * ey * w_ * w_;
    const auto covers64 = [&](std::int64_t px) {
      const std::int64_t ex = 2 * px + 1 - sumX_;
      return static_cast<Exact>(ex) * ex * h_ * h_ + rowTerm <= limit_;
    };
    const auto covers = [&](int px) { return covers64(px); };
    const double dy = static_cast<double>(ey) / 2;
    const double q = 1 - (dy / b_) * (dy / b_);
    const double half = q > 0 ? a_ * std::sqrt(q) : 0;
    const double centre = static_cast<double>(sumX_) / 2;
    if (half >= 2) {
      // A row this wide holds pixels. Its span is symmetric about the centre (a pixel and its mirror
      // have opposite distances), so the exact left end near the estimate gives the right end too.
      auto first = static_cast<std::int64_t>(std::floor(centre - half));
      if (covers64(first)) {
        while (covers64(first - 1)) --first;
      } else {
        while (2 * first < sumX_ && !covers64(first)) ++first;
      }
      if (2 * first < sumX_) {
        const std::int64_t end = sumX_ - first;
        return Span{static_cast<int>(std::max<std::int64_t>(first, rowClip.left)),
                    static_cast<int>(std::min<std::int64_t>(end, rowClip.right))};
      }
    }
    SpanSink sink;
    AddConvexRow(sink, static_cast<int>(py), centre - half - 0.5, centre + half - 0.5, rowClip, covers);
    return sink.span;
  }

 private:
  std::int64_t w_;
  std::int64_t h_;
  std::int64_t sumX_;
  std::int64_t sumY_;
  Exact limit_;
  double a_;
  double b_;
};

// The rows of EllipseArea from `firstRow` on: every row holds one span, since its pieces (the middle
// rows' reach to the sides, the row's own span, a tip's middle pixels) touch one another.
struct EllipseRowSpans {
  int firstRow = 0;
  std::vector<Span> spans;  // of rows firstRow, firstRow + 1, ...; empty ones hold left >= right
};

template <class Exact>
EllipseRowSpans EllipseRowsOf(int left, int top, int right, int bottom, Box clip) {
  const EllipseRowMaker<Exact> ellipse(left, top, right, bottom);
  const std::int64_t w = static_cast<std::int64_t>(right) - left;
  const std::int64_t h = static_cast<std::int64_t>(bottom) - top;
  const std::int64_t sumX = static_cast<std::int64_t>(left) + right;
  const std::int64_t sumY = static_cast<std::int64_t>(top) + bottom;
  EllipseRowSpans rows;
  rows.firstRow = static_cast<int>(std::max<std::int64_t>(top, clip.top));
  const int lastRow = static_cast<int>(std::min<std::int64_t>(bottom, clip.bottom));
  if (rows.firstRow >= lastRow) return rows;
  // The rows of the middle pixel or two; columns left of and right of the middle rows' span take
  // these rows, so that a flat ellipse reaches the sides of its box.
  const std::int64_t middleTop = h % 2 != 0 ? FloorDiv<std::int64_t>(sumY - 1, 2) : FloorDiv<std::int64_t>(sumY, 2) - 1;
  const std::int64_t middleBottom = middleTop + (h % 2 != 0 ? 1 : 2);
  const Span widest = ellipse.Row(middleTop, Box{left, top, right, bottom});
  rows.spans.reserve(static_cast<std::size_t>(lastRow - rows.firstRow));
  for (int py = rows.firstRow; py < lastRow; ++py) {
    // A row and its mirror about the centre (twice its distance negated) hold the same span, and so
    // do the tips and the middle rows below: the lower half copies the upper.
    const std::int64_t mirror = sumY - 1 - py;
    if (mirror >= rows.firstRow && mirror < py) {
      rows.spans.push_back(rows.spans[static_cast<std::size_t>(mirror - rows.firstRow)]);
      continue;
    }
    Span span = ellipse.Row(py, clip);
    if (span.left >= span.right) {
      // The tip of a narrow ellipse: the middle pixel, or the middle two of an even width.
      const auto from = w % 2 != 0 ? FloorDiv<std::int64_t>(sumX - 1, 2) : FloorDiv<std::int64_t>(sumX, 2) - 1;
      const auto to = from + (w % 2 != 0 ? 1 : 2);
      span = Span{static_cast<int>(std::max<std::int64_t>(from, clip.left)),
                  static_cast<int>(std::min<std::int64_t>(to, clip.right))};
    }
    if (py >= middleTop && py < middleBottom) {
      // The reach to the sides ends where the middle rows' own span begins and ends.
      for (const Span piece : {Span{std::max(left, clip.left), std::min(widest.left, clip.right)},
                               Span{std::max(widest.right, clip.left), std::min(right, clip.right)}}) {
        if (piece.left >= piece.right) continue;
        span =
            span.left < span.right ? Span{std::min(span.left, piece.left), std::max(span.right, piece.right)} : piece;
      }
    }
    rows.spans.push_back(span);
  }
  return rows;
}

EllipseRowSpans EllipseRows(int left, int top, int right, int bottom, Box clip) {
  if (static_cast<std::int64_t>(right) - left <= 0 || static_cast<std::int64_t>(bottom) - top <= 0) return {};
  // The covering test's products stay below 2^62 while every coordinate it meets is below 2^14 in
  // size: twice a coordinate against the box's sides, each squared.
  constexpr std::int64_t kSmall = std::int64_t{1} << 14;
  const auto small = [](std::int64_t v) { return v > -kSmall && v < kSmall; };
  if (small(left) && small(top) && small(right) && small(bottom) && small(clip.left) && small(clip.right))
    return EllipseRowsOf<std::int64_t>(left, top, right, bottom, clip);
  return EllipseRowsOf<Wide>(left, top, right, bottom, clip);
}

// The region of ellipse rows, each row's span as it stands.
PixelRegion RegionOf(const EllipseRowSpans& rows) {
  PixelRegion region;
  region.Reserve(rows.spans.size(), rows.spans.size());
  for (std::size_t i = 0; i < rows.spans.size(); ++i) {
    const Span& span = rows.spans[i];
    const int y = rows.firstRow + static_cast<int>(i);
    if (span.left < span.right) region.AppendBand(y, y + 1, &span, 1);
  }
  return region;
}

}  // namespace

PixelRegion EllipseArea(int left, int top, int right, int bottom, Box clip) {
  return RegionOf(EllipseRows(left, top, right, bottom, clip));
}

ShapePixels EllipsePixels(int left, int top, int right, int bottom, int penWidth, Box clip) {
  if (left > right) std::swap(left, right);
  if (top > bottom) std::swap(top, bottom);
  ShapePixels shape;
  if (penWidth <= 0) {
    shape.fill = EllipseArea(left, top, right - 1, bottom - 1, clip);
    return shape;
  }
  const int below = penWidth / 2;
  const int above = (penWidth - 1) / 2;
  // Row by row, the outline is what the outer ellipse covers and the inner one does not.
  const EllipseRowSpans outer = EllipseRows(left - below, top - below, right + above, bottom + above, clip);
  const EllipseRowSpans inner =
      EllipseRows(left + above + 1, top + above + 1, right - 1 - below, bottom - 1 - below, clip);
  shape.outline.Reserve(outer.spans.size(), 2 * outer.spans.size());
  for (std::size_t i = 0; i < outer.spans.size(); ++i) {
    const Span& o = outer.spans[i];
    if (o.left >= o.right) continue;
    const int y = outer.firstRow + static_cast<int>(i);
    const std::int64_t j = static_cast<std::int64_t>(y) - inner.firstRow;
    const bool hasInner =
        j >= 0 && static_cast<std::size_t>(j) < inner.spans.size() &&
        inner.spans[static_cast<std::size_t>(j)].left < inner.spans[static_cast<std::size_t>(j)].right;
    Span pieces[2];
    std::uint32_t count = 0;
    if (!hasInner) {
      pieces[count++] = o;
    } else {
      const Span& in = inner.spans[static_cast<std::size_t>(j)];
      if (o.left < std::min(o.right, in.left)) pieces[count++] = Span{o.left, std::min(o.right, in.left)};
      if (std::max(o.left, in.right) < o.right) pieces[count++] = Span{std::max(o.left, in.right), o.right};
      if (count == 2 && pieces[0].right >= pieces[1].left) {
        pieces[0].right = pieces[1].right;
        count = 1;
      }
    }
    if (count > 0) shape.outline.AppendBand(y, y + 1, pieces, count);
  }
  shape.fill = RegionOf(inner);
  return shape;
}

PixelRegion PolygonArea(const std::vector<POINT>& points, bool winding) {
  RegionBuilder rows;
  if (points.size() < 2) return {};
  int top = points[0].y;
  int bottom = points[0].y;
  for (const POINT& p : points) {
    top = std::min<int>(top, p.y);
    bottom = std::max<int>(bottom, p.y);
  }
  struct Crossing {
    std::int64_t firstPixel;  // the first pixel whose centre is at or right of the crossing
    int direction;
  };
  std::vector<Crossing> crossings;
  for (int py = top; py < bottom; ++py) {
    crossings.clear();
    const std::int64_t yc2 = 2 * static_cast<std::int64_t>(py) + 1;  // twice the row's centre
    for (std::size_t i = 0; i < points.size(); ++i) {
      const POINT& p = points[i];
      const POINT& q = points[(i + 1) % points.size()];
      if (p.y == q.y) continue;
      const std::int64_t ylo = std::min(p.y, q.y);
      const std::int64_t yhi = std::max(p.y, q.y);
      if (yc2 < 2 * ylo || yc2 >= 2 * yhi) continue;  // edges hold their top row, not their bottom one
      // The crossing x = p.x + (yc - p.y) (q.x - p.x) / (q.y - p.y) as num / den, den > 0.
      std::int64_t den = 2 * (static_cast<std::int64_t>(q.y) - p.y);
      std::int64_t num = 2 * static_cast<std::int64_t>(p.x) * (q.y - p.y) +
                         (yc2 - 2 * static_cast<std::int64_t>(p.y)) * (static_cast<std::int64_t>(q.x) - p.x);
      if (den < 0) {
        den = -den;
        num = -num;
      }
      // The first pixel x with x + 1/2 >= num / den: x >= (2 num - den) / (2 den).
      const std::int64_t a = 2 * num - den;
      const std::int64_t b = 2 * den;
      crossings.push_back({-FloorDiv<std::int64_t>(-a, b), q.y > p.y ? 1 : -1});
    }
    std::sort(crossings.begin(), crossings.end(),
              [](const Crossing& c, const Crossing& d) { return c.firstPixel < d.firstPixel; });
    int count = 0;
    for (std::size_t i = 0; i + 1 < crossings.size(); ++i) {
      count += winding ? crossings[i].direction : 1;
      const bool inside = winding ? count != 0 : count % 2 != 0;
      if (inside)
        rows.Add(py, static_cast<int>(crossings[i].firstPixel), static_cast<int>(crossings[i + 1].firstPixel));
    }
  }
  return rows.Build();
}

}  // namespace ondrel::platform::graphics
