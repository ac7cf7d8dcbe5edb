#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "dicom/dicom_dictionary.h"
#include "ondrel/study_builder.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

const std::string kFolder = "/usr/lib/python3/dist-packages/pydicom/data/test_files/dicomdirtests";

std::string Narrow(const std::u16string& text) { return std::string(text.begin(), text.end()); }

// The grouping and order that pydicom gives (scripts/make_study_references): one line per series.
std::vector<std::string> ReferenceSeries() {
  std::ifstream in(ONDREL_TEST_DATA_DIR "/workstation/dicomdirtests_series.txt");
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(StudyBuilder, GroupsAndOrdersTheMediaTestFolderAsPydicomDoes) {
  const ClassesRegistered registered;
  DicomEngine::DicomDictionary::Instance().Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
  const ondrel::StudyGraph graph = ondrel::BuildStudies({kFolder});

  std::vector<std::string> built;
  for (const auto& series : graph.series) {
    ComPtr<IStudyInfoNW> study;
    ASSERT_EQ(series->GetStudy(study.GetAddressOf()), S_OK);
    ComPtr<IPatientInfoNW> patient;
    ASSERT_EQ(study->GetPatient(patient.GetAddressOf()), S_OK);
    std::string line = Narrow(ReadText(patient.Get(), &IPatientInfoNW::GetPatientId)) + " " +
                       Narrow(ReadText(study.Get(), &IStudyInfoNW::GetStudyInstanceUid)) + " " +
                       Narrow(ReadText(series.Get(), &ISeriesInfoNW::GetSeriesInstanceUid));
    for (const auto& image : ImagesOf(series.Get())) {
      line += " " + Narrow(ReadText(image.Get(), &IImageInfoNW::GetFileName)).substr(kFolder.size() + 1);
      VARIANT_BOOL needs = 0;
      image->GetNeedsDicomData(&needs);
      EXPECT_EQ(needs, VARIANT_TRUE);
    }
    built.push_back(line);
  }
  std::sort(built.begin(), built.end());
  EXPECT_EQ(built, ReferenceSeries());
  EXPECT_EQ(graph.patients.size(), 2U);

  // The directory files and the read-me are reported, not fatal.
  std::map<std::string, std::string> skipped;
  for (const auto& file : graph.skipped) skipped[file.path.substr(kFolder.size() + 1)] = file.reason;
  EXPECT_EQ(skipped["DICOMDIR"], "A media directory (DICOMDIR): name it to read its records.");
  EXPECT_EQ(skipped["README.txt"], "It's not a DICOM file or a well formatted DICOM file.");
}

TEST(StudyBuilder, AMissingFileIsReportedWithTheEnginesText) {
  const ClassesRegistered registered;
  const ondrel::StudyGraph graph = ondrel::BuildStudies({"/nonexistent/ondrel/file.dcm"});
  EXPECT_TRUE(graph.series.empty());
  ASSERT_EQ(graph.skipped.size(), 1U);
  EXPECT_NE(graph.skipped[0].reason.find("file cannot be opened"), std::string::npos) << graph.skipped[0].reason;
}

}  // namespace
