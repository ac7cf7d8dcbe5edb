#include "dicom/dicom_dictionary.h"

#include <gtest/gtest.h>

#include "test_support.h"

namespace {

using DicomEngine::DicomDictionary;
using namespace dicom_test;

TEST(DicomDictionary, ShippedDictionaryAnswersTheStandardVRs) {
  const DicomDictionary& dictionary = ShippedDictionary();
  EXPECT_GT(dictionary.StandardEntryCount(), 4000u);
  EXPECT_GT(dictionary.PrivateEntryCount(), 1000u);
  // As the standard's data dictionary gives them; repeating groups are listed group by group.
  EXPECT_EQ(dictionary.GetVR(0x0010, 0x0010), "PN");
  EXPECT_EQ(dictionary.GetVR(0x0008, 0x1140), "SQ");
  EXPECT_EQ(dictionary.GetVR(0x0028, 0x0106), "US or SS");
  EXPECT_EQ(dictionary.GetVR(0x7FE0, 0x0010), "OW/OB");
  EXPECT_EQ(dictionary.GetVR(0x601E, 0x0010), "US");
}

TEST(DicomDictionary, LinesAndTheirFailures) {
  const struct {
    const char* what;
    const char* contents;
    const char* failure;
    std::uint16_t group = 0x0010, element = 0x0010;
    const char* vr = "PN";  // what GetVR answers afterwards
  } cases[] = {
      {"comment, blank line, blanks around fields, unknown key, CRLF",
       "REM a comment\n\n(0010,0010) \t VR = \" PN \"\tColour=\"blue\"\r\n(0029,1010)\tVR=\"OB\"\tOwner=\"A\"\n",
       "(no failure)"},
      {"a tag alone: an entry of empty VR", "(0010,0020)\n", "(no failure)", 0x0010, 0x0020, ""},
      // 'x' counts as its code minus '0' (72): 60xx is 6 * 4096 + 72 * 16 + 72 = 0x64C8.
      {"wildcard digits read as numbers", "(60xx,3000)\tVR=\"OW\"\n", "(no failure)", 0x64C8, 0x3000, "OW"},
      {"the same private tag for two owners", "(0029,1010)\tOwner=\"A\"\n(0029,1010)\tOwner=\"B\"\n", "(no failure)",
       0x0029, 0x1010, "UN"},
      {"lower-case rem is no comment", "rem\n", "The dictionary group element section is not well formatted."},
      {"no closing parenthesis", "(0010,0010\n", "The dictionary group element section is not well formatted."},
      {"empty element", "(0010,)\tVR=\"PN\"\n", "Dictionary expects a numeric value."},
      {"private tag without owner", "(0029,1010)\tVR=\"OB\"\n",
       "The dictionary found a private tag (  29, 1010) tag whithout owner."},
      {"standard tag twice", "(0010,0010)\n(0010,0010)\n",
       "The standard DICOM dictionary file contains a duplicated group-element paire."},
      {"private tag twice for one owner", "(0029,1010)\tOwner=\"A\"\n(0029,1010)\tOwner=\"A\"\n",
       "The standard DICOM dictionary file contains a duplicated group-element paire."},
  };
  const TempFolder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = folder.Write(std::to_string(&c - cases) + ".txt", Bytes().text(c.contents));
    DicomDictionary dictionary;
    EXPECT_EQ(FailureOf([&] { dictionary.Load(path); }), c.failure);
    if (c.failure == std::string("(no failure)")) {
      EXPECT_EQ(dictionary.GetVR(c.group, c.element), c.vr);
    }
  }
}

TEST(DicomDictionary, LoadsOnceRefusesASecondFileAndMissesAFileQuietly) {
  const TempFolder folder;
  const std::string first = folder.Write("first.txt", Bytes().text("(0001,0001)"));
  DicomDictionary dictionary;
  dictionary.Load(first);
  dictionary.Clear();
  dictionary.Load(first);  // the same name again: nothing is read
  EXPECT_EQ(dictionary.StandardEntryCount(), 0u);
  EXPECT_EQ(FailureOf([&] { dictionary.Load(folder.Path("second.txt")); }),
            "Already loaded the " + first + " dictionary file.\r\nAttempt to load a  second different DICOM "
                                            "compatibility file: " + folder.Path("second.txt") + ".");
  EXPECT_EQ(FailureOf([&] { DicomDictionary().Load(""); }), "The DICOM dictionary file name is NULL or empty.");

  DicomDictionary missing;
  EXPECT_EQ(FailureOf([&] { missing.Load(folder.Path("missing.txt")); }), "(no failure)");
  EXPECT_EQ(missing.GetVR(0x0010, 0x0010), "UN");
  EXPECT_EQ(missing.GetVR(0x0010, 0x0000), "UL");
}

}  // namespace
