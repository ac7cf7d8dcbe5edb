#include <gtest/gtest.h>

#include "dicom/vr.h"
#include "sources/image_info_strategies.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

TEST(WStationStrategy, ReadsTheFourObjectsAndReportsWhatIsNotAvailable) {
  const ClassesRegistered registered;
  const Graph graph;
  graph.image->SetRows(256);
  graph.series->SetModality(BStr(u"MR").Get());
  graph.study->SetInstitutionName(BStr(u"General").Get());
  graph.patient->SetPatientSex(BStr(u"F").Get());
  graph.series->SetMprType(2);
  ImageInfoWStationStrategy strategy(graph.image.Get());
  EXPECT_EQ(strategy.GetRows(), 256);
  EXPECT_EQ(strategy.GetColumns(), 0);
  EXPECT_EQ(Wide(strategy.GetModality()), u"MR");
  EXPECT_EQ(Wide(strategy.GetInstitutionName()), u"General");
  EXPECT_EQ(Wide(strategy.GetPatientSex()), u"F");
  EXPECT_TRUE(strategy.GetSopInstanceUid().IsNull());
  EXPECT_EQ(strategy.GetMprType(), 2);

  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  EXPECT_FALSE(strategy.GetPixelSpacing(&x, &y));
  strategy.SetPixelSpacing(0.7, 0.6);
  EXPECT_TRUE(strategy.GetPixelSpacing(&x, &y));
  EXPECT_EQ(x, 0.7);
  EXPECT_FALSE(strategy.GetImagePosition(&x, &y, &z));
  graph.image->SetImagePosition(BStr(u"1\\2\\3.25").Get());
  EXPECT_TRUE(strategy.GetImagePosition(&x, &y, &z));
  EXPECT_EQ(z, 3.25);
}

TEST(WStationStrategy, AnImageOutsideASeriesFailsWithTheComIdiom) {
  const ClassesRegistered registered;
  const auto lonely = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  EXPECT_TRUE(MessageOf([&] { ImageInfoWStationStrategy strategy(lonely.Get()); })
                  .starts_with("COM method failed. HRESULT=80040007, File="));
}

TEST(WStationStrategy, SeriesImagesComeInSeriesOrderAndDataFillsTheObjects) {
  const ClassesRegistered registered;
  const Graph graph;
  const auto second = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  second->SetInstanceNumber(9);
  graph.series->AddImageToSeries(second.Get());
  ImageInfoWStationStrategy strategy(graph.image.Get());
  const auto images = strategy.GetSeriesImages();
  ASSERT_EQ(images.size(), 2U);
  EXPECT_EQ(images[1]->GetInstanceNumber(), 9);

  DicomEngine::DicomData data(false);
  data.AddSorted(std::make_unique<DicomEngine::VRString>("PN", 0x0010, 0x0010, 8, "Doe^Jane"));
  data.AddSorted(std::make_unique<DicomEngine::VRString>("UI", 0x0020, 0x000E, 6, "1.2.33"));
  strategy.LoadFromDicomData(data, "/data/a.dcm");
  EXPECT_EQ(Wide(strategy.GetPatientName()), u"Doe^Jane");
  EXPECT_EQ(Wide(strategy.GetSeriesInstanceUid()), u"1.2.33");
  EXPECT_EQ(Wide(strategy.GetFileName()), u"/data/a.dcm");
}

struct MediaGraph {
  ComPtr<IDicomDirPatient> patient = Create<IDicomDirPatient>(CLSID_DicomDirPatient);
  ComPtr<IDicomDirStudy> study = Create<IDicomDirStudy>(CLSID_DicomDirStudy);
  ComPtr<IDicomDirSeries> series = Create<IDicomDirSeries>(CLSID_DicomDirSeries);
  ComPtr<IDicomDirImage> image = Create<IDicomDirImage>(CLSID_DicomDirImage);
  MediaGraph() {
    patient->AddStudyToPatient(study.Get());
    study->AddSeriesToStudy(series.Get());
    series->AddImageToSeries(image.Get());
  }
};

TEST(DicomDirStrategy, KeepsTheMediasOwnRules) {
  const ClassesRegistered registered;
  const MediaGraph graph;
  graph.image->SetIsStoredFile(VARIANT_TRUE);
  ImageInfoDicomDirStrategy strategy(graph.image.Get());
  EXPECT_EQ(strategy.GetIsStoredFile(), 0);
  EXPECT_EQ(strategy.GetMprType(), 0);
  EXPECT_TRUE(MessageOf([&] { strategy.GetFrameOfReferenceUid(); })
                  .starts_with("The Frame of Reference UID is not implemented in DICOM DIR. File="));

  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  graph.image->SetImagePosition(BStr(u"1.1\\2").Get());
  EXPECT_FALSE(strategy.GetImagePosition(&x, &y, &z));
  graph.image->SetImagePosition(BStr(u"1.1\\2\\3").Get());
  EXPECT_TRUE(strategy.GetImagePosition(&x, &y, &z));
  EXPECT_EQ(x, static_cast<double>(1.1F));  // read as a single-precision number

  strategy.SetColumns(300);  // sets the rows, as media images always have
  USHORT value = 0;
  EXPECT_EQ(graph.image->GetRows(&value), S_OK);
  EXPECT_EQ(value, 300);
  EXPECT_EQ(graph.image->GetColumns(&value), S_FALSE);

  strategy.SetSeriesPixelSpacing(0.5, 0.25);
  EXPECT_EQ(graph.series->GetPixelSpacing(&x, &y), S_OK);
  EXPECT_EQ(y, 0.25);
  EXPECT_TRUE(strategy.GetSeriesImages().empty());
}

}  // namespace
