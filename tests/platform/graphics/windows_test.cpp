// Windows: the table, geometry, messages and subclassing, and the text-annotation dialog with its Edit
// control, typed into and read back from what the host window shows.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "graphics_test_support.h"

namespace {

using graphics_test::HostWindow;
using graphics_test::ShownPixel;
using ondrel::platform::DialogTemplateWriter;
using ondrel::platform::WindowPixels;

// Restores the desktop size a test changes.
class DesktopSizeGuard {
 public:
  DesktopSizeGuard() { GetClientRect(GetDesktopWindow(), &saved_); }
  ~DesktopSizeGuard() { ondrel::platform::SetDesktopSize(saved_.right, saved_.bottom); }
  DesktopSizeGuard(const DesktopSizeGuard&) = delete;
  DesktopSizeGuard& operator=(const DesktopSizeGuard&) = delete;

 private:
  RECT saved_{};
};

TEST(Windows, TableGeometryAndDestruction) {
  const DesktopSizeGuard guard;
  RECT rect{};
  ASSERT_TRUE(GetClientRect(GetDesktopWindow(), &rect));
  EXPECT_EQ(rect.right, 1920);
  EXPECT_EQ(rect.bottom, 1080);
  EXPECT_TRUE(ondrel::platform::SetDesktopSize(800, 600));
  GetClientRect(GetDesktopWindow(), &rect);
  EXPECT_EQ(rect.bottom, 600);
  EXPECT_FALSE(ondrel::platform::SetDesktopSize(0, 600));
  EXPECT_FALSE(DestroyWindow(GetDesktopWindow()));

  HWND handle = nullptr;
  {
    const HostWindow window(64, 48);
    handle = window.get();
    ASSERT_TRUE(IsWindow(handle));
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    EXPECT_NE(value, 0u);
    EXPECT_LE(value, 0x7FFFFFFFu) << "window handles fit in a signed 32-bit value";
    EXPECT_TRUE(GetClientRect(handle, &rect));
    EXPECT_EQ(rect.right, 64);
    EXPECT_EQ(rect.bottom, 48);
    EXPECT_TRUE(GetWindowRect(handle, &rect));
    EXPECT_EQ(rect.left, 0) << "top-level windows sit at 0,0";
    EXPECT_TRUE(ondrel::platform::SetHostWindowPosition(handle, 100, 50));
    GetWindowRect(handle, &rect);
    EXPECT_EQ(rect.left, 100);
    EXPECT_EQ(rect.bottom, 98);
    POINT point{110, 60};
    EXPECT_TRUE(ScreenToClient(handle, &point));
    EXPECT_EQ(point.x, 10);
    EXPECT_EQ(point.y, 10);
    EXPECT_EQ(GetParent(handle), nullptr);
  }
  EXPECT_FALSE(IsWindow(handle));
  SetLastError(0);
  EXPECT_FALSE(GetClientRect(handle, &rect));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
  EXPECT_FALSE(IsWindow(reinterpret_cast<HWND>(std::uintptr_t{0x7FFFFF00})));
  EXPECT_EQ(SendMessageA(handle, WM_USER, 0, 0), 0);
  EXPECT_EQ(GetDC(handle), nullptr);
  EXPECT_EQ(ondrel::platform::CreateHostWindow(-1, 5), nullptr);
}

// Messages seen by the test's window procedures, in order.
std::vector<UINT> seen;

LRESULT CALLBACK RecordingProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  seen.push_back(message);
  return DefWindowProcA(window, message, wParam, lParam);
}

TEST(Windows, ResizeKeepsPixelsAndSendsSize) {
  const HostWindow window(4, 3);
  seen.clear();
  EXPECT_EQ(SetWindowLongPtrA(window.get(), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(RecordingProc)),
            reinterpret_cast<LONG_PTR>(DefWindowProcA));
  const HDC dc = GetDC(window.get());
  EXPECT_EQ(WindowFromDC(dc), window.get());
  const HRGN all = CreateRectRgn(0, 0, 4, 3);
  FillRgn(dc, all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  DeleteObject(all);
  EXPECT_EQ(ReleaseDC(window.get(), dc), 1);
  EXPECT_TRUE(ondrel::platform::ResizeHostWindow(window.get(), 6, 2));
  EXPECT_EQ(seen, (std::vector<UINT>{WM_SIZE, WM_PAINT}));
  WindowPixels pixels;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window.get(), pixels));
  ASSERT_EQ(pixels.width, 6);
  ASSERT_EQ(pixels.height, 2);
  EXPECT_EQ(ShownPixel(pixels, 3, 1), 0xFFFFFFu) << "kept";
  EXPECT_EQ(ShownPixel(pixels, 4, 1), 0u) << "new, black";
  EXPECT_EQ(pixels.bgra[3], 255) << "opaque";

  EXPECT_EQ(SetWindowLongPtrA(window.get(), GWLP_USERDATA, 42), 0);
  EXPECT_EQ(GetWindowLongPtrA(window.get(), GWLP_USERDATA), 42);
  SetLastError(0);
  EXPECT_EQ(SetWindowLongPtrA(window.get(), DWLP_USER, 1), 0) << "a dialog slot of a plain window";
  EXPECT_EQ(GetLastError(), ERROR_INVALID_INDEX);
  EXPECT_TRUE(SetWindowTextA(window.get(), "caption"));
  char text[5] = {};
  EXPECT_EQ(GetWindowTextA(window.get(), text, 5), 4);
  EXPECT_STREQ(text, "capt");
  EXPECT_EQ(GetWindowTextLengthA(window.get()), 7);
}

