#include "tools/text_annotation_tool.h"

#include <cstdlib>

#include "foundation/user_preferences.h"
#include "tools/gdi_scope.h"
#include "tools/measurements.h"

TextAnnotationTool::TextAnnotationTool(Measurements& measurements) : MeasAnnotTool(measurements) {}

TextAnnotationTool::TextAnnotationTool(Measurements& measurements, TextLines lines, MeasAnnotTool& owner)
    : MeasAnnotTool(measurements), lines_(std::move(lines)), owner_(&owner) {}

TextAnnotationTool::~TextAnnotationTool() = default;

void TextAnnotationTool::OpenEdit(HWND parent) {
  editDialog_ = std::make_unique<TextEditDialog>(*this);
  editDialog_->Create(parent);
}

void TextAnnotationTool::OnButtonDown(HDC dc, POINT point) {
  switch (mode_) {
    case MEAS_MODE_CREATING:
      if (editDialog_) {
        EndInteraction();  // a press anywhere commits what was typed
        return;
      }
      if (lines_.empty()) {
        // The first box is one letter wide and high. A text may start outside the image.
        const ScopedGdiObject<HFONT> font(GetAnnotationFont(dc));
        const ScopedSelection selection(dc, font.Get());
        const SIZE extent = TextExtent(dc, "X");
        box_ = RECT{point.x, point.y, point.x + extent.cx, point.y + extent.cy};
        textOrigin_ = ToImage(point);
      }
      OpenEdit(WindowFromDC(dc));
      return;
    case MEAS_MODE_MOVING_TEXT:
      dragStart_ = point;
      return;
    case MEAS_MODE_EDITING_TEXT:
      if (editDialog_)
        EndInteraction();
      else if (owner_ == nullptr)
        mode_ = MEAS_MODE_NONE;
      else
        OpenEdit(WindowFromDC(dc));
      return;
    default:
      return;
  }
}

void TextAnnotationTool::DragBox(HDC dc, POINT point) {
  // Under the exclusive-or pen the first outline takes the last one away.
  Rectangle(dc, box_.left, box_.top, box_.right, box_.bottom);
  const LONG dx = point.x - dragStart_.x;
  const LONG dy = point.y - dragStart_.y;
  box_ = RECT{box_.left + dx, box_.top + dy, box_.right + dx, box_.bottom + dy};
  dragStart_ = point;
  Rectangle(dc, box_.left, box_.top, box_.right, box_.bottom);
  moved_ = true;
}

void TextAnnotationTool::OnMouseMove(HDC dc, POINT point) {
  if (mode_ == MEAS_MODE_MOVING_TEXT) DragBox(dc, point);
}

bool TextAnnotationTool::OnButtonUp(HDC dc, POINT point) {
  bool complete = true;
  if (mode_ == MEAS_MODE_CREATING || mode_ == MEAS_MODE_EDITING_TEXT) {
    complete = !editDialog_;  // an open edit keeps the interaction going
  } else if (mode_ == MEAS_MODE_MOVING_TEXT) {
    DragBox(dc, point);
    mode_ = MEAS_MODE_NONE;
    textOrigin_ = ToImage({box_.left, box_.top});
  }
  Draw(dc);
  if (complete) mode_ = MEAS_MODE_NONE;
  return complete;
}

void TextAnnotationTool::OnDoubleClick(HWND window) {
  if (owner_ != nullptr) {
    mode_ = MEAS_MODE_NONE;  // a label can't be edited
    return;
  }
  OpenEdit(window);
}

void TextAnnotationTool::EndInteraction() {
  if (editDialog_) {
    editDialog_->GetText(lines_, box_);
    textOrigin_ = ToImage({box_.left, box_.top});
    moved_ = true;
    editDialog_.reset();
  }
  mode_ = MEAS_MODE_NONE;
}

void TextAnnotationTool::Draw(HDC dc) {
  if ((owner_ != nullptr && owner_->GetMode() != MEAS_MODE_NONE) || lines_.empty()) return;
  const ScopedGdiObject<HFONT> font(GetAnnotationFont(dc));
  const ScopedSelection selection(dc, font.Get());
  SetTextColor(dc, Preferences().userAnnotForeColor);
  SetBkColor(dc, Preferences().userAnnotBackgroundColor);
  SetBkMode(dc, OPAQUE);
  POINT start{};
  int lineHeight = 0;
  if (owner_ == nullptr || moved_) {
    // Placed by its own corner, which follows the anatomy through zoom and rotation.
    lineHeight = TextExtent(dc, "X").cy;
    start = ToScreen(textOrigin_);
  } else {
    owner_->GetLabelBox(dc, lines_, box_, lineHeight);  // a label never dragged follows its measurement
    start = POINT{box_.left, box_.top};
  }
  for (const std::string& line : lines_) {
    TextOutA(dc, start.x, start.y, line.c_str(), static_cast<int>(line.size()));
    start.y += lineHeight;
  }
}

bool TextAnnotationTool::HitTestText(HDC dc, POINT point) {
  if (owner_ != nullptr && !moved_) {
    int lineHeight = 0;
    owner_->GetLabelBox(dc, lines_, box_, lineHeight);
  } else {
    // The box keeps its size in client pixels; its corner follows the image.
    const LONG width = std::abs(box_.right - box_.left);
    const LONG height = std::abs(box_.bottom - box_.top);
    const POINT corner = ToScreen(textOrigin_);
    box_ = RECT{corner.x, corner.y, corner.x + width, corner.y + height};
  }
  return PtInRect(&box_, point) != FALSE;
}
