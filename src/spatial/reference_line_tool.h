// ReferenceLineTool: one reference line on an image, where the slice of another viewport's image cuts
// it, with that image's instance number beside it.
//
// The reference-line calculation makes these and keeps them in the reference lines of the image's
// Measurements, which draw them before the measurements. A reference line takes no gestures and is
// never selected, hit or dragged: it lives until the next calculation that touches its viewport.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/meas_annot_tool.h"

class ReferenceLineTool final : public MeasAnnotTool {
 public:
  // The line from `first` to `second`, in pixels of the image of `measurements` (the two anchors).
  ReferenceLineTool(Measurements& measurements, PixelPoint first, PixelPoint second, std::int32_t instanceNumber);
  ~ReferenceLineTool() override;

  void OnButtonDown(HDC dc, POINT point) override;
  void OnMouseMove(HDC dc, POINT point) override;
  // True: there is never an interaction to go on with.
  bool OnButtonUp(HDC dc, POINT point) override;
  // The line with the pen selected into `dc`, and the number in the user's reference-line colour on
  // black, in the annotation font, beside the end further left (the upper one for a vertical line):
  // to its left when the line lies (|dx| >= |dy| on screen), above it when it stands. In series mode
  // the number of an odd image (a positive one) stands twice as far from the end, so that the
  // numbers of neighbouring slices don't cover each other. Nothing unless the tool has two anchors.
  // Throws what the transforms to client pixels throw.
  void Draw(HDC dc) override;
  // "reference".
  std::string_view Kind() const override;

  std::int32_t InstanceNumber() const { return instanceNumber_; }

 private:
  std::int32_t instanceNumber_;
};
