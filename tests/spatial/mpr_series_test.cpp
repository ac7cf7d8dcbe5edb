// The MPR's derived series through the component, on stacks made of workstation objects alone (their
// facts are what generation reads; no pixel is read): the worked stack of a 100-slice CT, a stack
// without a spacing between slices, a stack of one image, and the UIDs of the series and images.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "entry/component_test_support.h"
#include "foundation/text_utils.h"
#include "spatial/mpr_state.h"
#include "workstation/graph_support.h"

namespace {

using component_test::ComponentTest;
using ondrel::platform::BStr;
using ondrel::platform::ComPtr;
using workstation_test::Create;
using workstation_test::ImagesOf;

std::string Text(IImageInfoNW* image, HRESULT (IImageInfoNW::*getter)(BSTR*)) {
  BStr text;
  EXPECT_EQ((image->*getter)(text.Out()), S_OK);
  return ToNarrow(text.View());
}

std::string SeriesUid(ISeriesInfoNW* series) {
  BStr text;
  EXPECT_EQ(series->GetSeriesInstanceUid(text.Out()), S_OK);
  return ToNarrow(text.View());
}

// An axial stack of `slices` images of 512 x 512 at 0.5 mm, `step` mm apart along z, as the study
// builder would make it of files.
struct Stack {
  ComPtr<IPatientInfoNW> patient = Create<IPatientInfoNW>(CLSID_PatientInfoNW);
  ComPtr<IStudyInfoNW> study = Create<IStudyInfoNW>(CLSID_StudyInfoNW);
  ComPtr<ISeriesInfoNW> series = Create<ISeriesInfoNW>(CLSID_SeriesInfoNW);
  std::vector<ComPtr<IImageInfoNW>> images;

  Stack(int slices, double step, double spacingBetweenSlices) {
    patient->AddStudyToPatient(study.Get());
    study->AddSeriesToStudy(series.Get());
    series->SetModality(BStr(u"CT").Get());
    series->SetFrameOfReferenceUid(BStr(u"1.2.3.4").Get());
    for (int i = 0; i < slices; ++i) {
      ComPtr<IImageInfoNW> image = Create<IImageInfoNW>(CLSID_ImageInfoNW);
      image->SetSopInstanceUid(BStr(ToWide("1.2.3." + std::to_string(i + 1))).Get());
      image->SetSopClassUid(BStr(u"1.2.840.10008.5.1.4.1.1.2").Get());
      image->SetInstanceNumber(i + 1);
      image->SetRows(512);
      image->SetColumns(512);
      image->SetPixelSpacing(0.5, 0.5);
      image->SetSpacingBetweenSlices(spacingBetweenSlices);
      image->SetBitsAllocated(16);
      image->SetBitsStored(12);
      image->SetImagePosition(BStr(ToWide("-128\\-128\\" + std::to_string(i * step))).Get());
      image->SetImageOrientation(BStr(u"1\\0\\0\\0\\1\\0").Get());
      series->AddImageToSeries(image.Get());
      images.push_back(image);
    }
  }
};

class MprSeriesTest : public ComponentTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(ondrel_->EndMprMode(), S_OK);
    ComponentTest::TearDown();
  }

  // Generates the MPR of the stack, expecting success.
  void Generate(const Stack& stack) {
    ASSERT_EQ(ondrel_->GenerateMprSeries(stack.images[3].Get(), first_.GetAddressOf(), second_.GetAddressOf(),
                                         oblique_.GetAddressOf()),
              S_OK);
  }

  ComPtr<ISeriesInfoNW> first_;
  ComPtr<ISeriesInfoNW> second_;
  ComPtr<ISeriesInfoNW> oblique_;
};

void ExpectSize(const std::vector<ComPtr<IImageInfoNW>>& images, std::size_t count, USHORT rows, USHORT columns) {
  ASSERT_EQ(images.size(), count);
  for (const auto& image : images) {
    USHORT r = 0;
    USHORT c = 0;
    image->GetRows(&r);
    image->GetColumns(&c);
    ASSERT_EQ(r, rows);
    ASSERT_EQ(c, columns);
  }
}

