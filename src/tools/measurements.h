// Measurements: the measurement and annotation tools of one image, and its reference lines. It owns
// the tools (oldest first; a measurement's label stands in the same list, behind its measurement),
// knows which one is selected, holds the image's calibration, routes the viewport's gestures to the
// right tool, decides when a new tool is made, deletes tools, and draws them.
//
// Every image a viewport shows carries one, attached by the renderer that makes the image
// (Image::AttachAnnotations): measurements live and die with their image and are not shared between
// images or viewports. The image draws it after its overlays (ImageAnnotations).
//
// A drag costs no repaint of the image: each move draws the selected tool twice with a white
// exclusive-or pen, once to erase its last place and once at the new one. A finished tool appears at
// the next full draw of the image.
//
// A gesture on a window that is not valid does nothing (a press answers false, a release true).
// Failures of the coordinate transforms and of the image's strategy are thrown as MyException; a
// release that would finish a measurement whose points lie within the grip handle size of each other
// throws std::runtime_error "Invalid measurement: overlapped points.", leaving the tool as it was.
#pragma once

#include <list>
#include <memory>
#include <optional>

#include "image/annotations.h"
#include "image/image.h"
#include "tools/meas_annot_tool.h"

// The pixel spacing of a calibrated image in millimetres: `x` multiplies horizontal, `y` vertical
// distances in image pixels.
struct Calibration {
  double x = 0.0;
  double y = 0.0;
};

// What the transforms between client and image pixels take from the image and its viewport.
struct DisplayGeometry {
  int rotation = 0;
  bool verticalFlip = false;
  bool horizontalFlip = false;
  RECT dest{};
  std::uint16_t rows = 0;
  std::uint16_t columns = 0;
};

using ToolList = std::list<std::unique_ptr<MeasAnnotTool>>;

class Measurements final : public ImageAnnotations {
 public:
  // The measurements of `image`, which must outlive them; the calibration is read from its strategy.
  // Throws MyException "Invalid image info object." for an image without a strategy, and what the
  // strategy throws.
  explicit Measurements(Image& image);
  ~Measurements() override;
  Measurements(const Measurements&) = delete;
  Measurements& operator=(const Measurements&) = delete;

  // A press at `point` (client pixels) with the tool the user has chosen (a MeasurementsEnum value; any
  // other acts as MEAS_NONE). A tool being made, or a text being edited or dragged, takes every press;
  // otherwise the grip handles of all tools are tested, oldest first, then their outlines, then their
  // text boxes, visible or not, and the first hit is selected and dragged. A press on nothing clears
  // the selection and makes a new tool of `measType` (MEAS_LINE, MEAS_ELLIPSE, MEAS_ANGLE, MEAS_TEXT),
  // or selects the calibration line (MEAS_CALIBRATION: the first one, made when there is none).
  // True unless the window is not valid or the press on nothing was MEAS_EDIT.
  bool OnButtonDown(HWND window, POINT point, USHORT measType);
  // A move during an interaction: the selected tool's rubber band.
  void OnMouseMove(HWND window, POINT point);
  // A release: the selected tool's answer, true when its interaction is over (an angle wants three
  // clicks, an open text edit goes on); false when no interaction is going on.
  bool OnButtonUp(HWND window, POINT point);
  // The selected tool starts editing its text: a free text opens its edit box; a label or a measurement
  // does nothing, and the next press and release go to it without effect (a swallowed click).
  void OnDoubleClick(HWND window);
  // Ends the interaction of the selected tool, or of the measurement whose label is selected.
  void EndInteraction();

  // Deletes the selected tool (with its label), or the measurement whose label is selected; the
  // selection moves to the oldest tool left.
  void DeleteSelected();
  // Deletes every tool; the reference lines stay.
  void DeleteAll();

  // The tools, when visible, with the user's measurement pen (ImageAnnotations); on a window, where the
  // picture stands at the image's display rectangle.
  void Draw(HDC dc, const RECT& dest) override;
  void Draw(HWND window);
  // The reference lines with the user's reference line pen, whatever the visibility of the tools;
  // nothing while the process's reference-line mode is off.
  void DrawReferenceLines(HDC dc, const RECT& dest) override;

  // The user's true length of the selected calibration line, in millimetres: the line goes, and its
  // spacing (userValue over the line's length in image pixels, the same both ways) is written to the
  // image (or its whole series, with `applyToSeries`) and becomes the calibration of every label; the
  // tools are drawn again on the window. With `cancel` the line only goes. Answers true, changing
  // nothing, when the selected tool is no calibration line. A spacing of zero (a line of no length, a
  // length of 0) leaves the image uncalibrated.
  bool Calibrate(HWND window, bool cancel, double userValue, bool applyToSeries);

  // Unlinks and destroys one tool (with its label); nothing for a tool that is not in the list.
  void RemoveTool(MeasAnnotTool* tool);
  // Adds a tool at the tail of the list.
  void AppendTool(std::unique_ptr<MeasAnnotTool> tool);

  bool IsVisible() const { return visible_; }
  void ToggleVisibility() { visible_ = !visible_; }
  const std::optional<Calibration>& GetCalibration() const { return calibration_; }
  MeasAnnotTool* GetSelected() const { return selected_; }
  const ToolList& Tools() const { return tools_; }
  // The reference lines of the image, filled by the reference line calculation.
  ToolList& ReferenceLines() { return referenceLines_; }
  void ClearReferenceLines() { referenceLines_.clear(); }
  const ToolList& ReferenceLines() const { return referenceLines_; }

  Image& GetImage() const { return image_; }
  // The display geometry the tools' transforms use now: the image's rotation, flips, rows and
  // columns, and its display rectangle (or, during a draw on a context, the picture's rectangle there).
  // Throws MyException "Invalid image info object." for an image without a strategy.
  DisplayGeometry Geometry() const;

 private:
  void LoadCalibration();
  void DrawTools(HDC dc);

  Image& image_;
  std::optional<Calibration> calibration_;
  ToolList tools_;
  MeasAnnotTool* selected_ = nullptr;
  bool visible_ = true;
  ToolList referenceLines_;
  std::optional<RECT> drawDest_;  // set during a draw on a context
};

// The measurements attached to an image, or null when it has none.
Measurements* MeasurementsOf(const Image& image);
