#include "spatial/reference_line_tool.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/user_preferences.h"
#include "tools/gdi_scope.h"
#include "tools/reference_lines_mode.h"

ReferenceLineTool::ReferenceLineTool(Measurements& measurements, PixelPoint first, PixelPoint second,
                                     std::int32_t instanceNumber)
    : MeasAnnotTool(measurements), instanceNumber_(instanceNumber) {
  anchors_ = {first, second};
}

ReferenceLineTool::~ReferenceLineTool() = default;

void ReferenceLineTool::OnButtonDown(HDC, POINT) {}
void ReferenceLineTool::OnMouseMove(HDC, POINT) {}
bool ReferenceLineTool::OnButtonUp(HDC, POINT) { return true; }
std::string_view ReferenceLineTool::Kind() const { return "reference"; }

void ReferenceLineTool::Draw(HDC dc) {
  if (anchors_.size() != 2) return;
  const POINT first = ToScreen(anchors_[0]);
  const POINT second = ToScreen(anchors_[1]);
  MoveToEx(dc, first.x, first.y, nullptr);
  LineTo(dc, second.x, second.y);

  // The number goes by the left end; of a vertical line, by the upper one (the second on a tie).
  const POINT anchor =
      first.x != second.x ? (first.x < second.x ? first : second) : (first.y < second.y ? first : second);
  SetTextColor(dc, Preferences().userRefLineColor);
  SetBkColor(dc, RGB(0, 0, 0));
  SetBkMode(dc, OPAQUE);
  const ScopedGdiObject<HFONT> font(GetAnnotationFont(dc));
  const ScopedSelection selection(dc, font.Get());
  char text[16];
  std::snprintf(text, sizeof text, "%d", static_cast<int>(instanceNumber_));
  const SIZE extent = TextExtent(dc, text);

  // The quotient is of whole numbers: a line lies once |dx| >= |dy|, not at a tenth of a true ratio.
  const long dx = std::labs(static_cast<long>(second.x) - first.x);
  const long dy = std::labs(static_cast<long>(second.y) - first.y);
  const bool lying = dy == 0 || static_cast<double>(dx / dy) > 0.1;
  const bool twice = ReferenceLinesMode() == REFERENCE_LINE_CURRENT_SERIES && instanceNumber_ > 0 &&
                     instanceNumber_ % 2 == 1;
  const int factor = twice ? 2 : 1;
  const int x = lying ? anchor.x - factor * extent.cx : anchor.x - extent.cx / 2;
  const int y = lying ? anchor.y - extent.cy / 2 : anchor.y - factor * extent.cy;
  TextOutA(dc, x, y, text, static_cast<int>(std::strlen(text)));
}
