#include "tools/text_edit_dialog.h"

#include <algorithm>
#include <vector>

#include "foundation/user_preferences.h"
#include "tools/gdi_scope.h"
#include "tools/text_annotation_tool.h"

namespace {

constexpr int kEditControlId = 202;
constexpr std::string_view kLineEnds = "\r\n";

// The dialog: a child of the viewport without caption, holding one multi-line edit control.
const ondrel::platform::DialogTemplateWriter& EditDialogTemplate() {
  static const ondrel::platform::DialogTemplateWriter dialog = [] {
    ondrel::platform::DialogTemplateWriter made(DS_SETFONT | WS_CHILD | WS_VISIBLE | WS_SYSMENU, 0, 0, 0, 186, 95, 8,
                                                u"MS Sans Serif");
    made.AddControl(WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_WANTRETURN, WS_EX_TRANSPARENT, 0, 0, 122, 34,
                    kEditControlId, kDialogClassEdit, u"");
    return made;
  }();
  return dialog;
}

std::string WindowText(HWND window) {
  const int length = GetWindowTextLengthA(window);
  std::vector<char> buffer(static_cast<std::size_t>(std::max(length, 0)) + 2);
  const int copied = GetWindowTextA(window, buffer.data(), static_cast<int>(buffer.size()));
  return std::string(buffer.data(), static_cast<std::size_t>(std::max(copied, 0)));
}

}  // namespace

TextLines SplitEditText(const std::string& text) {
  TextLines lines;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find_first_of(kLineEnds, start);
    lines.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    if (end == std::string::npos) break;
    start = std::min(text.find_first_not_of(kLineEnds, end), text.size());
  }
  return lines;
}

void AutoResizingEditCtrl::SubclassWindow(HWND control) {
  control_ = control;
  SetWindowLongPtrA(control, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  previous_ = reinterpret_cast<WNDPROC>(
      SetWindowLongPtrA(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&AutoResizingEditCtrl::WindowProcedure)));
}

LRESULT CALLBACK AutoResizingEditCtrl::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<AutoResizingEditCtrl*>(GetWindowLongPtrA(window, GWLP_USERDATA));
  if (self == nullptr) return DefWindowProcA(window, message, wParam, lParam);
  if (message == WM_CHAR) {
    // Nothing may leave a window procedure: a box that can't be measured keeps its size.
    try {
      self->OnChar(static_cast<unsigned>(wParam & 0xFF));
    } catch (...) {
    }
  }
  return CallWindowProcA(self->previous_, window, message, wParam, lParam);
}

// Sizes the dialog to the text the character makes, before the control takes it: as wide as the
// widest line and one letter more, as high as its lines.
void AutoResizingEditCtrl::OnChar(unsigned character) {
  const HWND dialog = GetParent(control_);
  if (dialog == nullptr) return;
  RECT place{};
  GetWindowRect(dialog, &place);
  std::string text = WindowText(control_);
  // A backspace is measured before the deletion, with the text as it stands.
  if (character != 8) text += static_cast<char>(character);

  LONG width = 0;
  LONG count = 0;
  LONG lineHeight = 0;
  {
    const ScopedWindowDC context(control_);
    const HDC dc = context.Get();
    const ScopedGdiObject<HFONT> font(CreateUserFont(dc, UserFont::Annotation));
    const ScopedSelection selection(dc, font.Get());
    SIZE extent{};
    // The lines between runs of line ends; a text that ends in one (an Enter just typed) gains a line.
    for (std::size_t start = text.find_first_not_of(kLineEnds); start != std::string::npos;
         start = text.find_first_not_of(kLineEnds, start)) {
      const std::size_t end = std::min(text.find_first_of(kLineEnds, start), text.size());
      const std::string line = text.substr(start, end - start) + "X";  // one letter of slack
      GetTextExtentPoint32A(dc, line.c_str(), static_cast<int>(line.size()), &extent);
      width = std::max(width, extent.cx);
      ++count;
      start = end;
    }
    if (!text.empty() && kLineEnds.find(text.back()) != std::string_view::npos) ++count;
    GetTextExtentPoint32A(dc, text.c_str(), static_cast<int>(text.size()), &extent);
    lineHeight = extent.cy;
  }
  POINT topLeft{place.left, place.top};
  POINT bottomRight{place.left + width, place.top + std::max<LONG>(count, 1) * lineHeight};
  const HWND viewport = GetParent(dialog);
  if (!IsWindow(viewport)) return;
  ScreenToClient(viewport, &topLeft);
  ScreenToClient(viewport, &bottomRight);
  MoveWindow(dialog, topLeft.x, topLeft.y, bottomRight.x - topLeft.x, bottomRight.y - topLeft.y, TRUE);
}

TextEditDialog::~TextEditDialog() {
  if (window_ != nullptr && IsWindow(window_)) DestroyWindow(window_);
  // The font goes after the windows that showed it.
  if (font_ != nullptr) DeleteObject(font_);
}

bool TextEditDialog::Create(HWND parent) {
  window_ = CreateDialogIndirectParamA(nullptr, EditDialogTemplate().Get(), parent, &TextEditDialog::DialogProcedure,
                                       reinterpret_cast<LPARAM>(this));
  return window_ != nullptr;
}

// The dialog reaches its object from the creation parameter of WM_INITDIALOG, kept in the dialog's
// user slot for the messages that follow; the messages before it (the template's font) need none.
INT_PTR CALLBACK TextEditDialog::DialogProcedure(HWND window, UINT message, WPARAM, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrA(window, DWLP_USER, lParam);
    auto* self = reinterpret_cast<TextEditDialog*>(lParam);
    self->window_ = window;
    try {
      self->OnInitDialog(window);
    } catch (...) {
      // A font that can't be made leaves the template's; nothing may leave a dialog procedure.
    }
    return TRUE;  // the focus goes to the edit control
  }
  auto* self = reinterpret_cast<TextEditDialog*>(GetWindowLongPtrA(window, DWLP_USER));
  if (self == nullptr || message != WM_SIZE) return FALSE;
  self->OnSize();
  return TRUE;
}

void TextEditDialog::OnInitDialog(HWND window) {
  edit_.SubclassWindow(GetDlgItem(window, kEditControlId));
  const RECT& box = tool_.Box();
  MoveWindow(window, box.left, box.top, box.right - box.left, box.bottom - box.top, TRUE);
  std::string joined;
  for (const std::string& line : tool_.Lines()) {
    if (&line != &tool_.Lines().front()) joined += "\r\n";
    joined += line;
  }
  {
    const ScopedWindowDC context(window);
    font_ = CreateUserFont(context.Get(), UserFont::Annotation);
  }
  SendMessageA(window, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
  SendMessageA(edit_.Window(), WM_SETFONT, reinterpret_cast<WPARAM>(font_), FALSE);
  SetWindowTextA(edit_.Window(), joined.c_str());
}

void TextEditDialog::OnSize() {
  if (edit_.Window() == nullptr) return;
  RECT client{};
  GetClientRect(window_, &client);
  MoveWindow(edit_.Window(), 0, 0, client.right - client.left, client.bottom - client.top, TRUE);
}

void TextEditDialog::GetText(TextLines& lines, RECT& rect) const {
  lines.clear();
  if (window_ == nullptr || !IsWindow(window_)) return;
  lines = SplitEditText(WindowText(edit_.Window()));
  RECT client{};
  GetClientRect(window_, &client);
  MapWindowPoints(window_, GetParent(window_), reinterpret_cast<POINT*>(&client), 2);
  rect = client;
}
