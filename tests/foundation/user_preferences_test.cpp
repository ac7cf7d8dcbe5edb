#include "foundation/user_preferences.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

#include "foundation/exceptions.h"
#include "workstation/configuration_files.h"

namespace {

using configuration_test::ConfigFile;
using configuration_test::Reader;

// Puts every preference back and lets go of the process-wide object, before and after.
class PreferencesGuard {
 public:
  PreferencesGuard() { ReleaseUserPreferences(); }
  ~PreferencesGuard() {
    ReleaseUserPreferences();
    Preferences() = saved_;
  }
  PreferencesGuard(const PreferencesGuard&) = delete;
  PreferencesGuard& operator=(const PreferencesGuard&) = delete;

 private:
  const UserPreferenceValues saved_ = Preferences();
};

std::string WhatOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const MyException& e) {
    return e.what();
  }
  return "(nothing was thrown)";
}

// The defaults of the preference table, colours in the display's order (red in the low byte).
void ExpectDefaults(const char* when) {
  EXPECT_EQ(Preferences().userAnnotFontName, "Arial") << when;
  EXPECT_EQ(Preferences().userOverlaysFontName, "Arial") << when;
  const std::tuple<const char*, long long, long long> rows[] = {
      {"userAnnotFontSize", Preferences().userAnnotFontSize, 12},
      {"userOverlaysFontSize", Preferences().userOverlaysFontSize, 10},
      {"userMeasGripHandleSize", Preferences().userMeasGripHandleSize, 3},
      {"userMeasWidth", Preferences().userMeasWidth, 1},
      {"userMeasColor", Preferences().userMeasColor, 0x00FF00},
      {"userAnnotForeColor", Preferences().userAnnotForeColor, 0xFFFFFF},
      {"userAnnotBackgroundColor", Preferences().userAnnotBackgroundColor, 0},
      {"userCalibrationLineColor (red)", Preferences().userCalibrationLineColor, 0x0000FF},
      {"userImageSelectionColor", Preferences().userImageSelectionColor, 0x00FF00},
      {"userRefLineWidth", Preferences().userRefLineWidth, 1},
      {"userRefLineColor", Preferences().userRefLineColor, 0x00FF00},
      {"userMprLineWidth", Preferences().userMprLineWidth, 1},
      {"userMprLineColor", Preferences().userMprLineColor, 0x00FF00},
      {"userMipLineWidth", Preferences().userMipLineWidth, 1},
      {"userMipLineColor", Preferences().userMipLineColor, 0x00FF00},
      {"userMagGlassMagnification", Preferences().userMagGlassMagnification, 6},
      {"userMagGlassWidth", Preferences().userMagGlassWidth, 50},
      {"userMagGlassHeight", Preferences().userMagGlassHeight, 50},
  };
  for (const auto& [name, actual, expected] : rows) EXPECT_EQ(actual, expected) << name << ", " << when;
}

TEST(UserPreferencesTest, WithoutTheObjectAndWithTheShippedFileEveryPreferenceIsItsDefault) {
  const PreferencesGuard guard;
  Preferences().userAnnotFontName = "Courier New";
  Preferences().userMeasWidth = 7;
  Preferences().userCalibrationLineColor = 0x123456;
  StartUserPreferences(false);
  ExpectDefaults("without the object");

  const configuration_test::WorkstationClasses classes;
  const configuration_test::Redirection shipped(Reader::UserPreferences,
                                                ONDREL_DATA_DIR "/UserPreferences.config");
  Preferences().userMeasWidth = 7;
  StartUserPreferences(true);
  ExpectDefaults("from data/UserPreferences.config");
}

