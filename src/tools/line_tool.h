// The line tool measures the distance between two points of an image, in millimetres on a calibrated
// image and in image pixels otherwise. The calibration tool is the same line in the user's calibration
// colour, whose true length the user then states (Measurements::Calibrate) so that the image obtains a
// pixel spacing. There is no arrow tool: MEAS_ARROW makes nothing.
#pragma once

#include "tools/meas_annot_tool.h"

class LineTool : public ShapeTool {
 public:
  explicit LineTool(Measurements& measurements) : ShapeTool(measurements) {}

  // A press outside the image ends the gesture at once (MEAS_MODE_NONE); inside, a new line starts
  // with both ends there, the second following the pointer.
  void OnButtonDown(HDC dc, POINT point) override;
  void OnMouseMove(HDC dc, POINT point) override;
  // Stores the dragged end (held in the image) and updates the label; throws "Invalid measurement:
  // overlapped points." for a new line of ends within the grip handle size.
  bool OnButtonUp(HDC dc, POINT point) override;
  void Draw(HDC dc) override;
  bool HitTestAnchor(POINT point) override;
  bool HitTestShape(POINT point) override;
  // The label centred on the midpoint of the ends.
  void GetLabelBox(HDC dc, const TextLines& lines, RECT& rect, int& lineHeight) override;
  // "%.0f mm" with the calibration, else "%.0f px".
  void UpdateLabel() override;
  std::string_view Kind() const override { return "line"; }

 protected:
  void DrawLine(HDC dc);
};

class CalibrationTool final : public LineTool {
 public:
  using LineTool::LineTool;

  // Finished, in its own pen (userCalibrationLineColor); during an interaction in the pen it is given.
  void Draw(HDC dc) override;
  // The spacing that makes this line `userValue` millimetres long, from its length in image pixels
  // whatever the present calibration; 0 for a line without two ends or of no length.
  double SpacingFor(double userValue) const;
  std::string_view Kind() const override { return "calibration"; }
};
