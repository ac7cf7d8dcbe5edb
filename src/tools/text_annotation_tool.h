// The text annotation: a free text on an image, typed by the user into an edit box in the viewport;
// or, with an owner, the label of a line, ellipse or angle, whose text the owner sets and the user can
// only drag away from its place beside the measurement.
//
// The text is drawn in the user's annotation font and colours, opaque. A free text, and a label once
// dragged, stand at an image pixel (their top-left corner), so they follow the anatomy through zoom
// and rotation; a label never dragged follows its measurement.
#pragma once

#include <memory>

#include "tools/meas_annot_tool.h"
#include "tools/text_edit_dialog.h"

class TextAnnotationTool final : public MeasAnnotTool {
 public:
  // A free text, without lines until the user types them.
  explicit TextAnnotationTool(Measurements& measurements);
  // The label of `owner`, with `lines`.
  TextAnnotationTool(Measurements& measurements, TextLines lines, MeasAnnotTool& owner);
  // Destroys the edit box, if open.
  ~TextAnnotationTool() override;

  // While making a free text, the first press opens the edit box at `point` and the next one commits
  // it; a press on the text starts its drag; a press while editing commits the edit.
  void OnButtonDown(HDC dc, POINT point) override;
  void OnMouseMove(HDC dc, POINT point) override;
  // False while the edit box is open.
  bool OnButtonUp(HDC dc, POINT point) override;
  // A free text opens its edit box again; a label cannot be edited.
  void OnDoubleClick(HWND window) override;
  void Draw(HDC dc) override;
  bool HitTestText(HDC dc, POINT point) override;
  // Commits an open edit: the typed lines and the box's place are kept.
  void EndInteraction() override;
  MeasAnnotTool* GetOwnerTool() const override { return owner_; }
  std::string_view Kind() const override { return "text"; }

  // The owner's new text.
  void SetLines(TextLines lines) { lines_ = std::move(lines); }
  const TextLines& Lines() const { return lines_; }
  // Where the text stands in client pixels, as last placed; and its top-left corner in image pixels
  // when last fixed. A text placed by its own corner (a free text, a dragged label) is drawn there.
  const RECT& Box() const { return box_; }
  PixelPoint TextOrigin() const { return textOrigin_; }
  bool IsMoved() const { return moved_; }
  // The open edit box, or null.
  const TextEditDialog* EditDialog() const { return editDialog_.get(); }

 private:
  void OpenEdit(HWND parent);
  void DragBox(HDC dc, POINT point);

  POINT dragStart_{};  // client pixels
  TextLines lines_;
  RECT box_{};
  PixelPoint textOrigin_;
  bool moved_ = false;
  MeasAnnotTool* owner_ = nullptr;
  std::unique_ptr<TextEditDialog> editDialog_;
};
