#include "dicom/dicom_dictionary.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "foundation/exceptions.h"

namespace {

using DicomEngine::DicomDictionary;

class DictionaryFile {
 public:
  explicit DictionaryFile(const std::string& contents)
      : path_(std::filesystem::temp_directory_path() /
              ("ondrel_dictionary_" + std::to_string(++counter_) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".txt")) {
    std::ofstream(path_, std::ios::binary) << contents;
  }
  ~DictionaryFile() { std::filesystem::remove(path_); }
  std::string Path() const { return path_.string(); }

 private:
  static inline int counter_ = 0;
  std::filesystem::path path_;
};

// The failure text up to the source location that the throw idiom appends.
std::string MessageOf(const std::string& contents) {
  DictionaryFile file(contents);
  DicomDictionary dictionary;
  try {
    dictionary.Load(file.Path());
  } catch (const MyException& failure) {
    const std::string text = failure.what();
    return text.substr(0, text.find(" File="));
  }
  return "(no failure)";
}

TEST(DicomDictionary, ShippedDictionaryLoadsAndAnswersTheStandardVRs) {
  DicomDictionary dictionary;
  ASSERT_NO_THROW(dictionary.Load(ONDREL_DATA_DIR "/dicom_dictionary.txt"));
  EXPECT_GT(dictionary.StandardEntryCount(), 4000u);
  EXPECT_GT(dictionary.PrivateEntryCount(), 1000u);
  // VRs as the DICOM standard's data dictionary gives them.
  EXPECT_EQ(dictionary.GetVR(0x0010, 0x0010), "PN");
  EXPECT_EQ(dictionary.GetVR(0x0008, 0x0018), "UI");
  EXPECT_EQ(dictionary.GetVR(0x0028, 0x0010), "US");
  EXPECT_EQ(dictionary.GetVR(0x0028, 0x0030), "DS");
  EXPECT_EQ(dictionary.GetVR(0x0008, 0x1140), "SQ");
  EXPECT_EQ(dictionary.GetVR(0x0028, 0x0106), "US or SS");
  EXPECT_EQ(dictionary.GetVR(0x7FE0, 0x0010), "OW/OB");
  EXPECT_EQ(dictionary.GetVR(0x0004, 0x1200), "UL");  // a directory record offset
  // Repeating groups are listed group by group.
  EXPECT_EQ(dictionary.GetVR(0x6000, 0x3000), "OW/OB");
  EXPECT_EQ(dictionary.GetVR(0x601E, 0x0010), "US");
}

TEST(DicomDictionary, UnknownTagsFallBackToUNAndGroupLengthsToUL) {
  DictionaryFile file("(0010,0010)\tVR=\"PN\"\n");
  DicomDictionary dictionary;
  dictionary.Load(file.Path());
  EXPECT_EQ(dictionary.GetVR(0x0008, 0x0000), "UL");
  EXPECT_EQ(dictionary.GetVR(0x0008, 0x0001), "UN");
  EXPECT_EQ(dictionary.GetPrivateVR(0x0029, 0x1010, "OWNER"), "UN");
}

TEST(DicomDictionary, FieldsAreTrimmedAndUnknownKeysIgnored) {
  DictionaryFile file(
      "REM a comment line\n"
      "\n"
      "(0010,0010) \t VR = \" PN \"\tColour=\"blue\"\tName=\"Patient's Name\"\r\n"
      "(0010,0020)\n"
      "(0029,1010)\tVR=\"OB\"\tOwner=\"VENDOR 1\"\n");
  DicomDictionary dictionary;
  dictionary.Load(file.Path());
  EXPECT_EQ(dictionary.GetVR(0x0010, 0x0010), "PN");
  // A tag alone is an entry with empty fields: its VR is the empty text, not "UN".
  EXPECT_EQ(dictionary.GetVR(0x0010, 0x0020), "");
  EXPECT_EQ(dictionary.StandardEntryCount(), 2u);
  EXPECT_EQ(dictionary.PrivateEntryCount(), 1u);
}

TEST(DicomDictionary, MalformedLinesFailWithTheirMessages) {
  struct Case {
    const char* what;
    const char* contents;
    const char* message;
  };
  const Case cases[] = {
      {"lower-case rem is no comment", "rem a comment\n",
       "The dictionary group element section is not well formatted."},
      {"no closing parenthesis", "(0010,0010\n", "The dictionary group element section is not well formatted."},
      {"empty element", "(0010,)\tVR=\"PN\"\n", "Dictionary expects a numeric value."},
      {"private tag without owner", "(0029,1010)\tVR=\"OB\"\n",
       "The dictionary found a private tag (  29, 1010) tag whithout owner."},
      {"standard tag twice", "(0010,0010)\n(0010,0010)\n",
       "The standard DICOM dictionary file contains a duplicated group-element paire."},
      {"private tag twice for one owner", "(0029,1010)\tOwner=\"A\"\n(0029,1010)\tOwner=\"A\"\n",
       "The standard DICOM dictionary file contains a duplicated group-element paire."},
      {"the same private tag for two owners is fine", "(0029,1010)\tOwner=\"A\"\n(0029,1010)\tOwner=\"B\"\n",
       "(no failure)"},
  };
  for (const Case& c : cases) EXPECT_EQ(MessageOf(c.contents), c.message) << c.what;
}

TEST(DicomDictionary, WildcardDigitsReadAsNumbersInsteadOfFailing) {
  // 'x' counts as its code minus '0' (72): (60xx) is 6 * 4096 + 0 * 256 + 72 * 16 + 72 = 25800 = 0x64C8.
  DictionaryFile file("(60xx,3000)\tVR=\"OW\"\n");
  DicomDictionary dictionary;
  dictionary.Load(file.Path());
  EXPECT_EQ(dictionary.GetVR(0x64C8, 0x3000), "OW");
}

TEST(DicomDictionary, LoadsOnceAndRefusesASecondFile) {
  DictionaryFile first("(0010,0010)\tVR=\"PN\"\n");
  DictionaryFile second("(0010,0010)\tVR=\"LO\"\n");
  DicomDictionary dictionary;
  dictionary.Load(first.Path());
  dictionary.Clear();
  dictionary.Load(first.Path());  // the same name again: nothing is read
  EXPECT_EQ(dictionary.StandardEntryCount(), 0u);
  try {
    dictionary.Load(second.Path());
    FAIL() << "a second file was accepted";
  } catch (const MyException& failure) {
    const std::string expected = "Already loaded the " + first.Path() +
                                 " dictionary file.\r\nAttempt to load a  second different DICOM "
                                 "compatibility file: " + second.Path() + ". File=dicom_dictionary.cpp";
    EXPECT_EQ(std::string(failure.what()).substr(0, expected.size()), expected);
  }
  EXPECT_THROW(dictionary.Load(""), MyException);
}

TEST(DicomDictionary, MissingFileLeavesTheDictionaryEmptyWithoutFailure) {
  DicomDictionary dictionary;
  EXPECT_NO_THROW(dictionary.Load("/nonexistent/folder/dicom_dictionary.txt"));
  EXPECT_EQ(dictionary.GetVR(0x0010, 0x0010), "UN");
  EXPECT_EQ(dictionary.LoadedFileName(), "/nonexistent/folder/dicom_dictionary.txt");
}

}  // namespace
