// Data sets to objects and back, with the conversions' asymmetries.
#include <gtest/gtest.h>

#include <memory>

#include "dicom/dicom_dictionary.h"
#include "dicom/vr.h"
#include "storage/dicom_to_sql.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;
using DicomEngine::DicomData;

constexpr double kMarch9th2014 = 41707.0;  // days from 1899-12-30

void AddText(DicomData& data, const char* vr, std::uint16_t group, std::uint16_t element, const std::string& text) {
  auto value = std::make_unique<DicomEngine::VRString>(vr, group, element, 0, std::string());
  value->SetValue(text);
  data.AddSorted(std::move(value));
}

std::string TextAt(const DicomData& data, std::uint16_t group, std::uint16_t element) {
  const auto* value = dynamic_cast<const DicomEngine::VRString*>(data.Find(group, element));
  return value != nullptr ? value->Value() : "(absent)";
}

class Fills : public ::testing::Test {
 protected:
  void SetUp() override { DicomEngine::DicomDictionary::Instance().Load(ONDREL_DATA_DIR "/dicom_dictionary.txt"); }
  const ClassesRegistered registered;
};

TEST_F(Fills, ImageRowsConvertAsTheWorkstationReadsThem) {
  DicomData data(false);
  AddText(data, "DS", 0x0028, 0x0030, "0.3\\0.4");
  AddText(data, "DS", 0x0028, 0x0034, "2");  // a single value: no pair
  AddText(data, "DS", 0x0028, 0x1050, "");   // empty: not written
  AddText(data, "DS", 0x0028, 0x1051, "400.7\\300");
  AddText(data, "CS", 0x0018, 0x1600, "RECTANGULAR");
  AddText(data, "IS", 0x0018, 0x1620, "1\\2\\3\\4");
  AddText(data, "IS", 0x0020, 0x0013, "17");
  AddText(data, "DA", 0x0008, 0x0022, "20140309");
  data.AddSorted(std::make_unique<DicomEngine::UnsignedShortVR>("US", 0x0028, 0x0010, 2, std::uint16_t{512}));

  IImageInfoNW* raw = nullptr;
  DicomToSQL::FillImage(data, &raw, "/images/a.dcm", true);
  ComPtr<IImageInfoNW> image;
  image.Attach(raw);

  double x = 0.0;
  double y = 0.0;
  EXPECT_EQ(image->GetPixelSpacing(&x, &y), S_OK);
  EXPECT_DOUBLE_EQ(x, static_cast<double>(0.4F));  // the second value first, as single precision
  EXPECT_DOUBLE_EQ(y, static_cast<double>(0.3F));
  EXPECT_EQ(image->GetPixelAspectRatio(&x, &y), S_FALSE);
  LONG window = 0;
  EXPECT_EQ(image->GetWindowCenter(&window), S_FALSE);
  EXPECT_EQ(image->GetWindowWidth(&window), S_OK);
  EXPECT_EQ(window, 400);
  EXPECT_EQ(ReadText(image.Get(), &IImageInfoNW::GetShutterShape), u"1\\2\\3\\4");
  LONG instance = 0;
  image->GetInstanceNumber(&instance);
  EXPECT_EQ(instance, 17);
  USHORT rows = 0;
  image->GetRows(&rows);
  EXPECT_EQ(rows, 512);
  DATE acquired = 0.0;
  EXPECT_EQ(image->GetAcquisitionDateTime(&acquired), S_OK);
  EXPECT_EQ(acquired, kMarch9th2014);
  // A stored file leaves its name to the storage.
  EXPECT_EQ(ReadText(image.Get(), &IImageInfoNW::GetFileName), u"");
  VARIANT_BOOL stored = 0;
  image->GetIsStoredFile(&stored);
  EXPECT_EQ(stored, VARIANT_TRUE);
}

