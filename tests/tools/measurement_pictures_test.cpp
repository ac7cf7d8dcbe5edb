// A line, an ellipse, an angle and a text note drawn through the component's interface on the real CT
// slice, shown with nothing selected and with each selected, unrotated and turned right, against the
// pictures and lists of tests/data/tools, which scripts/make_measurement_references works out from
// the definitions of the drawing (line and ellipse pixels, grip handles, label places) and from the
// file's values as pydicom reads them (the ellipse's mean).
//
// The test follows the manifest measurements.txt. Each picture is compared pixel by pixel: the pen's
// pixels of the reference must be green, every other pixel as the window shows it with the
// measurements hidden; a label's box is found in the window by its colours and must stand where the
// manifest says.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "entry/component_test_support.h"
#include "entry/window_pictures.h"
#include "foundation/user_preferences.h"
#include "ondrel/measurements.h"
#include "workstation/configuration_files.h"

namespace {

using configuration_test::ConfigFile;
using configuration_test::Reader;
using ondrel::platform::BStr;
using ondrel::platform::ComPtr;
using component_test::Picture;
using component_test::ReferencePicture;
using component_test::Utf8;
using component_test::WindowPicture;

constexpr char kData[] = ONDREL_TEST_DATA_DIR;

// The label colours this test sets, which a grey picture never has: yellow text on blue.
constexpr std::uint32_t kLabelText = 0xFFFF00;  // 0xRRGGBB
constexpr std::uint32_t kLabelBackground = 0x0000FF;
constexpr std::uint32_t kPen = 0x00FF00;

tagPOINT PointOf(const std::string& text) {
  const std::size_t comma = text.find(',');
  return tagPOINT{std::stoi(text.substr(0, comma)), std::stoi(text.substr(comma + 1))};
}

struct Label {
  bool centred = true;
  tagPOINT at{};
};

struct Expected {
  std::string reference;
  std::vector<Label> labels;
  std::string list;
};

// The box of the label whose colours cover `seed`, 4-connected: left, top, right, bottom (excluded).
std::optional<RECT> LabelBox(const Picture& picture, tagPOINT seed) {
  const auto isLabel = [&](int x, int y) {
    if (x < 0 || y < 0 || x >= picture.width || y >= picture.height) return false;
    const std::uint32_t colour = picture.At(x, y);
    return colour == kLabelText || colour == kLabelBackground;
  };
  if (!isLabel(seed.x, seed.y)) return std::nullopt;
  std::vector<bool> seen(picture.rgb.size());
  std::vector<tagPOINT> todo{seed};
  RECT box{seed.x, seed.y, seed.x + 1, seed.y + 1};
  while (!todo.empty()) {
    const tagPOINT p = todo.back();
    todo.pop_back();
    if (!isLabel(p.x, p.y) || seen[static_cast<std::size_t>(p.y) * picture.width + p.x]) continue;
    seen[static_cast<std::size_t>(p.y) * picture.width + p.x] = true;
    box = RECT{std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x + 1),
               std::max(box.bottom, p.y + 1)};
    for (const tagPOINT next : {tagPOINT{p.x + 1, p.y}, tagPOINT{p.x - 1, p.y}, tagPOINT{p.x, p.y + 1}, tagPOINT{p.x, p.y - 1}})
      todo.push_back(next);
  }
  return box;
}

