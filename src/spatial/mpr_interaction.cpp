#include "spatial/mpr_interaction.h"

#include <cmath>

#include "foundation/user_preferences.h"
#include "geometry/geometry.h"
#include "spatial/mpr_state.h"
#include "tools/gdi_scope.h"
#include "tools/meas_annot_tool.h"
#include "tools/measurements.h"

namespace spatial {
namespace {

// The radius of the centre handle, in client pixels.
constexpr int kHandleRadius = 10;

// How the image stands in its window: what the transforms between client and image pixels take.
struct View {
  DisplayGeometry g;

  explicit View(const Image& image) {
    g.dest = image.DisplayRect();
    if (const PresentationIntent* intent = image.Intent()) {
      g.rotation = intent->rotation;
      g.verticalFlip = intent->flipY != 0;
      g.horizontalFlip = intent->flipX != 0;
    }
    g.rows = image.Info()->GetRows();
    g.columns = image.Info()->GetColumns();
  }
  PixelPoint ToImage(POINT point) const {
    return ::ToImage({point.x, point.y}, g.rotation, g.verticalFlip, g.horizontalFlip, g.dest, g.rows, g.columns);
  }
  POINT ToScreen(PixelPoint point) const {
    const PixelPoint shown = ::ToScreen(point, g.rotation, g.verticalFlip, g.horizontalFlip, g.dest, g.rows, g.columns);
    return {shown.x, shown.y};
  }
};

Point2D AsPoint2D(PixelPoint p) { return {static_cast<double>(p.x), static_cast<double>(p.y)}; }
PixelPoint Rounded(Point2D p) { return {RoundToInt(p.x), RoundToInt(p.y)}; }

// An image of the source series of a running MPR, whose line has its two ends.
bool ShowsMprSource(const Image& image) {
  return image.Info() != nullptr && image.Info()->GetMprType() == kMprSourceRole && Mpr().lineEnds.size() == 2;
}

// The ends of the two slab lines in image pixels, across the line by the slab's half width: a1-a2 on
// one side, b1-b2 on the other. False, with nothing written, for a line without length.
struct SlabCorners {
  PixelPoint a1, a2, b1, b2;
};
bool CalculateSlabCorners(ImageInfoStrategy& image, SlabCorners& corners) {
  const MprState& state = Mpr();
  const PixelPoint p = StackToImage(state.lineEnds[0], image);
  const PixelPoint q = StackToImage(state.lineEnds[1], image);
  const double dx = static_cast<double>(state.lineEnds[1].x) - state.lineEnds[0].x;
  const double dy = static_cast<double>(state.lineEnds[1].y) - state.lineEnds[0].y;
  const double length = std::sqrt(dx * dx + dy * dy);
  if (length < 1e-6) return false;
  const std::int32_t ox = TruncateToInt(dy / length * state.slabHalfWidth);
  const std::int32_t oy = TruncateToInt(dx / length * state.slabHalfWidth);
  corners = {{p.x - ox, p.y + oy}, {q.x - ox, q.y + oy}, {p.x + ox, p.y - oy}, {q.x + ox, q.y - oy}};
  return true;
}

// Whether `point` (client pixels) lies in the ellipse in the box of the image pixels a and b.
bool IsPointInEllipse(const View& view, POINT point, PixelPoint a, PixelPoint b) {
  const POINT p = view.ToScreen(a);
  const POINT q = view.ToScreen(b);
  const int rx = std::abs(p.x - q.x) / 2;
  const int ry = std::abs(p.y - q.y) / 2;
  const double cx = std::min(p.x, q.x) + rx;
  const double cy = std::min(p.y, q.y) + ry;
  const double dx = point.x - cx;
  const double dy = point.y - cy;
  return dx * dx / (static_cast<double>(rx) * rx) + dy * dy / (static_cast<double>(ry) * ry) <= 1.0;
}

void DrawOn(HDC dc, Image& image) {
  const MprState& state = Mpr();
  ImageInfoStrategy& info = *image.Info();
  const View view(image);
  const POINT a = view.ToScreen(StackToImage(state.lineEnds[0], info));
  const POINT b = view.ToScreen(StackToImage(state.lineEnds[1], info));
  const POINT c = view.ToScreen(StackToImage(state.lineCenter.value_or(PixelPoint{}), info));
  SlabCorners slab{};
  CalculateSlabCorners(info, slab);

  const UserPreferenceValues& preferences = Preferences();
  const bool dragging = state.mprMode == MPR_MODE_TRANSLATION || state.mprMode == MPR_MODE_ROTATION ||
                        (state.slabFlags & kSlabDragFlag) != 0;
  const ScopedGdiObject<HPEN> linePen(CreatePen(PS_SOLID, preferences.userMprLineWidth,
                                                dragging ? RGB(255, 255, 255) : preferences.userMprLineColor));
  const ScopedGdiObject<HPEN> slabPen(CreatePen(PS_SOLID, dragging ? preferences.userMprLineWidth : preferences.userMipLineWidth,
                                                dragging ? RGB(255, 255, 255) : preferences.userMipLineColor));
  const int previousMix = dragging ? SetROP2(dc, R2_XORPEN) : 0;
  {
    const ScopedSelection pen(dc, linePen.Get());
    const ScopedSelection brush(dc, GetStockObject(BLACK_BRUSH));
    MoveToEx(dc, a.x, a.y, nullptr);
    LineTo(dc, b.x, b.y);
    for (const int radius : {kHandleRadius, kHandleRadius / 2})
      Ellipse(dc, c.x - radius, c.y - radius, c.x + radius, c.y + radius);
    if (state.slabFlags != 0) {
      const ScopedSelection slabSelection(dc, slabPen.Get());
      for (const auto& [from, to] : {std::pair{slab.a1, slab.a2}, std::pair{slab.b1, slab.b2}}) {
        const POINT p = view.ToScreen(from);
        const POINT q = view.ToScreen(to);
        MoveToEx(dc, p.x, p.y, nullptr);
        LineTo(dc, q.x, q.y);
      }
    }
  }
  if (previousMix != 0) SetROP2(dc, previousMix);
}

// The line drawn once more on the window: during a drag, with the exclusive-or pen, this erases it.
void DrawOnWindow(Image& image, HWND window) {
  const ScopedWindowDC context(window);
  if (context.Get() != nullptr) DrawOn(context.Get(), image);
}

PixelPoint StackPointOf(Image& image, POINT point) {
  return ImageToStack(View(image).ToImage(point), *image.Info());
}

// The line moved to follow the mouse, shifted or turned about its centre, and clipped to the stack
// system of the image under the mouse.
void MoveMprLine(Image& image, POINT point) {
  MprState& state = Mpr();
  const PixelPoint m = StackPointOf(image, point);
  Point2D a;
  Point2D b;
  if (state.mprMode == MPR_MODE_TRANSLATION) {
    const PixelPoint last = state.lastPoint.value_or(m);
    const PixelPoint delta{m.x - last.x, m.y - last.y};
    PixelPoint& centre = *state.lineCenter;
    centre = {centre.x + delta.x, centre.y + delta.y};
    a = {static_cast<double>(state.lineEnds[0].x) + delta.x, static_cast<double>(state.lineEnds[0].y) + delta.y};
    b = {static_cast<double>(state.lineEnds[1].x) + delta.x, static_cast<double>(state.lineEnds[1].y) + delta.y};
  } else {
    a = AsPoint2D(state.lineCenter.value_or(PixelPoint{}));
    b = AsPoint2D(m);
  }
  double slope = 0.0;
  double intercept = 0.0;
  const bool vertical = !CalculateLineEquation(a, b, slope, intercept);
  ImageInfoStrategy& info = *image.Info();
  const RECT stack{0, 0, info.GetColumns() + state.columnsShift - 1, info.GetRows() + state.rowsShift - 1};
  const std::vector<PixelPoint> clipped = ClipLineToRectangle(slope, intercept, vertical, stack);
  // Anything but two crossings leaves the line where it is; a shifted centre comes back to it at the
  // next step that succeeds.
  if (clipped.size() != 2) return;
  Point2D first = AsPoint2D(state.lineEnds[0]);
  Point2D second;
  AssignNearestEndpoints(first, second, AsPoint2D(clipped[0]), AsPoint2D(clipped[1]));
  state.lineEnds = {Rounded(first), Rounded(second)};
  state.lineCenter = Rounded(PerpendicularFoot(AsPoint2D(state.lineEnds[0]), AsPoint2D(state.lineEnds[1]),
                                               AsPoint2D(state.lineCenter.value_or(PixelPoint{}))));
}

bool Dragging() {
  const MprState& state = Mpr();
  return state.lastPoint && (state.mprMode == MPR_MODE_TRANSLATION || state.mprMode == MPR_MODE_ROTATION);
}

void SetSlabFromPoint(Image& image, POINT point) {
  MprState& state = Mpr();
  state.slabHalfWidth =
      PointToLineDistance(AsPoint2D(state.lineEnds[0]), AsPoint2D(state.lineEnds[1]), AsPoint2D(StackPointOf(image, point)));
}

class MprLineDrawing final : public ViewportLines {
 public:
  void Draw(HDC dc, Image& image) override {
    if (ShowsMprSource(image)) DrawOn(dc, image);
  }
};

}  // namespace

bool MprButtonDown(Image& image, HWND window, POINT point) {
  if (!ShowsMprSource(image)) return false;
  MprState& state = Mpr();
  image.RecalculateDisplayRect(window);
  ImageInfoStrategy& info = *image.Info();
  const View view(image);
  const PixelPoint a = StackToImage(state.lineEnds[0], info);
  const PixelPoint b = StackToImage(state.lineEnds[1], info);
  const POINT c = view.ToScreen(StackToImage(state.lineCenter.value_or(PixelPoint{}), info));
  const PixelPoint corner1 = view.ToImage({c.x - kHandleRadius, c.y - kHandleRadius});
  const PixelPoint corner2 = view.ToImage({c.x + kHandleRadius, c.y + kHandleRadius});
  if (IsPointInEllipse(view, point, corner1, corner2)) {
    state.mprMode = MPR_MODE_TRANSLATION;
  } else if (HitSegmentOnScreen(point, view.ToScreen(a), view.ToScreen(b), Preferences().userMeasGripHandleSize)) {
    state.mprMode = MPR_MODE_ROTATION;
  } else {
    return false;
  }
  state.lastPoint = StackPointOf(image, point);
  return true;
}

bool MprMouseMove(Image& image, HWND window, POINT point) {
  if (!ShowsMprSource(image) || !Dragging() || !IsWindow(window)) return false;
  DrawOnWindow(image, window);
  MoveMprLine(image, point);
  DrawOnWindow(image, window);
  Mpr().lastPoint = StackPointOf(image, point);
  return true;
}

bool MprButtonUp(Image& image, HWND window, POINT point) {
  if (!ShowsMprSource(image) || !Dragging() || !IsWindow(window)) return false;
  DrawOnWindow(image, window);
  MoveMprLine(image, point);
  DrawOnWindow(image, window);
  MprState& state = Mpr();
  state.lastPoint.reset();
  state.mprMode = MPR_MODE_GENERATED;
  return true;
}

bool SlabButtonDown(Image& image, HWND window, POINT point) {
  if (!ShowsMprSource(image)) return false;
  image.RecalculateDisplayRect(window);
  SlabCorners slab{};
  CalculateSlabCorners(*image.Info(), slab);
  const View view(image);
  const int tolerance = Preferences().userMeasGripHandleSize;
  if (!HitSegmentOnScreen(point, view.ToScreen(slab.a1), view.ToScreen(slab.a2), tolerance) &&
      !HitSegmentOnScreen(point, view.ToScreen(slab.b1), view.ToScreen(slab.b2), tolerance))
    return false;
  Mpr().slabFlags |= kSlabDragFlag;
  return true;
}

bool SlabMouseMove(Image& image, HWND window, POINT point) {
  if (!ShowsMprSource(image) || (Mpr().slabFlags & kSlabDragFlag) == 0 || !IsWindow(window)) return false;
  DrawOnWindow(image, window);
  SetSlabFromPoint(image, point);
  DrawOnWindow(image, window);
  return true;
}

bool SlabButtonUp(Image& image, HWND window, POINT point) {
  if (!SlabMouseMove(image, window, point)) return false;
  Mpr().slabFlags &= static_cast<std::uint16_t>(~kSlabDragFlag);
  return true;
}

void SetSlabMode(std::uint16_t mode) {
  MprState& state = Mpr();
  if (state.slabFlags == 0) state.slabHalfWidth = kDefaultSlabHalfWidth;
  state.slabFlags = mode;
}

void EndSlabMode() {
  MprState& state = Mpr();
  state.slabHalfWidth = kDefaultSlabHalfWidth;
  state.slabFlags = 0;
}

ViewportLines& MprLines() {
  static MprLineDrawing drawing;
  return drawing;
}

}  // namespace spatial
