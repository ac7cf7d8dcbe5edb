// The corner texts. The expected picture is written here line by line with the platform's text calls,
// at the places and in the font size worked out by hand, and compared with what the overlays draw.
#include "image/overlays.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/user_preferences.h"
#include "image/image.h"
#include "ondrel/platform/host_window.h"
#include "sources/image_info_strategies.h"
#include "image/pixels_support.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

// The overlay switch, a desktop 600 pixels high and the overlay font preferences, for a test.
struct OverlayState {
  const bool visible = OverlaysVisible();
  const int size = Preferences().userOverlaysFontSize;
  const std::string font = Preferences().userOverlaysFontName;
  RECT desktop{};
  explicit OverlayState(bool show) {
    GetClientRect(GetDesktopWindow(), &desktop);
    SetOverlaysVisible(show);
    ondrel::platform::SetDesktopSize(1000, 600);
    Preferences().userOverlaysFontSize = 10;
    Preferences().userOverlaysFontName = "Arial";
  }
  ~OverlayState() {
    SetOverlaysVisible(visible);
    ondrel::platform::SetDesktopSize(desktop.right, desktop.bottom);
    Preferences().userOverlaysFontSize = size;
    Preferences().userOverlaysFontName = font;
  }
};

struct Window {
  const HWND handle;
  Window(int width, int height) : handle(ondrel::platform::CreateHostWindow(width, height)) {}
  ~Window() { DestroyWindow(handle); }
  std::vector<BYTE> Pixels() const {
    ondrel::platform::WindowPixels pixels;
    EXPECT_TRUE(ondrel::platform::ReadWindowPixels(handle, pixels));
    return pixels.bgra;
  }
  std::size_t White() const {
    const std::vector<BYTE> bgra = Pixels();
    std::size_t white = 0;
    for (std::size_t i = 0; i + 3 < bgra.size(); i += 4)
      white += bgra[i] == 255 && bgra[i + 1] == 255 && bgra[i + 2] == 255;
    return white;
  }
};

// Writes white Arial of `fontHeight` pixels: lines 2 pixels in from the edges and one "X" height
// apart, the bottom corners' lists from the bottom up, right lines ending 2 pixels from the edge.
void WriteExpected(HWND window, int fontHeight, const std::vector<std::vector<std::string>>& corners) {
  const HDC dc = GetDC(window);
  LOGFONTA description{};
  description.lfHeight = fontHeight;
  std::string("Arial").copy(description.lfFaceName, LF_FACESIZE - 1);
  const HFONT font = CreateFontIndirectA(&description);
  const HGDIOBJ previous = SelectObject(dc, font);
  SetTextColor(dc, RGB(255, 255, 255));
  SetBkMode(dc, TRANSPARENT);
  RECT client{};
  GetClientRect(window, &client);
  SIZE x{};
  GetTextExtentPoint32A(dc, "X", 1, &x);
  for (int corner = 0; corner < 4; ++corner) {  // top left, top right, bottom left, bottom right
    const bool right = corner % 2 == 1;
    const bool bottom = corner >= 2;
    for (std::size_t i = 0; i < corners[corner].size(); ++i) {
      const std::string& line = corners[corner][i];
      SIZE extent{};
      GetTextExtentPoint32A(dc, line.c_str(), static_cast<int>(line.size()), &extent);
      const int step = static_cast<int>(i) * x.cy;
      TextOutA(dc, right ? client.right - extent.cx - 2 : 2, bottom ? client.bottom - 2 - x.cy - step : 2 + step,
               line.c_str(), static_cast<int>(line.size()));
    }
  }
  SelectObject(dc, previous);
  DeleteObject(font);
  ReleaseDC(window, dc);
}

// Every text the overlays show. 2014-03-09 is 41707 days after 1899-12-30; .25 is 06:00, .5 12:00.
void FillGraph(const Graph& graph, const char16_t* sex, const char16_t* contrast) {
  graph.patient->SetPatientName(BStr(u"DOE^JANE").Get());
  graph.patient->SetPatientSex(BStr(sex).Get());
  graph.study->SetInstitutionName(BStr(u"General Hospital").Get());
  graph.study->SetStudyDescription(BStr(u"CT HEAD").Get());
  graph.study->SetStudyDateTime(41707.5);
  graph.series->SetSeriesDescription(BStr(u"HEAD 5mm").Get());
  graph.series->SetSeriesDateTime(41707.5);
  graph.image->SetManufacturer(BStr(u"ACME").Get());
  graph.image->SetAcquisitionDateTime(41707.25);
  if (contrast != nullptr) graph.image->SetContrastBolusAgent(BStr(contrast).Get());
  graph.image->SetInstanceNumber(7);
}

