#include <gtest/gtest.h>

#include "ondrel/workstation.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

TEST(InfoObjects, EveryClassIsMadeThroughTheClassTableWithItsProgramIdentifier) {
  const ClassesRegistered registered;
  const struct {
    const CLSID* clsid;
    const IID* iid;
    const char16_t* progId;
  } classes[] = {
      {&CLSID_PatientInfoNW, &IPatientInfoNW::kIid, u"Ondrel.PatientInfoNW"},
      {&CLSID_StudyInfoNW, &IStudyInfoNW::kIid, u"Ondrel.StudyInfoNW"},
      {&CLSID_SeriesInfoNW, &ISeriesInfoNW::kIid, u"Ondrel.SeriesInfoNW"},
      {&CLSID_ImageInfoNW, &IImageInfoNW::kIid, u"Ondrel.ImageInfoNW"},
      {&CLSID_DicomDirPatient, &IDicomDirPatient::kIid, u"Ondrel.DicomDirPatient"},
      {&CLSID_DicomDirStudy, &IDicomDirStudy::kIid, u"Ondrel.DicomDirStudy"},
      {&CLSID_DicomDirSeries, &IDicomDirSeries::kIid, u"Ondrel.DicomDirSeries"},
      {&CLSID_DicomDirImage, &IDicomDirImage::kIid, u"Ondrel.DicomDirImage"},
  };
  for (const auto& entry : classes) {
    IUnknown* object = nullptr;
    ASSERT_EQ(CoCreateInstance(*entry.clsid, nullptr, CLSCTX_ALL, *entry.iid, reinterpret_cast<void**>(&object)), S_OK);
    IUnknown* other = nullptr;
    EXPECT_EQ(object->QueryInterface(IID_IClassFactory, reinterpret_cast<void**>(&other)), E_NOINTERFACE);
    object->Release();
    LPOLESTR progId = nullptr;
    ASSERT_EQ(ProgIDFromCLSID(*entry.clsid, &progId), S_OK);
    EXPECT_EQ(std::u16string(progId), entry.progId);
    CoTaskMemFree(progId);
  }
  UnregisterWorkstationClasses();
  IUnknown* object = nullptr;
  EXPECT_EQ(CoCreateInstance(CLSID_ImageInfoNW, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object)),
            REGDB_E_CLASSNOTREG);
}

TEST(InfoObjects, APropertyNeverSetIsNotAvailableAndReadsAsZero) {
  const ClassesRegistered registered;
  const Graph graph;
  BStr text(u"stale");
  EXPECT_EQ(graph.image->GetSopInstanceUid(text.Out()), S_FALSE);
  EXPECT_TRUE(text.IsNull());
  USHORT rows = 7;
  EXPECT_EQ(graph.image->GetRows(&rows), S_FALSE);
  EXPECT_EQ(rows, 0);
  double x = 1.0;
  double y = 1.0;
  EXPECT_EQ(graph.image->GetPixelSpacing(&x, &y), S_FALSE);
  EXPECT_EQ(x, 0.0);
  EXPECT_EQ(graph.image->GetRows(nullptr), E_POINTER);
  double slope = 0.0;
  EXPECT_EQ(graph.image->GetRescaleSlope(&slope), S_FALSE);
  EXPECT_EQ(slope, 1.0);  // no slope: stored values as they are

  EXPECT_EQ(graph.image->SetRows(512), S_OK);
  EXPECT_EQ(graph.image->GetRows(&rows), S_OK);
  EXPECT_EQ(rows, 512);
  EXPECT_EQ(graph.image->SetPixelSpacing(0.4, 0.3), S_OK);
  EXPECT_EQ(graph.image->GetPixelSpacing(&x, &y), S_OK);
  EXPECT_EQ(x, 0.4);
  EXPECT_EQ(y, 0.3);
  // A null text is an empty text, and available.
  EXPECT_EQ(graph.image->SetFileName(nullptr), S_OK);
  EXPECT_EQ(ReadText(graph.image.Get(), &IImageInfoNW::GetFileName), u"");
}

