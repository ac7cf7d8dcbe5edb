#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "dicom/dicom_dictionary.h"
#include "ondrel/study_builder.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

const std::string kPydicomFolder = "/usr/lib/python3/dist-packages/pydicom/data/test_files/dicomdirtests";
const std::string kDamagedFolder = ONDREL_TEST_DATA_DIR "/workstation/dicomdir";

std::string Narrow(const std::u16string& text) { return std::string(text.begin(), text.end()); }

// The object's text without the blanks that pad DICOM values.
template <class Object>
std::string Text(Object* object, HRESULT (Object::*getter)(BSTR*)) {
  std::string text = Narrow(ReadText(object, getter));
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

// The media objects in the form of scripts/make_dicomdir_references, image files relative to `folder`.
std::string Hierarchy(const ondrel::StudyGraph& graph, const std::string& folder) {
  std::string out;
  for (const auto& patient : graph.mediaPatients) {
    out += "PATIENT " + Text(patient.Get(), &IDicomDirPatient::GetPatientId) + " " +
           Text(patient.Get(), &IDicomDirPatient::GetPatientName) + "\n";
    SAFEARRAY* studies = nullptr;
    EXPECT_EQ(patient->GetPatientStudies(&studies), S_OK);
    for (const auto& study : ChildrenOf<IDicomDirStudy>(studies)) {
      out += "  STUDY " + Text(study.Get(), &IDicomDirStudy::GetStudyInstanceUid) + "\n";
      SAFEARRAY* series = nullptr;
      EXPECT_EQ(study->GetStudySeries(&series), S_OK);
      for (const auto& member : ChildrenOf<IDicomDirSeries>(series)) {
        out += "    SERIES " + Text(member.Get(), &IDicomDirSeries::GetSeriesInstanceUid) + " " +
               Text(member.Get(), &IDicomDirSeries::GetModality) + "\n";
        SAFEARRAY* images = nullptr;
        EXPECT_EQ(member->GetSeriesImages(&images), S_OK);
        for (const auto& image : ChildrenOf<IDicomDirImage>(images)) {
          const std::string file = Text(image.Get(), &IDicomDirImage::GetFileName);
          EXPECT_EQ(file.rfind(folder + "/", 0), 0U) << file << " lies outside " << folder;
          out += "      IMAGE " + Text(image.Get(), &IDicomDirImage::GetSopInstanceUid) + " " +
                 file.substr(std::min(file.size(), folder.size() + 1)) + "\n";
          VARIANT_BOOL needs = 0;
          image->GetNeedsDicomData(&needs);
          EXPECT_EQ(needs, VARIANT_TRUE) << file;
        }
      }
    }
  }
  return out;
}

std::string Reference(const std::string& name) {
  std::ifstream in(kDamagedFolder + "/" + name + ".txt");
  EXPECT_TRUE(in) << name;
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

struct MediaCase {
  const char* what;
  std::string folder;
  const char* file;
  const char* reference;
  const char* passedOver;  // what the one reason given says, or "" for none
};

TEST(MediaDirectory, RecordsGiveTheHierarchyPydicomReads) {
  const ClassesRegistered registered;
  DicomEngine::DicomDictionary::Instance().Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
  const MediaCase cases[] = {
      {"as DCMTK's dcmmkdir wrote it", kPydicomFolder, "DICOMDIR", "DICOMDIR", ""},
      {"items out of order, linked by offsets", kPydicomFolder, "DICOMDIR-reordered", "DICOMDIR-reordered", ""},
      {"implicit VR", kPydicomFolder, "DICOMDIR-implicit", "DICOMDIR-implicit", ""},
      {"no records", kPydicomFolder, "DICOMDIR-empty.dcm", "DICOMDIR-empty.dcm", ""},
      {"no links at all: the items' order", kDamagedFolder, "item_order.dcm", "item_order", ""},
      {"a link back to a series already read", kDamagedFolder, "loop.dcm", "loop",
       "A directory record link to byte 724 leads back to a record already read (a loop)"},
      {"a link past the end of the file", kDamagedFolder, "past_end.dcm", "past_end",
       "A directory record link to byte 2147483632 points at no directory record"},
      {"a file ID with ..", kDamagedFolder, "dotdot.dcm", "dotdot",
       "The IMAGE directory record at byte 856 has the file ID \"..\\..\\..\\CR1\\6154\", which would leave"},
      {"an absolute file ID", kDamagedFolder, "absolute.dcm", "absolute",
       "The IMAGE directory record at byte 856 has the file ID \"/etc/pas\\CR1\\6154\", which would leave"},
  };
  for (const MediaCase& row : cases) {
    SCOPED_TRACE(row.what);
    const std::string path = row.folder + "/" + row.file;
    const ondrel::StudyGraph graph = ondrel::BuildStudies({path});
    EXPECT_TRUE(graph.patients.empty());
    EXPECT_EQ(Hierarchy(graph, row.folder), Reference(row.reference));
    if (row.passedOver[0] == '\0') {
      EXPECT_TRUE(graph.skipped.empty()) << graph.skipped.front().reason;
    } else {
      ASSERT_EQ(graph.skipped.size(), 1U);
      EXPECT_EQ(graph.skipped.front().path, path);
      EXPECT_EQ(graph.skipped.front().reason.rfind(row.passedOver, 0), 0U) << graph.skipped.front().reason;
    }
  }
}

TEST(MediaDirectory, WhatCannotBeReadIsPassedOverWithItsReason) {
  const ClassesRegistered registered;
  DicomEngine::DicomDictionary::Instance().Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
  // Patient records of an unknown type take their studies, series and images along.
  ondrel::StudyGraph graph = ondrel::BuildStudies({kPydicomFolder + "/DICOMDIR-nopatient"});
  EXPECT_TRUE(graph.mediaPatients.empty());
  ASSERT_FALSE(graph.skipped.empty());
  EXPECT_NE(graph.skipped.front().reason.find("stands where a PATIENT record belongs."), std::string::npos)
      << graph.skipped.front().reason;

  // The engine reads little endian only, and refuses items that run past their sequence: this file lost
  // its zero links without its item lengths being made shorter.
  for (const char* refused : {"DICOMDIR-bigEnd", "DICOMDIR-nooffset"}) {
    graph = ondrel::BuildStudies({kPydicomFolder + "/" + refused});
    EXPECT_TRUE(graph.mediaPatients.empty()) << refused;
    ASSERT_EQ(graph.skipped.size(), 1U) << refused;
    EXPECT_NE(graph.skipped.front().reason.find("The buffer is not long enough"), std::string::npos)
        << graph.skipped.front().reason;
  }
}

}  // namespace