constexpr int kEditId = 202;

// The text-annotation dialog as its owner drives it: at WM_INITDIALOG it subclasses the edit control,
// moves itself to the text box and takes the focus; at WM_SIZE it stretches the control over itself.
struct DialogState {
  std::vector<UINT> messages;
  HWND edit = nullptr;
  WNDPROC editProc = nullptr;
  int charsSeen = 0;
  LPARAM initParam = 0;
  WPARAM focusOffered = 0;
} state;

LRESULT CALLBACK CountingEditProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_CHAR) ++state.charsSeen;
  return CallWindowProcA(state.editProc, window, message, wParam, lParam);
}

INT_PTR CALLBACK TextDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  state.messages.push_back(message);
  if (message == WM_INITDIALOG) {
    state.initParam = lParam;
    state.focusOffered = wParam;
    state.edit = GetDlgItem(dialog, kEditId);
    state.editProc = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrA(state.edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(CountingEditProc)));
    MoveWindow(dialog, 10, 20, 100, 30, TRUE);
    return TRUE;
  }
  if (message == WM_SIZE) {
    RECT client{};
    GetClientRect(dialog, &client);
    if (HWND edit = GetDlgItem(dialog, kEditId)) MoveWindow(edit, 0, 0, client.right, client.bottom, TRUE);
    return TRUE;
  }
  return FALSE;
}