TEST(InfoObjects, AGraphLivesWhileAnyOfItsObjectsIsHeldAndNavigatesBothWays) {
  const ClassesRegistered registered;
  ComPtr<IImageInfoNW> image;
  ComPtr<ISeriesInfoNW> series;
  {
    const Graph graph;
    graph.patient->SetPatientName(BStr(u"Doe^Jane").Get());
    image = graph.image;
    series = graph.series;
  }
  // Only the image and the series are held: the study and the patient are reached through them.
  ComPtr<ISeriesInfoNW> up;
  ASSERT_EQ(image->GetSeries(up.GetAddressOf()), S_OK);
  EXPECT_EQ(up.Get(), series.Get());
  ComPtr<IStudyInfoNW> study;
  ASSERT_EQ(up->GetStudy(study.GetAddressOf()), S_OK);
  ComPtr<IPatientInfoNW> patient;
  ASSERT_EQ(study->GetPatient(patient.GetAddressOf()), S_OK);
  EXPECT_EQ(ReadText(patient.Get(), &IPatientInfoNW::GetPatientName), u"Doe^Jane");

  image.Reset();
  const auto images = ImagesOf(series.Get());
  ASSERT_EQ(images.size(), 1U);

  const auto lonely = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  ComPtr<ISeriesInfoNW> none;
  EXPECT_EQ(lonely->GetSeries(none.GetAddressOf()), OLE_E_BLANK);
  EXPECT_FALSE(none);
}

TEST(InfoObjects, SeriesKeepImagesInTheOrderAddedAndSpreadACalibration) {
  const ClassesRegistered registered;
  const Graph graph;
  const auto second = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  second->SetInstanceNumber(2);
  EXPECT_EQ(graph.series->AddImageToSeries(second.Get()), S_OK);
  EXPECT_EQ(graph.series->AddImageToSeries(second.Get()), S_FALSE);
  EXPECT_EQ(graph.series->AddImageToSeries(nullptr), E_POINTER);
  const auto images = ImagesOf(graph.series.Get());
  ASSERT_EQ(images.size(), 2U);
  EXPECT_EQ(images[0].Get(), graph.image.Get());
  EXPECT_EQ(images[1].Get(), second.Get());

  EXPECT_EQ(graph.series->SetSeriesPixelSpacing(0.5, 0.25), S_OK);
  for (const auto& image : images) {
    double x = 0.0;
    double y = 0.0;
    EXPECT_EQ(image->GetPixelSpacing(&x, &y), S_OK);
    EXPECT_EQ(x, 0.5);
    EXPECT_EQ(y, 0.25);
  }
}

TEST(InfoObjects, PositionAndOrientationTextsReadAsNumbers) {
  const ClassesRegistered registered;
  const auto image = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  const struct {
    const char16_t* text;
    HRESULT expected;
    double z;
  } cases[] = {
      {u"-125.5\\12\\3e1", S_OK, 30.0},
      {u" 1 \\ +2\\-0.25 ", S_OK, -0.25},
      {u"1\\2", S_FALSE, 0.0},
      {u"1\\x\\3", S_FALSE, 0.0},
      {u"", S_FALSE, 0.0},
  };
  for (const auto& c : cases) {
    image->SetImagePosition(BStr(c.text).Get());
    double x = 9;
    double y = 9;
    double z = 9;
    EXPECT_EQ(image->GetImagePositionValues(&x, &y, &z), c.expected);
    EXPECT_EQ(z, c.z);
  }
  image->SetImageOrientation(BStr(u"1\\0\\0\\0\\1\\0").Get());
  double values[6] = {};
  EXPECT_EQ(image->GetImageOrientationValues(values), S_OK);
  EXPECT_EQ(values[4], 1.0);
}

TEST(InfoObjects, TaggedStateIsKeptPerWindow) {
  const ClassesRegistered registered;
  const auto image = Create<IDicomDirImage>(CLSID_DicomDirImage);
  LONG state = 5;
  EXPECT_EQ(image->GetTaggedState(3, &state), S_OK);
  EXPECT_EQ(state, 0);
  image->SetTaggedState(3, -1);
  image->GetTaggedState(3, &state);
  EXPECT_EQ(state, -1);
  image->GetTaggedState(4, &state);
  EXPECT_EQ(state, 0);
}

}  // namespace
