// The angle tool measures the angle between two segments that share a vertex, from 0 to 180 degrees,
// in image pixels (a right angle drawn on the screen reads 90 whatever the pixel spacing). It is made
// with three clicks: the first sets one end and starts the vertex, the second fixes the vertex and
// starts the other end, the third finishes; until then its releases answer false.
#pragma once

#include "tools/meas_annot_tool.h"

class AngleTool final : public ShapeTool {
 public:
  explicit AngleTool(Measurements& measurements) : ShapeTool(measurements) {}

  void OnButtonDown(HDC dc, POINT point) override;
  void OnMouseMove(HDC dc, POINT point) override;
  // Throws "Invalid measurement: overlapped points." at the third release when two of the points lie
  // within the grip handle size; the angle then stays in the making.
  bool OnButtonUp(HDC dc, POINT point) override;
  void Draw(HDC dc) override;
  bool HitTestAnchor(POINT point) override;
  bool HitTestShape(POINT point) override;
  // The label centred on the centroid of the three points.
  void GetLabelBox(HDC dc, const TextLines& lines, RECT& rect, int& lineHeight) override;
  // "%.0f" and the degree sign.
  void UpdateLabel() override;
  std::string_view Kind() const override { return "angle"; }
};
