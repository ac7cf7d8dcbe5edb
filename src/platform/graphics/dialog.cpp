// Modeless dialogs from in-memory templates, and the dialog class's own window procedure.
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "graphics_lock.h"
#include "ondrel/platform/codepage.h"
#include "ondrel/platform/gdi.h"
#include "window_calls.h"
#include "window_table.h"

using namespace ondrel::platform::graphics;

namespace {

// The face colour a dialog paints its client area with.
constexpr COLORREF kDialogFace = RGB(240, 240, 240);

struct ControlTemplate {
  DLGITEMTEMPLATE item{};
  bool isEdit = false;
  std::u16string title;
};

struct DialogTemplate {
  DLGTEMPLATE header{};
  WORD pointSize = 0;
  std::u16string faceName;
  std::vector<ControlTemplate> controls;
};

// Reads WORDs of a template in memory.
class TemplateReader {
 public:
  explicit TemplateReader(const void* start) : start_(static_cast<const std::uint8_t*>(start)) {}
  WORD Word() {
    WORD value;
    std::memcpy(&value, start_ + offset_, sizeof value);
    offset_ += sizeof value;
    return value;
  }
  template <class T>
  T Struct() {
    T value;
    std::memcpy(&value, start_ + offset_, sizeof value);
    offset_ += sizeof value;
    return value;
  }
  std::u16string Text() {
    std::u16string text;
    for (WORD c = Word(); c != 0; c = Word()) text.push_back(static_cast<char16_t>(c));
    return text;
  }
  // A field that is empty (0), an ordinal (0xFFFF and a WORD) or a text; gives the ordinal or the text.
  void Field(WORD& ordinal, std::u16string& text) {
    ordinal = 0;
    text.clear();
    const WORD first = Word();
    if (first == 0xFFFF) {
      ordinal = Word();
    } else if (first != 0) {
      text.push_back(static_cast<char16_t>(first));
      text += Text();
    }
  }
  void Skip(std::size_t bytes) { offset_ += bytes; }
  void AlignToDword() { offset_ = (offset_ + 3) & ~std::size_t{3}; }

 private:
  const std::uint8_t* start_;
  std::size_t offset_ = 0;
};

bool IsEditClassName(const std::u16string& name) {
  if (name.size() != 4) return false;
  const char16_t* edit = u"edit";
  for (std::size_t i = 0; i < 4; ++i) {
    const char16_t c = name[i] >= u'A' && name[i] <= u'Z' ? static_cast<char16_t>(name[i] + 32) : name[i];
    if (c != edit[i]) return false;
  }
  return true;
}

DialogTemplate ParseTemplate(LPCDLGTEMPLATEA source) {
  TemplateReader reader(source);
  DialogTemplate parsed;
  parsed.header = reader.Struct<DLGTEMPLATE>();
  WORD ordinal = 0;
  std::u16string text;
  reader.Field(ordinal, text);  // menu
  reader.Field(ordinal, text);  // class
  reader.Field(ordinal, text);  // title
  if ((parsed.header.style & DS_SETFONT) != 0) {
    parsed.pointSize = reader.Word();
    parsed.faceName = reader.Text();
  }
  for (WORD i = 0; i < parsed.header.cdit; ++i) {
    reader.AlignToDword();
    ControlTemplate control;
    control.item = reader.Struct<DLGITEMTEMPLATE>();
    reader.Field(ordinal, text);
    control.isEdit = ordinal == kDialogClassEdit || IsEditClassName(text);
    reader.Field(ordinal, control.title);
    reader.Skip(reader.Word());
    parsed.controls.push_back(std::move(control));
  }
  return parsed;
}

std::string Narrow(const std::u16string& text) {
  std::string narrow(text.size() * 2 + 1, '\0');
  const int n = WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                                    static_cast<int>(narrow.size()), nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(n > 0 ? n : 0));
  return narrow;
}

