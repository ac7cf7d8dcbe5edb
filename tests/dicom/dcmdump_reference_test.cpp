#include "dicom/dcmdump_reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using dicom_test::BinaryBytes;
using dicom_test::DcmdumpRecord;
using dicom_test::kUndefinedLength;
using dicom_test::ParseDcmdump;

// Lines as dcmdump 3.6.7 prints them with -dc -Un +L +M +Qn, taken from the references.
constexpr char kListing[] =
    "# Made by scripts/make_dicom_references with dcmdump v3.6.7 2022-04-22: dcmdump ...\n"
    "\n"
    "# Dicom-Meta-Information-Header\n"
    "(0002,0010) UI [1.2.840.10008.1.2.1&#0;]                #  20, 1 TransferSyntaxUID\n"
    "(0008,0008) CS [DERIVED\\SECONDARY\\OTHER ]               #  24, 3 ImageType\r\n"
    "(0008,0020) DA (no value available)                     #   0, 0 StudyDate\n"
    "(0011,101c) SL 0\\0\\-1\\862399669\\1\\2\\3\\4\\5\\6             #  40,10 EnergyOffset\n"
    "(0028,0009) AT (0054,0010)\\(0054,0020)                  #   8, 2 FrameIncrementPointer\n"
    "(0040,a160) UT [Text&#13;&#10;&amp;&lt;&gt;&quot;&#246;] #  11, 1 TextValue\n"
    "(0008,1115) SQ (Sequence with undefined length #=1)     # u/l, 1 ReferencedSeriesSequence\n"
    "  (fffe,e000) na (Item with undefined length #=1)         # u/l, 1 Item\n"
    "    (0020,000e) UI [1.2.3]                                  #   6, 1 SeriesInstanceUID\n"
    "  (fffe,e00d) na (ItemDelimitationItem)                   #   0, 0 ItemDelimitationItem\n"
    "(fffe,e0dd) na (SequenceDelimitationItem)               #   0, 0 SequenceDelimitationItem\n"
    "(0008,1111) SQ (Sequence with explicit length #=1)      #  18, 1 Referenced Sequence\n"
    "  (fffe,e000) na \"Directory Record\" PATIENT #=1           #  10, 1 Item\n"
    "  #  offset=$396\n"
    "    (0004,1400) up 3126                                     #   4, 1 OffsetOfTheNextDirectoryRecord\n"
    "  (fffe,e00d) na \"ItemDelimitationItem for re-encoding\"   #   0, 0 ItemDelimitationItem\n"
    "(fffe,e0dd) na (SequenceDelimitationItem for re-encod.) #   0, 0 SequenceDelimitationItem\n"
    "(7fe0,0010) OB (PixelSequence #=2)                      # u/l, 1 PixelData\n"
    "  (fffe,e000) pi (no value available)                     #   0, 1 Item\n"
    "  (fffe,e000) pi ff\\d8\\ff\\e0                              #   4, 1 Item\n"
    "(fffe,e0dd) na (SequenceDelimitationItem)               #   0, 0 SequenceDelimitationItem\n"
    "(fffc,fffc) OW 0389\\03fb                                #   4, 2 DataSetTrailingPadding\n";

struct Expected {
  int depth;
  std::uint16_t group;
  std::uint16_t element;
  const char* vr;
  std::uint32_t length;
  std::string value;
  bool binary;
  bool synthetic;
};

TEST(DcmdumpReference, ParsesEveryKindOfLine) {
  using namespace std::string_literals;
  const std::vector<Expected> expected = {
      {0, 0x0002, 0x0010, "UI", 20, "1.2.840.10008.1.2.1\0"s, false, false},  // the UID's NUL pad
      {0, 0x0008, 0x0008, "CS", 24, "DERIVED\\SECONDARY\\OTHER ", false, false},
      {0, 0x0008, 0x0020, "DA", 0, "", false, false},
      {0, 0x0011, 0x101C, "SL", 40, "0\\0\\-1\\862399669\\1\\2\\3\\4\\5\\6", false, false},
      {0, 0x0028, 0x0009, "AT", 8, "(0054,0010)\\(0054,0020)", false, false},
      {0, 0x0040, 0xA160, "UT", 11, "Text\r\n&<>\"\xF6", false, false},
      {0, 0x0008, 0x1115, "SQ", kUndefinedLength, "Sequence with undefined length #=1", false, false},
      {1, 0xFFFE, 0xE000, "na", kUndefinedLength, "Item with undefined length #=1", false, false},
      {2, 0x0020, 0x000E, "UI", 6, "1.2.3", false, false},
      {1, 0xFFFE, 0xE00D, "na", 0, "ItemDelimitationItem", false, false},
      {0, 0xFFFE, 0xE0DD, "na", 0, "SequenceDelimitationItem", false, false},
      {0, 0x0008, 0x1111, "SQ", 18, "Sequence with explicit length #=1", false, false},
      {1, 0xFFFE, 0xE000, "na", 10, "\"Directory Record\" PATIENT #=1", false, false},
      {2, 0x0004, 0x1400, "up", 4, "3126", false, false},
      {1, 0xFFFE, 0xE00D, "na", 0, "ItemDelimitationItem for re-encoding", false, true},
      {0, 0xFFFE, 0xE0DD, "na", 0, "SequenceDelimitationItem for re-encod.", false, true},
      {0, 0x7FE0, 0x0010, "OB", kUndefinedLength, "PixelSequence #=2", false, false},
      {1, 0xFFFE, 0xE000, "pi", 0, "", true, false},
      {1, 0xFFFE, 0xE000, "pi", 4, "ff\\d8\\ff\\e0", true, false},
      {0, 0xFFFE, 0xE0DD, "na", 0, "SequenceDelimitationItem", false, false},
      {0, 0xFFFC, 0xFFFC, "OW", 4, "0389\\03fb", true, false},
  };
  const std::vector<DcmdumpRecord> records = ParseDcmdump(kListing);
  ASSERT_EQ(records.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE("record " + std::to_string(i) + ": " + ::testing::PrintToString(records[i]));
    EXPECT_EQ(records[i].depth, expected[i].depth);
    EXPECT_EQ(records[i].group, expected[i].group);
    EXPECT_EQ(records[i].element, expected[i].element);
    EXPECT_EQ(records[i].vr, expected[i].vr);
    EXPECT_EQ(records[i].length, expected[i].length);
    EXPECT_EQ(records[i].value, expected[i].value);
    EXPECT_EQ(records[i].binary, expected[i].binary);
    EXPECT_EQ(records[i].synthetic, expected[i].synthetic);
  }
  EXPECT_EQ(records[1].multiplicity, 3u);
  EXPECT_EQ(records[3].multiplicity, 10u);
  EXPECT_EQ(records[2].multiplicity, 0u);
  EXPECT_EQ(records[11].name, "Referenced Sequence");
}

