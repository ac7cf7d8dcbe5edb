// The ellipse tool marks an axis-aligned ellipse on an image and reports its area and the mean of the
// stored pixel values inside it, rescaled (Hounsfield units on CT images).
//
// The two anchors are opposite corners of the bounding box, in the order they were drawn. The four grip
// handles sit in the middle of the box's sides; dragging one moves one side.
#pragma once

#include <vector>

#include "tools/meas_annot_tool.h"

class EllipseTool final : public ShapeTool {
 public:
  explicit EllipseTool(Measurements& measurements) : ShapeTool(measurements) {}

  void OnButtonDown(HDC dc, POINT point) override;
  void OnMouseMove(HDC dc, POINT point) override;
  // Recomputes the label in every mode, a shape drag included (the pixels beneath changed); throws
  // "Invalid measurement: overlapped points." for a new ellipse of corners within the grip handle size.
  bool OnButtonUp(HDC dc, POINT point) override;
  void Draw(HDC dc) override;
  bool HitTestAnchor(POINT point) override;
  bool HitTestShape(POINT point) override;
  // The label's lines centred on the box's middle.
  void GetLabelBox(HDC dc, const TextLines& lines, RECT& rect, int& lineHeight) override;
  // The area line, then the mean line.
  void UpdateLabel() override;
  std::string_view Kind() const override { return "ellipse"; }

  // The label's lines as UpdateLabel makes them: the area, and the mean of the pixels inside. The mean
  // throws MyException "Invalid image info object" for an image without pixels, and what the
  // strategy throws.
  std::string AreaText() const;
  std::string MeanText() const;

 private:
  void RebuildGrips();
  // Moves the side of the active grip to `p`.
  void MoveSide(PixelPoint p);

  std::vector<PixelPoint> grips_;  // empty until the first release
};