class MeasurementPictures : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    ASSERT_EQ(RegisterWorkstationClasses(), S_OK);
    // The component reads the preferences afresh from this file when it is made.
    ReleaseUserPreferences();
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&token_, &input, nullptr);
    ASSERT_EQ(CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                               reinterpret_cast<void**>(ondrel_.GetAddressOf())),
              S_OK);
    ASSERT_EQ(Preferences().userAnnotForeColor, RGB(255, 255, 0));
    overlaysHidden_.emplace(ondrel_.Get());
  }
  void TearDown() override {
    overlaysHidden_.reset();
    ondrel_.Reset();
    if (window_ != nullptr) DestroyWindow(window_);
    Gdiplus::GdiplusShutdown(token_);
    ReleaseUserPreferences();
    Preferences() = saved_;
    UnregisterWorkstationClasses();
    DllUnregisterServer();
  }

  void Press(tagPOINT at, MeasurementsEnum tool) {
    VARIANT_BOOL processed = VARIANT_FALSE;
    ASSERT_EQ(ondrel_->MeasOnMouseButtonDown(window_, at, tool, &processed), S_OK);
    VARIANT_BOOL complete = VARIANT_FALSE;
    ASSERT_EQ(ondrel_->MeasOnMouseButtonUp(window_, at, &complete), S_OK);
  }
  void Drag(MeasurementsEnum tool, tagPOINT from, tagPOINT to) {
    VARIANT_BOOL flag = VARIANT_FALSE;
    ASSERT_EQ(ondrel_->MeasOnMouseButtonDown(window_, from, tool, &flag), S_OK);
    ASSERT_EQ(ondrel_->MeasOnMouseMove(window_, to), S_OK);
    ASSERT_EQ(ondrel_->MeasOnMouseButtonUp(window_, to, &flag), S_OK);
    EXPECT_EQ(flag, VARIANT_TRUE);
  }

  std::string MeasurementList() {
    ComPtr<IOndrelMeasurements> reader;
    EXPECT_EQ(ondrel_->QueryInterface(IOndrelMeasurements::kIid, reinterpret_cast<void**>(reader.GetAddressOf())), S_OK);
    BStr text;
    EXPECT_EQ(reader->GetMeasurementsText(window_, text.Out()), S_OK);
    return Utf8(text.View());
  }

  // The window as drawn with the measurements, against the reference, the labels and the list.
  void Compare(const Expected& expected) {
    SCOPED_TRACE(expected.reference);
    ASSERT_EQ(ondrel_->Draw(window_), S_OK);
    const Picture shown = WindowPicture(window_);
    ASSERT_EQ(ondrel_->ToggleMeasurementsVisibility(window_), S_OK);
    ASSERT_EQ(ondrel_->Draw(window_), S_OK);
    const Picture bare = WindowPicture(window_);
    ASSERT_EQ(ondrel_->ToggleMeasurementsVisibility(window_), S_OK);
    const Picture reference = ReferencePicture(std::string(kData) + "/tools/" + expected.reference);
    ASSERT_EQ(reference.width, shown.width);
    ASSERT_EQ(reference.height, shown.height);

    std::vector<RECT> boxes;
    for (const Label& label : expected.labels) {
      const std::optional<RECT> box = LabelBox(shown, label.at);
      if (!box) {
        ADD_FAILURE() << "no label at " << label.at.x << "," << label.at.y;
        continue;
      }
      const LONG width = box->right - box->left;
      const LONG height = box->bottom - box->top;
      const tagPOINT corner = label.centred ? tagPOINT{label.at.x - width / 2, label.at.y - height / 2} : label.at;
      EXPECT_EQ(box->left, corner.x) << "label at " << label.at.x << "," << label.at.y;
      EXPECT_EQ(box->top, corner.y) << "label at " << label.at.x << "," << label.at.y;
      boxes.push_back(*box);
    }
    int wrong = 0;
    std::ostringstream first;
    for (int y = 0; y < shown.height; ++y)
      for (int x = 0; x < shown.width; ++x) {
        const bool inLabel = std::any_of(boxes.begin(), boxes.end(), [&](const RECT& b) {
          return x >= b.left && x < b.right && y >= b.top && y < b.bottom;
        });
        if (inLabel) continue;
        const std::uint32_t want = reference.At(x, y) == kPen ? kPen : bare.At(x, y);
        if (shown.At(x, y) == want) continue;
        if (++wrong <= 5) first << " (" << x << "," << y << ") is " << std::hex << shown.At(x, y) << " not " << want << std::dec;
      }
    EXPECT_EQ(wrong, 0) << "pixels differ:" << first.str();
    EXPECT_EQ(MeasurementList(), expected.list);
  }

  HWND window_ = nullptr;
  ComPtr<IOndrel> ondrel_;

 private:
  const UserPreferenceValues saved_ = Preferences();
  const ConfigFile preferences_{Reader::UserPreferences,
                                "<add key=\"userAnnotForeColor\" value=\"#FFFF00\"/>\n"
                                "<add key=\"userAnnotBackgroundColor\" value=\"#0000FF\"/>\n"};
  ULONG_PTR token_ = 0;
  std::optional<component_test::OverlaysHidden> overlaysHidden_;
};

TEST_F(MeasurementPictures, EachToolSelectedAndNotOnATurnedAndAnUnturnedViewMatchesItsReference) {
  std::ifstream manifest(std::string(kData) + "/tools/measurements.txt");
  ASSERT_TRUE(manifest) << "no manifest";
  const ComPtr<IImageInfoNW> image = component_test::FirstImageOf(std::string(kData) + "/dicom/CT_small.dcm");
  ASSERT_TRUE(image);
  Expected pending;  // the picture being described, when `open`
  bool open = false;
  int pictures = 0;
  const auto finish = [&] {
    if (!open) return;
    Compare(pending);
    open = false;
    ++pictures;
  };
  std::string line;
  while (std::getline(manifest, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "window") {
      int width = 0;
      int height = 0;
      words >> width >> height;
      window_ = ondrel::platform::CreateHostWindow(width, height);
      ASSERT_EQ(ondrel_->RenderImage(image.Get(), window_, VARIANT_FALSE), S_OK);
    } else if (command == "draw") {
      std::string tool;
      std::string a;
      std::string b;
      words >> tool >> a >> b;
      if (tool == "line" || tool == "ellipse") {
        Drag(tool == "line" ? MEAS_LINE : MEAS_ELLIPSE, PointOf(a), PointOf(b));
      } else if (tool == "angle") {
        std::string c;
        words >> c;
        Press(PointOf(a), MEAS_ANGLE);
        for (const std::string& next : {b, c}) {
          ASSERT_EQ(ondrel_->MeasOnMouseMove(window_, PointOf(next)), S_OK);
          Press(PointOf(next), MEAS_ANGLE);
        }
      } else {
        std::string commit;
        std::string at;
        words >> commit >> at;
        Press(PointOf(a), MEAS_TEXT);
        for (const char c : b) ASSERT_TRUE(ondrel::platform::DeliverCharacterToFocus(window_, c));
        Press(PointOf(at), MEAS_NONE);
      }
    } else if (command == "rotate") {
      finish();
      ASSERT_EQ(ondrel_->RotateFlipImage(window_, ROTATE_RIGHT), S_OK);
    } else if (command == "picture") {
      finish();
      std::string select;
      std::string at;
      pending = Expected{};
      open = true;
      words >> pending.reference >> select >> at;
      Press(PointOf(at), MEAS_NONE);
    } else if (command == "label") {
      std::string kind;
      std::string at;
      words >> kind >> at;
      pending.labels.push_back(Label{kind == "centre", PointOf(at)});
    } else if (command == "list") {
      pending.list += line.substr(5) + "\n";
    } else {
      FAIL() << "unknown manifest line: " << line;
    }
  }
  finish();
  EXPECT_EQ(pictures, 10);
}

}  // namespace