// A dialog's base units: the average width of the letters and the cell height of its font, from which
// dialog units are converted, 4 horizontal and 8 vertical units to the base unit.
SIZE BaseUnits(HFONT font) {
  SIZE units{8, 16};
  const HDC dc = CreateCompatibleDC(nullptr);
  SelectObject(dc, font);
  SIZE letters{};
  if (GetTextExtentPoint32A(dc, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", 52, &letters))
    units = SIZE{(letters.cx / 26 + 1) / 2, letters.cy};
  DeleteDC(dc);
  return units;
}

// Adds a window; null when memory runs out or the parent is gone.
HWND AddWindow(std::unique_ptr<Window> window, int width, int height) {
  const GraphicsLock lock(GraphicsMutex());
  WindowTable& table = WindowTable::Get();
  if (window->parent != nullptr && table.Find(window->parent) == nullptr) return nullptr;
  try {
    window->pixels.Allocate(width, height);
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return table.Add(std::move(window));
}

}  // namespace

namespace ondrel::platform::graphics {

LRESULT CALLBACK DialogWindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
  DLGPROC procedure = nullptr;
  {
    const GraphicsLock lock(GraphicsMutex());
    const Window* window = WindowTable::Get().Find(hWnd);
    if (window == nullptr) return 0;
    procedure = window->dialogProcedure;
  }
  if (procedure != nullptr) {
    const INT_PTR handled = procedure(hWnd, message, wParam, lParam);
    if (message == WM_INITDIALOG) return handled;
    if (handled != 0) {
      const GraphicsLock lock(GraphicsMutex());
      const Window* window = WindowTable::Get().Find(hWnd);
      return window == nullptr ? 0 : window->dialogResult;
    }
  }
  switch (message) {
    case WM_SETFONT: {
      {
        const GraphicsLock lock(GraphicsMutex());
        if (Window* window = WindowTable::Get().Find(hWnd)) window->font = reinterpret_cast<HFONT>(wParam);
      }
      if (LOWORD(static_cast<std::uintptr_t>(lParam)) != 0) SendMessageA(hWnd, WM_PAINT, 0, 0);
      return 0;
    }
    case WM_GETFONT: {
      const GraphicsLock lock(GraphicsMutex());
      const Window* window = WindowTable::Get().Find(hWnd);
      return window == nullptr ? 0 : reinterpret_cast<LRESULT>(window->font);
    }
    case WM_PAINT: {
      RECT client{};
      GetClientRect(hWnd, &client);
      const HDC dc = GetDC(hWnd);
      const HBRUSH face = CreateSolidBrush(kDialogFace);
      const HRGN all = CreateRectRgn(0, 0, client.right, client.bottom);
      FillRgn(dc, all, face);
      DeleteObject(all);
      DeleteObject(face);
      ReleaseDC(hWnd, dc);
      return 0;
    }
    case WM_NCDESTROY: {
      HFONT font = nullptr;
      {
        const GraphicsLock lock(GraphicsMutex());
        if (Window* window = WindowTable::Get().Find(hWnd)) font = std::exchange(window->templateFont, nullptr);
      }
      if (font != nullptr) DeleteObject(font);
      return 0;
    }
    default:
      return DefWindowProcA(hWnd, message, wParam, lParam);
  }
}

}  // namespace ondrel::platform::graphics

HWND CreateDialogIndirectParamA(HINSTANCE /*hInstance*/, LPCDLGTEMPLATEA lpTemplate, HWND hWndParent,
                                DLGPROC lpDialogFunc, LPARAM dwInitParam) {
  if (lpTemplate == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  // The extended template (DLGTEMPLATEEX) begins with version 1 and signature 0xFFFF.
  WORD version[2];
  std::memcpy(version, lpTemplate, sizeof version);
  if (version[0] == 1 && version[1] == 0xFFFF) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const DialogTemplate parsed = ParseTemplate(lpTemplate);
  for (const ControlTemplate& control : parsed.controls) {
    if (!control.isEdit) {
      SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
      return nullptr;
    }
  }
  const bool child = (parsed.header.style & WS_CHILD) != 0;
  if (child && !IsWindow(hWndParent)) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
  }

  HFONT font = static_cast<HFONT>(GetStockObject(SYSTEM_FONT));
  HFONT templateFont = nullptr;
  if ((parsed.header.style & DS_SETFONT) != 0) {
    LOGFONTA logFont{};
    logFont.lfHeight = -MulDiv(parsed.pointSize, 96, 72);
    logFont.lfWeight = FW_NORMAL;
    std::strncpy(logFont.lfFaceName, Narrow(parsed.faceName).c_str(), LF_FACESIZE - 1);
    templateFont = CreateFontIndirectA(&logFont);
    if (templateFont != nullptr) font = templateFont;
  }
  const SIZE units = BaseUnits(font);
  const auto toX = [&](short value) { return MulDiv(value, units.cx, 4); };
  const auto toY = [&](short value) { return MulDiv(value, units.cy, 8); };

  auto dialog = std::make_unique<Window>();
  dialog->windowClass = WindowClass::Dialog;
  dialog->parent = child ? hWndParent : nullptr;
  dialog->x = toX(parsed.header.x);
  dialog->y = toY(parsed.header.y);
  dialog->style = parsed.header.style;
  dialog->extendedStyle = parsed.header.dwExtendedStyle;
  dialog->procedure = DialogWindowProc;
  dialog->dialogProcedure = lpDialogFunc;
  dialog->templateFont = templateFont;
  const HWND handle = AddWindow(std::move(dialog), toX(parsed.header.cx), toY(parsed.header.cy));
  if (handle == nullptr) {
    if (templateFont != nullptr) DeleteObject(templateFont);
    return nullptr;
  }
  if (templateFont != nullptr) SendMessageA(handle, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);

  HWND focus = nullptr;
  HWND first = nullptr;
  for (const ControlTemplate& control : parsed.controls) {
    auto edit = std::make_unique<Window>();
    edit->windowClass = WindowClass::Edit;
    edit->parent = handle;
    edit->x = toX(control.item.x);
    edit->y = toY(control.item.y);
    edit->style = control.item.style;
    edit->extendedStyle = control.item.dwExtendedStyle;
    edit->id = control.item.id;
    edit->text = Narrow(control.title);
    edit->procedure = EditWindowProc;
    const HWND created = AddWindow(std::move(edit), toX(control.item.cx), toY(control.item.cy));
    if (created == nullptr) {
      DestroyWindow(handle);
      return nullptr;
    }
    SendMessageA(created, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
    if (first == nullptr) first = created;
    if (focus == nullptr && (control.item.style & WS_TABSTOP) != 0) focus = created;
  }
  if (focus == nullptr) focus = first;
  if (SendMessageA(handle, WM_INITDIALOG, reinterpret_cast<WPARAM>(focus), dwInitParam) != 0 && focus != nullptr &&
      IsWindow(focus))
    SetFocus(focus);
  if (!IsWindow(handle)) return nullptr;
  PaintTree(handle);
  return handle;
}

HWND GetDlgItem(HWND hDlg, int nIDDlgItem) {
  const GraphicsLock lock(GraphicsMutex());
  WindowTable& table = WindowTable::Get();
  const Window* dialog = FindWindowOrFail(hDlg);
  if (dialog == nullptr) return nullptr;
  for (const HWND child : dialog->children) {
    const Window* control = table.Find(child);
    if (control != nullptr && control->id == nIDDlgItem) return child;
  }
  SetLastError(ERROR_CONTROL_ID_NOT_FOUND);
  return nullptr;
}

int GetDlgCtrlID(HWND hWnd) {
  const GraphicsLock lock(GraphicsMutex());
  const Window* window = FindWindowOrFail(hWnd);
  return window == nullptr ? 0 : window->id;
}
