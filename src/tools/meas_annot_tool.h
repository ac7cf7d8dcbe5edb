// MeasAnnotTool: the base of everything a user draws on an image (lines, calibration lines, ellipses,
// angles, texts and the labels of measurements), and the services they share.
//
// A tool keeps its anchors in pixels of the raw image (before rotation and flips) and turns them into
// client pixels afresh at every draw and hit test: that is the whole of how tools survive zoom, pan,
// rotation and flips. Tools belong to the Measurements of one image, which routes the gestures to them
// (press, moves, release; the manager sets up the context they draw in) and draws them.
//
// Hit tests and grip handles work in client pixels, with the user's grip handle size as tolerance,
// so they keep their size on screen at any zoom. The overlap test works in image pixels.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "geometry/geometry.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdi.h"

class Measurements;
class TextAnnotationTool;

// Whether `point` lies within `tolerance` of the segment p-q and of its bounding box, all in client
// pixels: the hit test of a line on the screen.
bool HitSegmentOnScreen(POINT point, POINT p, POINT q, int tolerance);

// The lines of a label or a text note, in Windows-1252, one a line.
using TextLines = std::vector<std::string>;

class MeasAnnotTool {
 public:
  // Removes the label, if any, from the measurements (which destroys it).
  virtual ~MeasAnnotTool();
  MeasAnnotTool(const MeasAnnotTool&) = delete;
  MeasAnnotTool& operator=(const MeasAnnotTool&) = delete;

  // The gestures, in client pixels of the viewport; `dc` is a context of its window. The release
  // answers true when the interaction is over.
  virtual void OnButtonDown(HDC dc, POINT point) = 0;
  virtual void OnMouseMove(HDC dc, POINT point) = 0;
  virtual bool OnButtonUp(HDC dc, POINT point) = 0;
  // Nothing but for a text.
  virtual void OnDoubleClick(HWND window);
  // Draws with the pen and brush selected into `dc`.
  virtual void Draw(HDC dc) = 0;
  // Whether `point` is on a grip handle (which becomes the one dragged), on the outline, in a text box.
  // False here.
  virtual bool HitTestAnchor(POINT point);
  virtual bool HitTestShape(POINT point);
  virtual bool HitTestText(HDC dc, POINT point);
  // Abandons or commits the interaction; here the mode goes back to MEAS_MODE_NONE.
  virtual void EndInteraction();
  // The measurement this tool labels; null here.
  virtual MeasAnnotTool* GetOwnerTool() const;
  // Where this measurement's label goes by default, in client pixels, and the height of its lines;
  // nothing here.
  virtual void GetLabelBox(HDC dc, const TextLines& lines, RECT& rect, int& lineHeight);
  // Recomputes the label's text and makes the label on first use; nothing here.
  virtual void UpdateLabel();
  // What the tool is, for the list of an image's measurements: "line", "calibration", "ellipse",
  // "angle", "text".
  virtual std::string_view Kind() const = 0;

  MeasOperationsEnum GetMode() const { return mode_; }
  void SetMode(MeasOperationsEnum mode) { mode_ = mode; }
  // The anchors in image pixels, in the order they were made.
  const std::vector<PixelPoint>& Anchors() const { return anchors_; }
  TextAnnotationTool* Label() const { return label_; }

 protected:
  // Starts in MEAS_MODE_CREATING, and completes the shared texts of the process (MeasurementTexts).
  explicit MeasAnnotTool(Measurements& measurements);

  // Client to image pixels and back, through the image's rotation, flips and display rectangle. Throw
  // MyException "Invalid image info object." for an image without a strategy, and ToScreen
  // "Zero scalling in coordinate transformations." for an image without rows or columns.
  PixelPoint ToImage(POINT point) const;
  POINT ToScreen(PixelPoint point) const;
  // Holds `point` inside the image: negative coordinates become 0, those at or beyond the columns or
  // rows the last one. True when it was inside already.
  bool ClampToImage(PixelPoint& point) const;
  bool IsSelected() const;

  // The grip handle of `anchor`: the square of half-width userMeasGripHandleSize around its client
  // position, right and bottom edges outside.
  bool HitGrip(POINT point, PixelPoint anchor) const;
  // Within userMeasGripHandleSize client pixels of the segment a-b (and of its bounding box).
  bool HitSegment(POINT point, PixelPoint a, PixelPoint b) const;
  // Within userMeasGripHandleSize client pixels of the outline of the ellipse in the box a-b, either
  // side: the outline only, never the inside.
  bool HitEllipseOutline(POINT point, PixelPoint a, PixelPoint b) const;
  // Whether a and b lie within userMeasGripHandleSize image pixels of each other.
  bool AreOverlapped(PixelPoint a, PixelPoint b) const;
  void DrawGrips(HDC dc, std::span<const PixelPoint> points) const;
  // The extent of `text` in the font selected into `dc`.
  static SIZE TextExtent(HDC dc, const std::string& text);
  // A new font of the user's annotation font for `dc`, which the caller deletes.
  static HFONT GetAnnotationFont(HDC dc);
  // The label box of the line and the angle: the first of `lines` in the annotation font, centred on
  // `centre` (image pixels), its height in lineHeight; an empty box when there are no lines.
  void CentredLabelBox(HDC dc, const TextLines& lines, PixelPoint centre, RECT& rect, int& lineHeight) const;

  // How every measurement updates its label: with no label yet, fails with std::runtime_error
  // "Invalid measurement: overlapped points." when `overlapped` holds (it is asked then only), else
  // makes the label with `lines` and appends it to the measurements; with a label, gives it `lines`.
  template <class Overlapped>
  void ApplyLabel(TextLines lines, Overlapped overlapped) {
    if (label_ == nullptr && overlapped()) ThrowOverlapped();
    SetLabelLines(std::move(lines));
  }

  Measurements& measurements_;
  std::vector<PixelPoint> anchors_;
  MeasOperationsEnum mode_ = MEAS_MODE_CREATING;
  TextAnnotationTool* label_ = nullptr;  // owned by the measurements' list

 private:
  [[noreturn]] static void ThrowOverlapped();
  void SetLabelLines(TextLines lines);
};

// The base of the measurements drawn from anchors (lines, calibration lines, ellipses, angles): the
// drag of the whole shape and the anchor that follows the pointer.
class ShapeTool : public MeasAnnotTool {
 protected:
  using MeasAnnotTool::MeasAnnotTool;

  // Moves every anchor by `point` - dragStart (image pixels), or none of them when one would leave the
  // image: a shape stops whole at the edge, undeformed. dragStart becomes `point` when it moves.
  void MoveShape(PixelPoint point);
  // The move of the line and the angle: erases the last rubber band, moves the active anchor (held in
  // the image) while creating or dragging a grip, or the whole shape while dragging it, and draws again.
  void CommonMove(HDC dc, POINT point);
  // The first of `grips` whose handle holds `point` becomes the active anchor (else none is); true
  // when one does.
  bool HitFirstGrip(POINT point, const std::vector<PixelPoint>& grips);

  PixelPoint dragStart_;
  // The index of the anchor (on the ellipse, the grip) being dragged, or -1.
  int activeAnchor_ = -1;
};
