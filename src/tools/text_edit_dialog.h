// The in-place editor of a text annotation: a small child window of the viewport (a modeless dialog
// made from an in-memory template) holding one multi-line edit control, which grows and shrinks the
// dialog as the user types so that the box fits the text. There is no OK or Cancel: the tool commits
// what was typed when the interaction ends.
#pragma once

#include <string>

#include "ondrel/platform/gdi.h"
#include "ondrel/platform/windows.h"
#include "tools/meas_annot_tool.h"

class TextAnnotationTool;

// The lines of an edit text: CR and LF both end a line, and a run of them ends one line only (an
// empty line typed between two others is lost); a text ending in a line end gains an empty last line,
// an empty text is one empty line.
TextLines SplitEditText(const std::string& text);

// The edit control of the dialog, subclassed: each typed character first resizes the dialog to the
// text it makes, then reaches the control.
class AutoResizingEditCtrl {
 public:
  AutoResizingEditCtrl() = default;
  AutoResizingEditCtrl(const AutoResizingEditCtrl&) = delete;
  AutoResizingEditCtrl& operator=(const AutoResizingEditCtrl&) = delete;

  void SubclassWindow(HWND control);
  HWND Window() const { return control_; }

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  void OnChar(unsigned character);

  HWND control_ = nullptr;
  WNDPROC previous_ = nullptr;
};

class TextEditDialog {
 public:
  // The editor of `tool`'s text, whose lines and box it opens with.
  explicit TextEditDialog(TextAnnotationTool& tool) : tool_(tool) {}
  // Destroys the window if it still stands, and the font it showed.
  ~TextEditDialog();
  TextEditDialog(const TextEditDialog&) = delete;
  TextEditDialog& operator=(const TextEditDialog&) = delete;

  // Creates the dialog as a child of `parent`, over the tool's box, with the tool's lines in the user's
  // annotation font, the edit control holding the focus. False when the window can't be made.
  bool Create(HWND parent);
  // The typed lines (SplitEditText), and the dialog's place in the parent's client pixels. When the
  // window is gone (its viewport was destroyed), no lines and `rect` as it was.
  void GetText(TextLines& lines, RECT& rect) const;
  HWND Window() const { return window_; }
  HWND EditWindow() const { return edit_.Window(); }

 private:
  static INT_PTR CALLBACK DialogProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  void OnInitDialog(HWND window);
  void OnSize();

  TextAnnotationTool& tool_;
  HWND window_ = nullptr;
  AutoResizingEditCtrl edit_;
  HFONT font_ = nullptr;  // shown by the dialog and its control, deleted after them
};