TEST(Windows, TextDialogTakesTypedCharactersAndShowsThemInTheParent) {
  state = DialogState{};
  const HostWindow host(160, 80);
  ondrel::platform::SetHostWindowPosition(host.get(), 100, 50);
  DialogTemplateWriter writer(DS_SETFONT | WS_CHILD | WS_VISIBLE | WS_SYSMENU, 0, 0, 0, 186, 95, 8, u"MS Sans Serif");
  writer.AddControl(WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_WANTRETURN, WS_EX_TRANSPARENT, 0, 0, 122, 34, kEditId,
                    kDialogClassEdit, u"");
  const HWND dialog = CreateDialogIndirectParamA(nullptr, writer.Get(), host.get(), TextDialogProc, 77);
  ASSERT_NE(dialog, nullptr);
  ASSERT_NE(state.edit, nullptr);
  EXPECT_EQ(state.messages.front(), static_cast<UINT>(WM_SETFONT)) << "the font comes before WM_INITDIALOG";
  EXPECT_EQ(state.initParam, 77);
  EXPECT_EQ(state.focusOffered, reinterpret_cast<WPARAM>(state.edit));
  EXPECT_EQ(GetFocus(), state.edit);
  EXPECT_EQ(GetParent(state.edit), dialog);
  EXPECT_EQ(GetParent(dialog), host.get());
  EXPECT_EQ(GetDlgCtrlID(state.edit), kEditId);
  EXPECT_NE(SendMessageA(state.edit, WM_GETFONT, 0, 0), 0) << "the template's font";

  RECT rect{};
  GetClientRect(state.edit, &rect);
  EXPECT_EQ(rect.right, 100) << "stretched over the dialog at its WM_SIZE";
  EXPECT_EQ(rect.bottom, 30);
  GetWindowRect(state.edit, &rect);
  EXPECT_EQ(rect.left, 110);
  EXPECT_EQ(rect.top, 70);
  POINT corner{0, 0};
  MapWindowPoints(state.edit, host.get(), &corner, 1);
  EXPECT_EQ(corner.x, 10);
  EXPECT_EQ(corner.y, 20);

  for (const char typed : std::string("Ab\rcz\bd\x01"))
    EXPECT_TRUE(ondrel::platform::DeliverCharacterToFocus(host.get(), typed));
  EXPECT_EQ(state.charsSeen, 8) << "the subclass sees every character first";
  char text[32] = {};
  EXPECT_EQ(GetWindowTextA(state.edit, text, sizeof text), 6);
  EXPECT_STREQ(text, "Ab\r\ncd") << "a carriage return adds a line end, a backspace takes the z, ^A is ignored";
  EXPECT_TRUE(ondrel::platform::DeliverCharacter(state.edit, '\b'));
  EXPECT_TRUE(ondrel::platform::DeliverCharacter(state.edit, '\b'));
  EXPECT_TRUE(ondrel::platform::DeliverCharacter(state.edit, '\b'));
  EXPECT_EQ(GetWindowTextLengthA(state.edit), 2) << "the line end goes as a whole";

  // What the host shows: black of its own, the white edit box at 10,20 with dark text on its first line.
  WindowPixels shown;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(host.get(), shown));
  EXPECT_EQ(ShownPixel(shown, 5, 5), 0u);
  EXPECT_EQ(ShownPixel(shown, 105, 45), 0xFFFFFFu);
  EXPECT_EQ(ShownPixel(shown, 111, 21), 0u) << "outside the box again";
  int ink = 0;
  for (int y = 20; y < 34; ++y)
    for (int x = 10; x < 40; ++x) ink += ShownPixel(shown, x, y) == 0 ? 1 : 0;
  EXPECT_GT(ink, 10) << "the letters A and b";
  for (int x = 10; x < 40; ++x) EXPECT_EQ(ShownPixel(shown, x, 49), 0xFFFFFFu) << "no second line any more";

  // A capture through BitBlt from the window's context reads the same picture.
  const HDC windowDc = GetDC(host.get());
  const HDC memory = CreateCompatibleDC(windowDc);
  const HBITMAP capture = CreateCompatibleBitmap(windowDc, 160, 80);
  const HGDIOBJ old = SelectObject(memory, capture);
  EXPECT_TRUE(BitBlt(memory, 0, 0, 160, 80, windowDc, 0, 0, SRCCOPY));
  SelectObject(memory, old);
  DeleteDC(memory);
  ReleaseDC(host.get(), windowDc);
  Gdiplus::GpBitmap* bitmap = nullptr;
  {
    const graphics_test::GdiplusSession gdiplus;
    ASSERT_EQ(Gdiplus::DllExports::GdipCreateBitmapFromHBITMAP(capture, nullptr, &bitmap), Gdiplus::Ok);
    Gdiplus::BitmapData data{};
    ASSERT_EQ(Gdiplus::DllExports::GdipBitmapLockBits(bitmap, nullptr, Gdiplus::ImageLockModeRead,
                                                      Gdiplus::PixelFormat24bppRGB, &data),
              Gdiplus::Ok);
    const auto* row = static_cast<const std::uint8_t*>(data.Scan0) + 45 * data.Stride;
    EXPECT_EQ(row[3 * 105], 255) << "the edit box in the capture";
    Gdiplus::DllExports::GdipBitmapUnlockBits(bitmap, &data);
    Gdiplus::DllExports::GdipDisposeImage(bitmap);
  }
  DeleteObject(capture);

  state.messages.clear();
  const HWND edit = state.edit;
  EXPECT_TRUE(DestroyWindow(host.get()));
  EXPECT_FALSE(IsWindow(dialog)) << "children go with their parent";
  EXPECT_FALSE(IsWindow(edit));
  EXPECT_EQ(GetFocus(), nullptr);
  EXPECT_EQ(state.messages, (std::vector<UINT>{WM_DESTROY, WM_NCDESTROY}));
  EXPECT_FALSE(ondrel::platform::DeliverCharacterToFocus(host.get(), 'x'));
}

TEST(Windows, DialogTemplatesThatCannotBeMade) {
  const HostWindow host(20, 20);
  DialogTemplateWriter button(WS_CHILD, 0, 0, 0, 10, 10, 0, u"");
  button.AddControl(WS_CHILD, 0, 0, 0, 5, 5, 1, 0x0080, u"OK");
  SetLastError(0);
  EXPECT_EQ(CreateDialogIndirectParamA(nullptr, button.Get(), host.get(), TextDialogProc, 0), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_CANNOT_FIND_WND_CLASS) << "only Edit controls are provided";
  DialogTemplateWriter orphan(WS_CHILD, 0, 0, 0, 10, 10, 0, u"");
  EXPECT_EQ(CreateDialogIndirectParamA(nullptr, orphan.Get(), nullptr, TextDialogProc, 0), nullptr);
  EXPECT_EQ(GetDlgItem(host.get(), 5), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_CONTROL_ID_NOT_FOUND);
}

}  // namespace