TEST(UserPreferencesTest, TheObjectGivesTheUsersValuesWithColoursSwapped) {
  const PreferencesGuard guard;
  const configuration_test::WorkstationClasses classes;
  const ConfigFile file(Reader::UserPreferences,
                        "<add key=\"userAnnotFontName\" value=\"Courier New\"/>\n"
                        "<add key=\"userMeasGripHandleSize\" value=\"5\"/>\n"
                        "<add key=\"userMeasColor\" value=\"#FF8000\"/>\n"
                        "<add key=\"userRefLineColor\" value=\"255\"/>\n"
                        "<add key=\"userMagGlassMagnification\" value=\"six\"/>\n");
  StartUserPreferences(true);
  EXPECT_EQ(Preferences().userAnnotFontName, "Courier New");
  EXPECT_EQ(Preferences().userMeasGripHandleSize, 5);
  EXPECT_EQ(Preferences().userMeasColor, 0x0080FFu) << "orange: red FF, green 80, blue 00";
  EXPECT_EQ(Preferences().userRefLineColor, 0xFF0000u) << "255 is blue where red is in bits 16-23";
  EXPECT_EQ(Preferences().userMagGlassMagnification, 6) << "not a number";
  EXPECT_EQ(Preferences().userCalibrationLineColor, 0x0000FFu) << "an absent colour is red, as without the object";
  EXPECT_EQ(Preferences().userOverlaysFontName, "Arial");

  Preferences().userMeasGripHandleSize = 1;
  StartUserPreferences(false);
  EXPECT_EQ(Preferences().userMeasGripHandleSize, 5) << "an object made before is read again";
}

// Reads texts and fails every number with E_INVALIDARG.
class FailingPreferences final : public ondrel::platform::ComObject<IUserPreferences> {
 public:
  HRESULT ReadString(BSTR, BSTR, BSTR* value) override {
    *value = SysAllocString(u"Courier");
    return S_OK;
  }
  HRESULT ReadInteger(BSTR, LONG, LONG*) override { return E_INVALIDARG; }
  HRESULT ReadColor(BSTR, LONG, LONG*) override { return E_INVALIDARG; }
};

TEST(UserPreferencesTest, FailuresToCreateAndToReadSayWhat) {
  const PreferencesGuard guard;
  EXPECT_EQ(WhatOf([] { StartUserPreferences(true); }),
            "The Ondrel failed to create the UserPreferences object. HRESULT=80040154");

  ondrel::platform::RegisterComClass<FailingPreferences>(CLSID_UserPreferences, u"Ondrel.UserPreferences");
  const std::string what = WhatOf([] { StartUserPreferences(true); });
  RemoveClassFromTable(CLSID_UserPreferences);
  EXPECT_EQ(what.substr(0, what.find("Line=")),
            "COM method failed. HRESULT=80070057, File=user_preferences.cpp, ");
  EXPECT_EQ(Preferences().userAnnotFontName, "Courier") << "read before the failure";
  EXPECT_EQ(Preferences().userOverlaysFontName, "Arial") << "not read: the failure came first";
}

TEST(UserPreferencesTest, FontsTakeTheirHeightInPointsAtTheContextsResolution) {
  const PreferencesGuard guard;
  Preferences().userAnnotFontName = "Courier New";
  Preferences().userOverlaysFontName = std::string(40, 'F');
  const HDC dc = CreateCompatibleDC(nullptr);
  // At 96 pixels per inch a point is 4/3 pixel, rounded half away from zero; negative: a character height.
  const std::tuple<const char*, UserFont, int, LONG, const char*> rows[] = {
      {"10 points", UserFont::Annotation, 10, -13, "Courier New"},
      {"12 points", UserFont::Annotation, 12, -16, "Courier New"},
      {"0 takes the annotation size, 12", UserFont::Annotation, 0, -16, "Courier New"},
      {"0 takes the overlay size, 10", UserFont::Overlays, 0, -13, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"},
      {"20 points", UserFont::Overlays, 20, -27, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"},
  };
  for (const auto& [what, font, points, height, face] : rows) {
    const LOGFONTA description = UserLogFont(dc, font, points);
    EXPECT_EQ(description.lfHeight, height) << what;
    EXPECT_STREQ(description.lfFaceName, face) << what << ": a long name is cut to 31 characters";
    EXPECT_EQ(description.lfWeight, 0) << what;
  }
  const HFONT font = CreateUserFont(dc, UserFont::Annotation);
  EXPECT_NE(font, nullptr);
  EXPECT_TRUE(DeleteObject(font));
  DeleteDC(dc);
  const std::string what = WhatOf([] { CreateUserFont(nullptr, UserFont::Annotation, 10); });
  EXPECT_EQ(what.substr(0, what.find(" File=")), "The User preferences received an invalid parameter.");
}

}  // namespace