TEST(DcmdumpReference, BinaryValuesGiveTheStoredBytes) {
  const std::vector<DcmdumpRecord> records = ParseDcmdump(kListing);
  EXPECT_EQ(BinaryBytes(records[18]), (std::vector<std::uint8_t>{0xFF, 0xD8, 0xFF, 0xE0}));
  // OW words are stored least significant byte first.
  EXPECT_EQ(BinaryBytes(records[20]), (std::vector<std::uint8_t>{0x89, 0x03, 0xFB, 0x03}));
  EXPECT_TRUE(BinaryBytes(records[17]).empty());
  EXPECT_THROW(BinaryBytes(records[0]), std::invalid_argument);
}

TEST(DcmdumpReference, RejectsLinesThatAreNotElements) {
  const std::vector<std::string> bad = {
      "dcmdump: no such file\n",                                      // no tag
      "(0008,0020 DA [20010101]   #   8, 1 StudyDate\n",              // broken tag
      "   (0008,0020) DA [20010101]   #   8, 1 StudyDate\n",          // odd indentation
      "(0008,0020) DA [20010101]\n",                                  // no comment
      "(0008,0020) DA [20010101   #   8, 1 StudyDate\n",              // unclosed text
      "(0008,0020) DA [2001&#300;]   #   8, 1 StudyDate\n",           // not a byte
      "(0008,0020) DA [2001&nbsp;]   #   8, 1 StudyDate\n",           // unknown entity
      "(0008,0020) DA [20010101]   #   x, 1 StudyDate\n",             // bad length
      "(7fe0,0010) OW (not loaded)   # 8192, 1 PixelData\n",          // made without +M
  };
  for (const std::string& line : bad) {
    EXPECT_THROW(ParseDcmdump(line), std::runtime_error) << line;
  }
}

// Every reference in tests/data/dicom parses, and its nesting follows the depth rule: items at one
// more than their sequence, their elements at one more than the item, the delimiter at the sequence's.
TEST(DcmdumpReference, EveryShippedReferenceParsesWithConsistentNesting) {
  const std::string suffix = ".dcmdump.txt";
  int references = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dicom_test::DicomTestFilePath(""))) {
    const std::string file = entry.path().filename().string();
    if (!file.ends_with(suffix)) {
      continue;
    }
    ++references;
    SCOPED_TRACE(file);
    std::vector<DcmdumpRecord> records;
    const std::string dicom_file = file.substr(0, file.size() - suffix.size());
    ASSERT_NO_THROW(records = dicom_test::LoadDcmdumpReference(dicom_file));
    ASSERT_FALSE(records.empty());
    int open_sequences = 0;  // the depth the next element may have is 2 * open_sequences
    for (const DcmdumpRecord& record : records) {
      const bool opens = record.vr == "SQ" || record.value.starts_with("PixelSequence");
      if (record.group == 0xFFFE && record.element == 0xE0DD) {
        ASSERT_GT(open_sequences, 0);
        --open_sequences;
        EXPECT_EQ(record.depth, 2 * open_sequences);
      } else if (record.group == 0xFFFE) {
        EXPECT_EQ(record.depth, 2 * open_sequences - 1);
      } else {
        EXPECT_EQ(record.depth, 2 * open_sequences);
      }
      open_sequences += opens ? 1 : 0;
    }
    EXPECT_EQ(open_sequences, 0);
  }
  EXPECT_GE(references, 20);
}

// The hexadecimal dump of MR_small.dcm's pixel data is the file's own bytes: its explicit VR OW
// header (tag, "OW", 2 reserved bytes, 4-byte length) sits at byte 1488, so the value starts at 1500.
TEST(DcmdumpReference, PixelDataOfARealFileMatchesItsBytes) {
  const std::vector<DcmdumpRecord> records = dicom_test::LoadDcmdumpReference("MR_small.dcm");
  const auto pixels = std::find_if(records.begin(), records.end(), [](const DcmdumpRecord& record) {
    return record.group == 0x7FE0 && record.element == 0x0010;
  });
  ASSERT_NE(pixels, records.end());
  ASSERT_EQ(pixels->length, 8192u);
  std::ifstream file(dicom_test::DicomTestFilePath("MR_small.dcm"), std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  ASSERT_GE(bytes.size(), 1500u + 8192u);
  const std::vector<std::uint8_t> stored(bytes.begin() + 1500, bytes.begin() + 1500 + 8192);
  EXPECT_EQ(BinaryBytes(*pixels), stored);
}

}  // namespace