TEST(Overlays, CornersHoldTheirLinesInOrderAndSize) {
  // The font: 10 points x (|height x 1.2| / 600), doubled; in pixels -MulDiv(points, 96, 72).
  const struct {
    const char* what;
    int height, fontHeight;
    const char16_t* sex;
    const char16_t* contrast;
    USHORT filter;
    std::vector<std::string> topLeft, bottomLeft;
  } cases[] = {
      {"250 pixels high: 10 points", 250, -13, u"F", u"Iodine", 0, {"DOE^JANE", "Sex: F"},
       {"W:400 L:40", "ACME", "2014/03/09 06:00:00", "Iodine", "Image#: 7"}},
      {"a filter's threshold; the sex line cut to 9 characters; no contrast, no line", 250, -13, u"FEMALE-X",
       nullptr, 1, {"DOE^JANE", "Sex: FEMA"}, {"Filter threshold: 120", "ACME", "2014/03/09 06:00:00", "Image#: 7"}},
      {"twice as high: 20 points", 500, -27, u"F", u"Iodine", 0, {"DOE^JANE", "Sex: F"},
       {"W:400 L:40", "ACME", "2014/03/09 06:00:00", "Iodine", "Image#: 7"}},
  };
  for (const auto& c : cases) {
    const ClassesRegistered registered;
    const OverlayState state(true);
    const Graph graph;
    FillGraph(graph, c.sex, c.contrast);
    ImageInfoWStationStrategy info(graph.image.Get());
    const Window drawn(400, c.height);
    const Window expected(400, c.height);
    Overlays(&info).Draw(drawn.handle, RECT{0, 0, 400, c.height}, 400, 40, 120, c.filter);
    WriteExpected(expected.handle, c.fontHeight,
                  {c.topLeft, {"General Hospital", "CT HEAD", "2014/03/09"}, c.bottomLeft,
                   {"HEAD 5mm", "2014/03/09 12:00:00"}});
    EXPECT_GT(expected.White(), 0U) << c.what;
    EXPECT_EQ(drawn.Pixels(), expected.Pixels()) << c.what;
  }
}

// A black picture with a patient name: white shows only where the overlays write, and only in a full
// draw while they are shown.
TEST(Overlays, AFullDrawShowsThemAndAFastDrawDoesNot) {
  const ClassesRegistered registered;
  const OverlayState state(true);
  ULONG_PTR token = 0;
  const Gdiplus::GdiplusStartupInput input;
  ASSERT_EQ(Gdiplus::GdiplusStartup(&token, &input, nullptr), Gdiplus::Ok);
  {
    const Graph graph;
    graph.patient->SetPatientName(BStr(u"DOE^JANE").Get());
    graph.image->SetRows(16);
    graph.image->SetColumns(16);
    graph.image->SetBitsStored(8);
    graph.image->SetSamplesPerPixel(1);
    graph.image->SetWindowWidth(100);
    graph.image->SetWindowCenter(50);
    std::vector<BYTE> black(256, 0);
    PresentationIntent intent;
    Image image(image_test::FrameOf(black),
                std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent);
    const Window window(64, 64);
    image.PrepareAndDraw(window.handle, false, true);
    EXPECT_EQ(window.White(), 0U) << "fast draw";
    image.Draw(window.handle, false);
    EXPECT_GT(window.White(), 0U) << "full draw";
    SetOverlaysVisible(false);
    image.Draw(window.handle, false);
    EXPECT_EQ(window.White(), 0U) << "full draw, overlays hidden";
    EXPECT_TRUE(MessageOf([&] { Overlays(image.Info()).Draw(HWND{}, RECT{0, 0, 64, 64}, 1, 1, 0, 0); })
                    .starts_with("The window handle is invalid. File="));
  }
  Gdiplus::GdiplusShutdown(token);
}

}  // namespace
