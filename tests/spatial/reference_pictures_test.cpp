// Reference lines of real series pairs drawn through the component's interface, in both modes, against
// the pictures and lists of tests/data/spatial that scripts/make_spatial_series works out from the
// planes: the axial slice axial[2] zoomed to half its fitted size, with the lines of a coronal slice
// (mode 1) and of the coronal and sagittal series (mode 2), and of an oblique slice.
//
// A picture is compared pixel by pixel with the one the window shows with the reference-line mode off
// (the same picture without the lines), with the generator's line pixels in the user's reference-line
// colour laid over it, and each number drawn over that by the platform's own text call, in the
// annotation font, at the place the generator's rule gives for the text's extent. The numbers of one
// picture stand clear of every line.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "entry/component_test_support.h"
#include "entry/window_pictures.h"
#include "foundation/user_preferences.h"
#include "ondrel/measurements.h"
#include "spatial/spatial_test_support.h"

namespace {

using component_test::Picture;
using spatial_test::RealSeries;

struct Number {
  std::string text;
  POINT anchor{};
  bool lying = true;
  int offset = 1;
};

struct Case {
  std::string reference;
  int width = 0;
  int height = 0;
  ULONG zoom = 100;
  std::string projectee;
  std::string projected;
  ReferenceLinesEnum mode = REFERENCE_LINE_OFF;
  std::vector<Number> numbers;
  std::string list;
};

POINT PointOf(const std::string& text) {
  const std::size_t comma = text.find(',');
  return POINT{std::stoi(text.substr(0, comma)), std::stoi(text.substr(comma + 1))};
}

std::vector<Case> Cases() {
  std::ifstream manifest(ONDREL_TEST_DATA_DIR "/spatial/expected.txt");
  EXPECT_TRUE(manifest.good());
  std::vector<Case> cases;
  for (std::string line; std::getline(manifest, line);) {
    std::istringstream words(line);
    std::string kind;
    std::string skip;
    words >> kind;
    if (kind == "picture") {
      Case next;
      int mode = 0;
      words >> next.reference >> skip >> next.width >> next.height >> skip >> next.zoom >> skip >> next.projectee >>
          skip >> next.projected >> skip >> mode;
      next.mode = static_cast<ReferenceLinesEnum>(mode);
      cases.push_back(next);
    } else if (kind == "number") {
      Number number;
      std::string at;
      std::string side;
      words >> number.text >> skip >> at >> skip >> side >> skip >> number.offset;
      number.anchor = PointOf(at);
      number.lying = side == "lying";
      cases.back().numbers.push_back(number);
    } else if (kind == "list") {
      cases.back().list += line.substr(5) + "\n";
    }
  }
  return cases;
}

// `bare` with the reference's line pixels in `colour` and the numbers drawn over them as the platform
// draws text: in the annotation font, `colour` on black, each beside its end by the generator's rule.
Picture Expected(const Picture& bare, const Picture& lines, const Case& shown, COLORREF colour) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = bare.width;
  info.bmiHeader.biHeight = -bare.height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  void* bits = nullptr;
  const HDC dc = CreateCompatibleDC(nullptr);
  const HBITMAP section = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  auto* pixels = static_cast<std::uint32_t*>(bits);  // 0x00RRGGBB
  const std::uint32_t pen =
      std::uint32_t{GetRValue(colour)} << 16 | std::uint32_t{GetGValue(colour)} << 8 | GetBValue(colour);
  for (std::size_t i = 0; i < bare.rgb.size(); ++i) pixels[i] = lines.rgb[i] == 0x00FF00 ? pen : bare.rgb[i];
  const HGDIOBJ previousBitmap = SelectObject(dc, section);

