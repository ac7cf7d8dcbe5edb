// The Edit control: a text typed at its end, painted black on white in its font.
#include <string>
#include <vector>

#include "graphics_lock.h"
#include "ondrel/platform/gdi.h"
#include "window_calls.h"
#include "window_table.h"

using namespace ondrel::platform::graphics;

namespace {

// The text lies one pixel in from the left edge, as a control without a border shows it.
constexpr int kLeftMargin = 1;

// The lines of an edit text: "\r\n", a lone "\r" or a lone "\n" ends a line.
std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') {
      if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      lines.emplace_back();
    } else {
      lines.back().push_back(text[i]);
    }
  }
  return lines;
}

void Paint(HWND edit) {
  HFONT font = nullptr;
  {
    const GraphicsLock lock(GraphicsMutex());
    const Window* window = WindowTable::Get().Find(edit);
    if (window == nullptr) return;
    font = window->font;
  }
  RECT client{};
  GetClientRect(edit, &client);
  const HDC dc = GetDC(edit);
  const HRGN all = CreateRectRgn(0, 0, client.right, client.bottom);
  FillRgn(dc, all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  DeleteObject(all);
  // A font deleted since WM_SETFONT leaves the context's own font in place.
  if (font != nullptr) SelectObject(dc, font);
  SetTextColor(dc, RGB(0, 0, 0));
  SetBkMode(dc, TRANSPARENT);
  SIZE cell{};
  GetTextExtentPoint32A(dc, "X", 1, &cell);
  int y = 0;
  for (const std::string& line : LinesOf(TextOf(edit))) {
    TextOutA(dc, kLeftMargin, y, line.data(), static_cast<int>(line.size()));
    y += cell.cy;
  }
  ReleaseDC(edit, dc);
}

// The text after typing `character`, or the text unchanged for a character the control ignores.
std::string Typed(std::string text, unsigned character, bool multiline) {
  if (character == 8) {
    if (text.size() >= 2 && text.compare(text.size() - 2, 2, "\r\n") == 0) {
      text.resize(text.size() - 2);
    } else if (!text.empty()) {
      text.pop_back();
    }
  } else if (character == '\r') {
    if (multiline) text += "\r\n";
  } else if (character >= 0x20 && character <= 0xFF && character != 0x7F) {
    text.push_back(static_cast<char>(character));
  }
  return text;
}

}  // namespace

namespace ondrel::platform::graphics {

LRESULT CALLBACK EditWindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_CHAR: {
      {
        const GraphicsLock lock(GraphicsMutex());
        Window* window = WindowTable::Get().Find(hWnd);
        if (window == nullptr) return 0;
        window->text = Typed(window->text, static_cast<unsigned>(wParam), (window->style & ES_MULTILINE) != 0);
      }
      Paint(hWnd);
      return 0;
    }
    case WM_SETTEXT: {
      const LRESULT result = DefWindowProcA(hWnd, message, wParam, lParam);
      Paint(hWnd);
      return result;
    }
    case WM_SETFONT: {
      {
        const GraphicsLock lock(GraphicsMutex());
        if (Window* window = WindowTable::Get().Find(hWnd)) window->font = reinterpret_cast<HFONT>(wParam);
      }
      if (LOWORD(static_cast<std::uintptr_t>(lParam)) != 0) Paint(hWnd);
      return 0;
    }
    case WM_GETFONT: {
      const GraphicsLock lock(GraphicsMutex());
      const Window* window = WindowTable::Get().Find(hWnd);
      return window == nullptr ? 0 : reinterpret_cast<LRESULT>(window->font);
    }
    case WM_PAINT:
      Paint(hWnd);
      return 0;
    default:
      return DefWindowProcA(hWnd, message, wParam, lParam);
  }
}

}  // namespace ondrel::platform::graphics