TEST_F(MprSeriesTest, TheWorkedStackGivesItsSizesLineAndRoles) {
  const Stack stack(100, 2.0, 2.0);
  Generate(stack);
  // 99 x 2 mm over 0.5 mm spacing: 396 depth rows; 512 x 0.5 / 2 = 128 images in each orthogonal
  // series; no shift, so 512 columns; the diagonal line (0, 0)-(511, 511) is 724 columns long.
  ExpectSize(ImagesOf(first_.Get()), 128, 396, 512);
  ExpectSize(ImagesOf(second_.Get()), 128, 396, 512);
  const auto oblique = ImagesOf(oblique_.Get());
  ExpectSize(oblique, 1, 396, 724);
  // The oblique image starts at the line's first end on the last slice and runs along the diagonal.
  EXPECT_EQ(Text(oblique[0].Get(), &IImageInfoNW::GetImagePosition), "-128.000000\\-128.000000\\198.000000");
  EXPECT_EQ(Text(oblique[0].Get(), &IImageInfoNW::GetImageOrientation),
            "0.707107\\0.707107\\0.000000\\0.000000\\0.000000\\-1.000000");
  // The seventh coronal image lies 6 x 2 mm (24 rows of 0.5 mm) into the rows of the last slice.
  const auto firstImages = ImagesOf(first_.Get());
  EXPECT_EQ(Text(firstImages[6].Get(), &IImageInfoNW::GetImagePosition), "-128.000000\\-116.000000\\198.000000");
  LONG role = 0;
  stack.series->GetMprType(&role);
  EXPECT_EQ(role, 1);
  for (const auto& [series, expected] : {std::pair{first_, 2}, std::pair{second_, 3}, std::pair{oblique_, 4}}) {
    series->GetMprType(&role);
    EXPECT_EQ(role, expected);
  }
  MprOperationsEnum mode = MPR_MODE_NONE;
  EXPECT_EQ(ondrel_->GetMprMode(&mode), S_OK);
  EXPECT_EQ(mode, MPR_MODE_GENERATED);
}

TEST_F(MprSeriesTest, SeriesAndImageUidsEndInTheirNumbers) {
  const Stack stack(10, 2.0, 2.0);
  Generate(stack);
  const std::string uids[] = {SeriesUid(first_.Get()), SeriesUid(second_.Get()), SeriesUid(oblique_.Get())};
  EXPECT_TRUE(uids[0].ends_with(".101")) << uids[0];
  EXPECT_TRUE(uids[1].ends_with(".102")) << uids[1];
  EXPECT_TRUE(uids[2].ends_with(".103")) << uids[2];
  EXPECT_EQ(Text(ImagesOf(first_.Get())[6].Get(), &IImageInfoNW::GetSopInstanceUid), uids[0] + ".7");
}

TEST_F(MprSeriesTest, NoSpacingBetweenSlicesCountsAsFiveMillimetres) {
  const Stack stack(10, 2.0, 0.0);
  Generate(stack);
  // 512 x 0.5 / 5.0 images, each with a spacing between slices of 5.0.
  const auto images = ImagesOf(first_.Get());
  ASSERT_EQ(images.size(), 51u);
  double thickness = 0.0;
  EXPECT_EQ(images[0]->GetSpacingBetweenSlices(&thickness), S_OK);
  EXPECT_EQ(thickness, 5.0);
  EXPECT_EQ(ImagesOf(second_.Get()).size(), 51u);
}

TEST_F(MprSeriesTest, AStackOfOneImageHasNoRowsAngle) {
  const Stack stack(4, 2.0, 2.0);
  ComPtr<IPatientInfoNW> patient = Create<IPatientInfoNW>(CLSID_PatientInfoNW);
  ComPtr<IStudyInfoNW> study = Create<IStudyInfoNW>(CLSID_StudyInfoNW);
  ComPtr<ISeriesInfoNW> alone = Create<ISeriesInfoNW>(CLSID_SeriesInfoNW);
  patient->AddStudyToPatient(study.Get());
  study->AddSeriesToStudy(alone.Get());
  alone->AddImageToSeries(stack.images[0].Get());
  EXPECT_EQ(ondrel_->GenerateMprSeries(stack.images[0].Get(), first_.GetAddressOf(), second_.GetAddressOf(),
                                       oblique_.GetAddressOf()),
            E_FAIL);
  EXPECT_NE(component_test::TakeErrorInfo().first.find(u"Cannot calculate the source stack rows angle."),
            std::u16string::npos);
}

TEST(MprStack, SizesRoundUpToMultiplesOfFourInTheirLowSixteenBits) {
  EXPECT_EQ(spatial::RoundUpToFour(401), 404);
  EXPECT_EQ(spatial::RoundUpToFour(400), 400);
  EXPECT_EQ(spatial::RoundUpToFour(0x1FFFF), 0x10000);  // the upper bits stay, the low 16 wrap
  EXPECT_EQ(spatial::ObliqueWidth({{0, 0}, {511, 511}}, 0.5, 0.5, 0.5), 724);
  EXPECT_EQ(spatial::ObliqueWidth({{0, 0}}, 0.5, 0.5, 0.5), 0);
}

}  // namespace
