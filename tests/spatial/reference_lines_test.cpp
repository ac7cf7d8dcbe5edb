// Reference lines on made geometry: what gives no line, the frame of reference rule, the walk's edge
// cases, the modes and what a calculation clears, and where the number stands in series mode. Slices
// of 64 x 64 pixels of 1 mm (spatial_test_support.h), so that a plane's crossing falls on whole pixels
// worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "spatial/reference_line_tool.h"
#include "spatial/reference_lines.h"
#include "spatial/spatial_test_support.h"
#include "tools/tool_test_support.h"

namespace {

using namespace spatial_test;
using tools_test::MeasuredImage;
using tools_test::ReferenceLinesModeSet;

// The line `source` draws on `target`, both single images of their own series.
std::string LineOf(const Slice& source, const Slice& target, const std::u16string& sourceFrame = u"1.2.840.5",
                   const std::u16string& targetFrame = u"1.2.840.5") {
  const ClassesRegistered registered;
  const MadeSeries from(sourceFrame, {source});
  const MadeSeries to(targetFrame, {target});
  return Text(ProjectImage(*from.Strategy(0), *to.Strategy(0)));
}

TEST(ReferenceLines, ACoronalSliceCutsAnAxialOneAlongTheRowOfItsY) {
  EXPECT_EQ(LineOf(Coronal(20.0), Axial(30.0)), "0,20 63,20");
  EXPECT_EQ(LineOf(Sagittal(12.0), Axial(30.0)), "12,0 12,63");
  EXPECT_EQ(LineOf(Axial(30.0), Coronal(20.0)), "0,30 63,30") << "60 - 30 mm down the coronal rows";
}

TEST(ReferenceLines, SlicesThatDoNotCrossGiveNoLine) {
  const struct {
    const char* what;
    Slice source;
    Slice target;
  } rows[] = {
      {"parallel slices", Axial(35.0), Axial(30.0)},
      {"one plane", Axial(30.0), Axial(30.0)},
      {"a coronal slice beside the axial image", Coronal(80.0), Axial(30.0)},
      {"a coronal slice above the axial plane", Coronal(20.0, 0.0, 10.0), Axial(30.0)},
  };
  for (const auto& row : rows) EXPECT_EQ(LineOf(row.source, row.target), "none") << row.what;
}

TEST(ReferenceLines, FramesOfReferenceMatchButForBlanksAtTheEndsAndTheCaseOfLetters) {
  const struct {
    std::u16string source;
    std::u16string target;
    bool line;
  } rows[] = {
      {u"1.2.840.5", u"1.2.840.5", true},     {u" 1.2.840.5  ", u"1.2.840.5", true},
      {u"1.2.ABC.5", u"1.2.abc.5 ", true},    {u"1.2.840.5", u"1.2.840.6", false},
      {u"1.2.840.5", u"1.2.840.5.1", false},  {u"", u"", false},
      {u"   ", u"   ", false},                {u"1.2.840.5", u"", false},
      {u"1.2. 840.5", u"1.2.840.5", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(LineOf(Coronal(20.0), Axial(30.0), row.source, row.target) != "none", row.line)
        << "'" << std::string(row.source.begin(), row.source.end()) << "' on '"
        << std::string(row.target.begin(), row.target.end()) << "'";
  }
}

TEST(ReferenceLines, AnImageWithoutItsGeometryGivesNoLine) {
  const ClassesRegistered registered;
  const struct {
    const char* what;
    bool source;
    HRESULT (IImageInfoNW::*set)(BSTR);
  } rows[] = {
      {"a source without its position", true, &IImageInfoNW::SetImagePosition},
      {"a source without its orientation", true, &IImageInfoNW::SetImageOrientation},
      {"a target without its position", false, &IImageInfoNW::SetImagePosition},
      {"a target without its orientation", false, &IImageInfoNW::SetImageOrientation},
  };
  for (const auto& row : rows) {
    const MadeSeries from(u"1.2.840.5", {Coronal(20.0)});
    const MadeSeries to(u"1.2.840.5", {Axial(30.0)});
    // Two numbers are no position and no orientation.
    ((row.source ? from : to).Object(0)->*row.set)(BStr(u"1\\2").Get());
    EXPECT_EQ(Text(ProjectImage(*from.Strategy(0), *to.Strategy(0))), "none") << row.what;
  }
}

// A coronal source of half-millimetre pixels, its first column at x = 10.1: two columns reach only
// the axial pixel column 11 (one step of the walk holds, no line), four reach columns 11 and 12.
TEST(ReferenceLines, ASourceThatHoldsOnlyOneStepOfTheWalkGivesNoLine) {
  EXPECT_EQ(LineOf(Coronal(20.0, 10.1, 60.0, 2, 0.5), Axial(40.0)), "none");
  EXPECT_EQ(LineOf(Coronal(20.0, 10.1, 60.0, 3, 0.5), Axial(40.0)), "none");
  EXPECT_EQ(LineOf(Coronal(20.0, 10.1, 60.0, 4, 0.5), Axial(40.0)), "11,20 12,20");
}

// A sagittal slice turned a billionth of a radian about z crosses the axial image all but vertically:
// its rows at the image's first and last column lie some 10^10 rows apart. The walk still finds the
// line, at once, where the slice covers the image.
TEST(ReferenceLines, ANearlyVerticalCrossingGivesItsLine) {
  const double turn = 1e-9;
  Slice sagittal = Sagittal(20.3);
  sagittal.first = {std::sin(turn), std::cos(turn), 0.0};
  EXPECT_EQ(LineOf(sagittal, Axial(30.0)), "20,0 20,63");
}

// Shown images whose measurements take the lines: the projectee an axial slice at z = 30 numbered 7,
// the projected one a series of three coronal slices and an axial one, numbered 1 to 4 in that order.
class Calculation : public ::testing::Test {
 protected:
  static void Frame(Graph& graph) { EXPECT_EQ(graph.series->SetFrameOfReferenceUid(BStr(u"1.2.840.5").Get()), S_OK); }

  MeasuredImage projectee_{{64, 64, 128, 128}, nullptr, [](Graph& graph) {
                             Frame(graph);
                             Describe(graph.image.Get(), Axial(30.0), 7);
                           }};
  MeasuredImage projected_{{64, 64, 128, 128}, nullptr, [](Graph& graph) {
                             Frame(graph);
                             Describe(graph.image.Get(), Coronal(20.0), 1);
                             AddSlice(graph.series.Get(), Coronal(45.0), 2);
                             AddSlice(graph.series.Get(), Axial(40.0), 3);
                             AddSlice(graph.series.Get(), Coronal(30.0), 4);
                           }};

  std::string Calculate(ReferenceLinesEnum mode) {
    const ReferenceLinesModeSet set(mode);
    CalculateReferenceLines(&projected_.Shown(), &projectee_.Shown());
    return projectee_.List();
  }
  std::vector<std::int32_t> Numbers() {
    std::vector<std::int32_t> numbers;
    for (const auto& line : projectee_.Tools().ReferenceLines())
      numbers.push_back(dynamic_cast<const ReferenceLineTool&>(*line).InstanceNumber());
    return numbers;
  }
  // A line that an earlier calculation left.
  static void Leave(MeasuredImage& image) {
    image.Tools().ReferenceLines().push_back(
        std::make_unique<ReferenceLineTool>(image.Tools(), PixelPoint{1, 1}, PixelPoint{9, 1}, 99));
  }
};

TEST_F(Calculation, TheModeChoosesTheProjectedImageOrItsWholeSeries) {
  Leave(projectee_);
  EXPECT_EQ(Calculate(REFERENCE_LINE_OFF), "") << "the old line goes in any mode";
  EXPECT_EQ(Calculate(REFERENCE_LINE_CURRENT_IMAGE), "reference 0,20 63,20\n");
  EXPECT_EQ(Numbers(), std::vector<std::int32_t>{1});
  EXPECT_EQ(Calculate(REFERENCE_LINE_CURRENT_SERIES),
            "reference 0,20 63,20\nreference 0,45 63,45\nreference 0,30 63,30\n")
      << "in series order, the parallel axial slice giving none";
  EXPECT_EQ(Numbers(), (std::vector<std::int32_t>{1, 2, 4}));
  EXPECT_EQ(Calculate(static_cast<ReferenceLinesEnum>(3)), "") << "a mode outside the enumeration";
}

TEST_F(Calculation, TheProjectedImageLosesItsOwnLines) {
  Leave(projected_);
  Calculate(REFERENCE_LINE_CURRENT_IMAGE);
  EXPECT_EQ(projected_.List(), "");
  EXPECT_EQ(projectee_.List(), "reference 0,20 63,20\n");
}

TEST_F(Calculation, WithoutAProjectedImageTheProjecteesLinesAreOnlyCleared) {
  Leave(projectee_);
  Leave(projected_);
  const ReferenceLinesModeSet set(REFERENCE_LINE_CURRENT_IMAGE);
  CalculateReferenceLines(nullptr, &projectee_.Shown());
  EXPECT_EQ(projectee_.List(), "");
  EXPECT_EQ(projected_.List(), "reference 1,1 9,1\n");
  CalculateReferenceLines(&projected_.Shown(), nullptr);
  EXPECT_EQ(projected_.List(), "reference 1,1 9,1\n") << "no projectee, nothing done";
}

// In series mode the number of an odd image stands twice as far from the line's end; a negative odd
// number stands as an even one does.
TEST_F(Calculation, InSeriesModeThePositiveOddNumbersStandTwiceAsFar) {
  const auto picture = [&](std::int32_t number, ReferenceLinesEnum mode) {
    const ReferenceLinesModeSet set(mode);
    projectee_.Tools().ClearReferenceLines();
    projectee_.Tools().ReferenceLines().push_back(
        std::make_unique<ReferenceLineTool>(projectee_.Tools(), PixelPoint{10, 32}, PixelPoint{60, 32}, number));
    const HWND window = projectee_.Window();
    const HDC dc = GetDC(window);
    const RECT client{0, 0, 128, 128};
    const HBRUSH black = CreateSolidBrush(RGB(0, 0, 0));
    const HRGN all = CreateRectRgn(0, 0, 128, 128);
    FillRgn(dc, all, black);
    DeleteObject(all);
    DeleteObject(black);
    projectee_.Tools().DrawReferenceLines(dc, client);
    ReleaseDC(window, dc);
    ondrel::platform::WindowPixels pixels;
    EXPECT_TRUE(ondrel::platform::ReadWindowPixels(window, pixels));
    return pixels.bgra;
  };
  EXPECT_EQ(picture(-3, REFERENCE_LINE_CURRENT_SERIES), picture(-3, REFERENCE_LINE_CURRENT_IMAGE));
  EXPECT_EQ(picture(4, REFERENCE_LINE_CURRENT_SERIES), picture(4, REFERENCE_LINE_CURRENT_IMAGE));
  EXPECT_NE(picture(3, REFERENCE_LINE_CURRENT_SERIES), picture(3, REFERENCE_LINE_CURRENT_IMAGE));
}

}  // namespace
