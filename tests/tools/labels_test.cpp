// What the measurements read: lengths in pixels and in millimetres, the ellipse's area and mean, the
// angle, and the shared texts a site may translate.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "ondrel/platform/com.h"
#include "tools/ellipse_tool.h"
#include "tools/measurement_texts.h"
#include "tools/tool_test_support.h"
#include "workstation/configuration_files.h"

namespace {

using namespace tools_test;

// The line (0,0)-(10,10) on pixels of 0.5 mm across and 0.25 mm down: sqrt(25 + 6.25) = 5.59, shown
// rounded as 6 mm.
TEST(Labels, ACalibratedDiagonalReadsInMillimetresFromBothSpacings) {
  MeasuredImage shown({100, 100, 100, 100}, nullptr,
                      [](Graph& graph) { graph.image->SetPixelSpacing(0.5, 0.25); });
  ASSERT_TRUE(shown.Tools().GetCalibration());
  shown.Drag(MEAS_LINE, {0, 0}, {10, 10});
  EXPECT_EQ(shown.List(), "line 0,0 10,10 selected=yes mode=MEAS_MODE_NONE label=\"6 mm\"\n");
}

TEST(Labels, ASpacingBelowAMillionthOfAMillimetreIsNoCalibration) {
  MeasuredImage shown({100, 100, 100, 100}, nullptr,
                      [](Graph& graph) { graph.image->SetPixelSpacing(0.5, 0.0000009); });
  EXPECT_FALSE(shown.Tools().GetCalibration());
  shown.Drag(MEAS_LINE, {0, 0}, {30, 40});
  EXPECT_EQ(shown.List(), "line 0,0 30,40 selected=yes mode=MEAS_MODE_NONE label=\"50 px\"\n");
}

// The ellipse (10,10)-(21,21): half-extents 5 (an odd extent loses its half pixel), area
// 5 x 3.14159265358979 x 5 = 78.5, shown as 79; its mean walks x and y from 10 to 20 about (15, 15).
TEST(Labels, TheEllipseAreaAndMeanFollowTheirDefinitions) {
  const auto value = [](int x, int y) { return static_cast<std::uint16_t>(7 * x + 3 * y + (x * y) % 5); };
  MeasuredImage shown({100, 100, 100, 100}, value, [](Graph& graph) {
    graph.series->SetModality(BStr(u"ct").Get());
    graph.image->SetRescaleSlope(2.0);
    graph.image->SetRescaleIntercept(-100.0);
  });
  shown.Drag(MEAS_ELLIPSE, {10, 10}, {21, 21});
  long long sum = 0;
  int count = 0;
  for (int x = 10; x < 21; ++x)
    for (int y = 10; y < 21; ++y)
      if (static_cast<double>((y - 15) * (y - 15)) / 25.0 + static_cast<double>((x - 15) * (x - 15)) / 25.0 <= 1.0) {
        sum += value(x, y);
        ++count;
      }
  char mean[32];
  std::snprintf(mean, sizeof mean, "Mean=%.2f HU", static_cast<double>(sum) / count * 2.0 - 100.0);
  EXPECT_EQ(shown.List(), std::string("ellipse 10,10 21,21 selected=yes mode=MEAS_MODE_NONE label=\"Area=79 sq px|") +
                              mean + "\"\n");
}

TEST(Labels, TheMeanReadsStoredValuesAsUnsignedAndASlopeOfZeroAsOne) {
  const struct {
    const char* what;
    std::uint16_t stored;
    double slope;
    const char* modality;
    const char* mean;
  } rows[] = {
      {"0xFFFF is 65535, whatever the sign", 0xFFFF, 1.0, "MR", "Mean=65535.00"},
      {"a slope of 0 is taken as 1", 1000, 0.0, "CT", "Mean=990.00 HU"},
  };
  for (const auto& row : rows) {
    MeasuredImage shown({40, 40, 40, 40}, [&](int, int) { return row.stored; }, [&](Graph& graph) {
      graph.series->SetModality(BStr(ToWide(row.modality)).Get());
      graph.image->SetPixelRepresentation(1);
      graph.image->SetRescaleSlope(row.slope);
      graph.image->SetRescaleIntercept(-10.0 * (row.slope == 0.0));
    });
    shown.Drag(MEAS_ELLIPSE, {5, 5}, {25, 25});
    EXPECT_NE(shown.List().find(std::string("|") + row.mean + "\""), std::string::npos) << row.what << "\n"
                                                                                        << shown.List();
  }
}

// The mean is of the stored frame, not of what the view shows: the same ellipse reads the same on a
// turned view, and moving the ellipse over other pixels changes it at the release.
TEST(Labels, TheMeanIsOfTheStoredPixelsWhateverTheViewAndFollowsAShapeDrag) {
  const auto value = [](int x, int) { return static_cast<std::uint16_t>(x < 50 ? 100 : 300); };
  MeasuredImage shown({100, 100, 100, 100}, value);
  shown.Intent().rotation = 270;  // image (x, y) shows at (y, 99 - x)
  shown.Shown().PrepareAndDraw(shown.Window(), true, true);  // the working copy is turned too
  shown.Drag(MEAS_ELLIPSE, {10, 80}, {30, 60});  // image (19,10)-(39,30): all of it left of column 50
  EXPECT_NE(shown.List().find("|Mean=100.00\""), std::string::npos) << shown.List();
  // Dragged by its outline (away from the grips) 40 pixels up on the screen, 40 right on the image.
  shown.Drag(MEAS_NONE, {27, 63}, {27, 23});
  EXPECT_NE(shown.List().find("ellipse 59,10 79,30"), std::string::npos) << shown.List();
  EXPECT_NE(shown.List().find("|Mean=300.00\""), std::string::npos) << shown.List();
}

// Angles are of image pixels: on pixels four times as high as wide, a right angle drawn on the image
// is 90 degrees, though its arms are not at a right angle in the patient.
TEST(Labels, AnAngleIsReadInImagePixelsWhateverThePixelSpacing) {
  const struct {
    POINT first, vertex, second;
    const char* label;
  } rows[] = {
      {{10, 50}, {50, 50}, {50, 10}, "90\xB0"},
      {{10, 50}, {50, 50}, {90, 50}, "180\xB0"},
      {{10, 50}, {50, 50}, {30, 50}, "0\xB0"},
      {{10, 50}, {50, 50}, {90, 10}, "135\xB0"},
  };
  for (const auto& row : rows) {
    MeasuredImage shown({100, 100, 100, 100}, nullptr,
                        [](Graph& graph) { graph.image->SetPixelSpacing(0.25, 1.0); });
    EXPECT_TRUE(shown.Angle(row.first, row.vertex, row.second));
    EXPECT_NE(shown.List().find(std::string("label=\"") + row.label + "\""), std::string::npos) << shown.List();
  }
}

TEST(Labels, AnAngleWithTwoPointsTooCloseStaysInTheMaking) {
  MeasuredImage shown;
  shown.Press({10, 10}, MEAS_ANGLE);
  shown.Release({10, 10});
  shown.Move({50, 50});
  shown.Press({50, 50}, MEAS_ANGLE);
  shown.Release({50, 50});
  shown.Move({12, 11});
  shown.Press({12, 11}, MEAS_ANGLE);
  EXPECT_THROW(shown.Release({12, 11}), std::runtime_error);
  EXPECT_EQ(shown.List(), "angle 10,10 50,50 12,11 selected=yes mode=MEAS_MODE_CREATING\n");
  shown.Move({90, 10});
  shown.Press({90, 10}, MEAS_ANGLE);
  EXPECT_TRUE(shown.Release({90, 10}));
  EXPECT_EQ(shown.List(), "angle 10,10 50,50 90,10 selected=yes mode=MEAS_MODE_NONE label=\"90\xB0\"\n");
}

using configuration_test::ConfigFile;
using configuration_test::Reader;

ondrel::platform::ComPtr<IGlobalConfiguration> ConfigurationOf(const std::string& entries) {
  const ConfigFile file(Reader::GlobalConfiguration, "<configuration>\n" + entries + "</configuration>\n");
  ondrel::platform::ComPtr<IGlobalConfiguration> configuration;
  EXPECT_EQ(CoCreateInstance(CLSID_GlobalConfiguration, nullptr, CLSCTX_ALL, IGlobalConfiguration::kIid,
                             reinterpret_cast<void**>(configuration.GetAddressOf())),
            S_OK);
  return configuration;
}

// A translated text is used as the format. A key with an empty text, or a text whose conversions are
// not the default's (it would read arguments never passed), gives the English default; no
// configuration at all does too. A text once read is not read again.
TEST(Labels, TheSharedTextsAreTranslatedReadOnceAndFallBackToEnglish) {
  const ClassesRegistered registered;
  MeasurementTexts texts;
  texts.LoadMissing(ConfigurationOf("<add key=\"resMeasAreaCalibrated\" value=\"Fl\xC3\xA4" "che=%.1f mm2\"/>\n"
                                    "<add key=\"resMeasAreaNotCalibrated\" value=\"\"/>\n"
                                    "<add key=\"resMeasMean\" value=\"Mittel=%s%.2f\"/>\n")
                        .Get());
  EXPECT_EQ(texts.FormatArea(12.25, true), "Fl\xE4" "che=12.2 mm2");
  EXPECT_EQ(texts.FormatArea(78.54, false), "Area=79 sq px");
  EXPECT_EQ(texts.FormatMean(-3.456, " HU"), "Mean=-3.46 HU");
  texts.LoadMissing(ConfigurationOf("<add key=\"resMeasAreaCalibrated\" value=\"A=%.0f\"/>\n").Get());
  EXPECT_EQ(texts.FormatArea(12.25, true), "Fl\xE4" "che=12.2 mm2") << "read once";

  MeasurementTexts defaults;
  defaults.LoadMissing(nullptr);
  EXPECT_EQ(defaults.FormatArea(78.54, false), "Area=79 sq px");
  EXPECT_EQ(defaults.FormatMean(-3.456, " HU"), "Mean=-3.46 HU");
}

}  // namespace