TEST_F(Fills, WrongElementClassesFailTheFillWithTheTag) {
  DicomData data(false);
  data.AddSorted(std::make_unique<DicomEngine::UnsignedShortVR>("US", 0x0018, 0x1622, 2, std::uint16_t{1}));
  const Graph graph;
  IImageInfoNW* image = graph.image.Get();
  EXPECT_TRUE(MessageOf([&] { DicomToSQL::FillImage(data, &image, "a.dcm", false); })
                  .starts_with("Failed to copy a Signed Int from VR because is not a signed int. Group=24, Attribute=5666 "));
  DicomData text(false);
  AddText(text, "DS", 0x0028, 0x0010, "512");
  EXPECT_TRUE(MessageOf([&] { DicomToSQL::FillImage(text, &image, "a.dcm", false); })
                  .starts_with("Failed to copy an Unsigned Short from VR because is not an unsigned short. Group=40, Attribute=16 "));
}

TEST_F(Fills, StudyTakesTheModalityWhenThereIsNoListAndADateAtMidnight) {
  DicomData data(false);
  AddText(data, "CS", 0x0008, 0x0060, "CT");
  AddText(data, "DA", 0x0008, 0x0020, "20140309");
  AddText(data, "TM", 0x0008, 0x0030, "210507");
  IStudyInfoNW* raw = nullptr;
  DicomToSQL::FillStudy(data, &raw);
  ComPtr<IStudyInfoNW> study;
  study.Attach(raw);
  EXPECT_EQ(ReadText(study.Get(), &IStudyInfoNW::GetModalitiesInStudy), u"CT");
  DATE date = 0.0;
  study->GetStudyDateTime(&date);
  EXPECT_EQ(date, kMarch9th2014);

  AddText(data, "CS", 0x0008, 0x0061, "CT\\MR");
  DicomToSQL::FillStudy(data, &raw);
  EXPECT_EQ(ReadText(study.Get(), &IStudyInfoNW::GetModalitiesInStudy), u"CT\\MR");
}

TEST_F(Fills, DataSetFromObjectsKeepsTheHistoricalForms) {
  const Graph graph;
  graph.patient->SetPatientName(BStr(u"Doe^Jane").Get());
  graph.study->SetStudyDateTime(kMarch9th2014 + 0.5);
  graph.series->SetSeriesDateTime(0.0);
  graph.series->SetSeriesNumber(5);
  graph.image->SetAcquisitionDateTime(kMarch9th2014 + 0.5);
  graph.image->SetPixelSpacing(0.4, 0.3);
  graph.image->SetWindowCenter(0);
  graph.image->SetRescaleIntercept(0.0);
  graph.image->SetInstanceNumber(1234567890);
  graph.image->SetSopInstanceUid(nullptr);
  graph.image->SetBitsAllocated(16);

  DicomData data(false);
  DicomToSQL::FillDicomData(graph.patient.Get(), graph.study.Get(), graph.series.Get(), graph.image.Get(), data);
  EXPECT_EQ(TextAt(data, 0x0010, 0x0010), "Doe^Jane");
  EXPECT_EQ(TextAt(data, 0x0008, 0x0020), "20140309");
  EXPECT_EQ(TextAt(data, 0x0008, 0x0030), "120000");
  EXPECT_EQ(data.Find(0x0008, 0x0021), nullptr);  // a series date of 0.0 is no date
  EXPECT_EQ(data.Find(0x0020, 0x0011), nullptr);  // IS is no VR for a long
  EXPECT_EQ(TextAt(data, 0x0008, 0x0022), "2014/03/09");
  EXPECT_EQ(TextAt(data, 0x0008, 0x0032), "12:00:00");
  EXPECT_EQ(TextAt(data, 0x0028, 0x0030), "0.300000\\0.400000");
  EXPECT_EQ(data.Find(0x0028, 0x1050), nullptr);
  EXPECT_EQ(TextAt(data, 0x0028, 0x1052), "0.000000");
  EXPECT_EQ(TextAt(data, 0x0020, 0x0013), "123456789");  // cut by its 10-byte buffer
  EXPECT_NE(dynamic_cast<const DicomEngine::VRUniqueIdentifier*>(data.Find(0x0008, 0x0018)), nullptr);
  const auto* bits = dynamic_cast<const DicomEngine::UnsignedShortVR*>(data.Find(0x0028, 0x0100));
  ASSERT_NE(bits, nullptr);
  EXPECT_EQ(bits->Values().front(), 16);
  EXPECT_EQ(data.Find(0x0028, 0x0101), nullptr);  // never set
}

}  // namespace