  LOGFONTA face{};
  face.lfHeight = -MulDiv(Preferences().userAnnotFontSize, GetDeviceCaps(dc, LOGPIXELSY), 72);
  std::strncpy(face.lfFaceName, Preferences().userAnnotFontName.c_str(), sizeof face.lfFaceName - 1);
  const HFONT font = CreateFontIndirectA(&face);
  const HGDIOBJ previousFont = SelectObject(dc, font);
  SetTextColor(dc, colour);
  SetBkColor(dc, RGB(0, 0, 0));
  SetBkMode(dc, OPAQUE);
  for (const Number& number : shown.numbers) {
    SIZE extent{};
    GetTextExtentPoint32A(dc, number.text.c_str(), static_cast<int>(number.text.size()), &extent);
    const int x = number.lying ? number.anchor.x - number.offset * extent.cx : number.anchor.x - extent.cx / 2;
    const int y = number.lying ? number.anchor.y - extent.cy / 2 : number.anchor.y - number.offset * extent.cy;
    TextOutA(dc, x, y, number.text.c_str(), static_cast<int>(number.text.size()));
  }
  Picture expected{bare.width, bare.height, {}};
  for (std::size_t i = 0; i < bare.rgb.size(); ++i) expected.rgb.push_back(pixels[i] & 0xFFFFFF);
  SelectObject(dc, previousFont);
  SelectObject(dc, previousBitmap);
  DeleteObject(font);
  DeleteObject(section);
  DeleteDC(dc);
  return expected;
}

class ReferencePictures : public component_test::ComponentTest {
 protected:
  void TearDown() override {
    ondrel_->SetReferenceLinesMode(REFERENCE_LINE_OFF);
    ComponentTest::TearDown();
  }

  std::string MeasurementList(HWND window) {
    ondrel::platform::ComPtr<IOndrelMeasurements> reader;
    EXPECT_EQ(ondrel_->QueryInterface(IOndrelMeasurements::kIid, reinterpret_cast<void**>(reader.GetAddressOf())),
              S_OK);
    ondrel::platform::BStr text;
    EXPECT_EQ(reader->GetMeasurementsText(window, text.Out()), S_OK);
    return component_test::Utf8(text.View());
  }
};

TEST_F(ReferencePictures, LinesAndNumbersOfARealSeriesPairStandWhereThePlanesCross) {
  ASSERT_EQ(Preferences().userRefLineColor, RGB(0, 255, 0)) << "the references are drawn in the default colour";
  const RealSeries series;  // made after the component, which loads the dictionary
  const std::vector<Case> cases = Cases();
  ASSERT_EQ(cases.size(), 4U);
  for (const Case& shown : cases) {
    SCOPED_TRACE(shown.reference);
    const HWND projectee = Window(shown.width, shown.height);
    const HWND projected = Window(64, 64);
    ASSERT_EQ(ondrel_->RenderImage(series.Image(shown.projectee), projectee, VARIANT_FALSE), S_OK);
    ASSERT_EQ(ondrel_->ZoomImage(projectee, shown.zoom), S_OK);
    ASSERT_EQ(ondrel_->RenderImage(series.Image(shown.projected), projected, VARIANT_FALSE), S_OK);
    ASSERT_EQ(ondrel_->SetReferenceLinesMode(shown.mode), S_OK);
    ASSERT_EQ(ondrel_->CalculateReferenceLines(projected, projectee), S_OK);
    EXPECT_EQ(MeasurementList(projectee), shown.list);

    ASSERT_EQ(ondrel_->Draw(projectee), S_OK);
    const Picture drawn = component_test::WindowPicture(projectee);
    ASSERT_EQ(ondrel_->SetReferenceLinesMode(REFERENCE_LINE_OFF), S_OK);
    ASSERT_EQ(ondrel_->Draw(projectee), S_OK);
    const Picture bare = component_test::WindowPicture(projectee);
    EXPECT_NE(drawn.rgb, bare.rgb);
    const Picture lines = component_test::ReferencePicture(ONDREL_TEST_DATA_DIR "/spatial/" + shown.reference);
    ASSERT_EQ(lines.width, bare.width);
    ASSERT_EQ(lines.height, bare.height);
    const Picture expected = Expected(bare, lines, shown, Preferences().userRefLineColor);

    int wrong = 0;
    std::ostringstream first;
    for (int y = 0; y < drawn.height; ++y)
      for (int x = 0; x < drawn.width; ++x) {
        if (drawn.At(x, y) == expected.At(x, y)) continue;
        if (++wrong <= 5)
          first << " (" << x << "," << y << ") is " << std::hex << drawn.At(x, y) << " not " << expected.At(x, y)
                << std::dec;
      }
    EXPECT_EQ(wrong, 0) << "pixels differ:" << first.str();
  }
}

}  // namespace
