// Real files against DCMTK: each file of tests/data/dicom that the engine's rules can read gives,
// element by element, what dcmdump read from it (the command heads each reference); the others stop
// where the engine's rules say, having read what dcmdump read up to there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "dcmdump_reference.h"
#include "dicom/file_parser.h"
#include "foundation/text_utils.h"

namespace {

using namespace DicomEngine;
using namespace dicom_test;

constexpr char kTooShort[] = "The buffer is not long enough to perform the requested read operation.";
constexpr char kNoFailure[] = "(no failure)";

TEST(DcmdumpReference, ReadsTheTrickyLines) {
  const std::vector<DcmdumpRecord> records = ParseDcmdump(
      "# Dicom-Meta-Information-Header\n\n"
      "(0002,0010) UI [1.2&#0;]                                #   4, 1 TransferSyntaxUID\n"
      "(0011,101c) SL 0\\0\\-1\\862399669\\1\\2\\3\\4\\5\\6             #  40,10 EnergyOffset\n"
      "(0040,a160) UT [A&#13;&#x0a;&amp;&lt;&quot;]             #   6, 1 TextValue\r\n"
      "(0008,1115) SQ (Sequence with undefined length #=1)     # u/l, 1 ReferencedSeriesSequence\n"
      "  (fffe,e00d) na \"ItemDelimitationItem for re-encoding\"   #   0, 0 ItemDelimitationItem\n");
  ASSERT_EQ(records.size(), 5u);
  EXPECT_EQ(records[0].value, std::string("1.2\0", 4));
  EXPECT_EQ(records[1].length, 40u);  // beside a two-digit multiplicity
  EXPECT_EQ(records[2].value, "A\r\n&<\"");
  EXPECT_EQ(records[3].length, 0xFFFFFFFFu);
  EXPECT_TRUE(records[4].synthetic && records[4].depth == 1);
  EXPECT_THROW(ParseDcmdump("(0008,0020 DA [2001]   #   4, 1 StudyDate\n"), std::runtime_error);
}

// A file opened and parsed whole, or up to the pixel data; `failure` holds what stopped it.
struct ParsedFile {
  explicit ParsedFile(const std::string& name, bool upToPixels = false) {
    failure = FailureOf([&] {
      opened = parser.Open(ToWide(DicomTestFilePath(name)));
      if (opened && upToPixels) parser.ParseUpTo(&data, kPixelDataGroup, kPixelDataElement);
      if (opened && !upToPixels) parser.Parse(&data);
    });
  }
  FileParser parser{ShippedDictionary()};
  DicomData data{false};
  bool opened = false;
  std::string failure;
};

// The reference up to its first top-level element of (group, element), element 0 standing for any.
std::vector<DcmdumpRecord> ReferenceBefore(const std::string& file, unsigned group, unsigned element) {
  std::vector<DcmdumpRecord> records = LoadDcmdumpReference(file);
  const auto stop = std::ranges::find_if(records, [&](const DcmdumpRecord& r) {
    return r.depth == 0 && r.group == group && (element == 0 || r.element == element);
  });
  records.erase(stop, records.end());
  return records;
}

TEST(RealFiles, EachFileGivesWhatDcmdumpGivesUpToWhereTheRulesStop) {
  const struct {
    const char* file;
    bool implicitDataSet;  // after the meta header
    unsigned group = 0, element = 0;  // the first top-level element the full parse loses; none
    const char* failure = kNoFailure;
    const char* upToPixelsFailure = kNoFailure;  // null where not looked at
    const char* samePixelsAs = nullptr;          // the file whose pixels the read up to the pixels gives
  } files[] = {
      {"CT_small.dcm", false}, {"MR_small.dcm", false}, {"MR_small_implicit.dcm", true}, {"MR_small_RLE.dcm", false},
      {"rtdose.dcm", true}, {"rtstruct.dcm", true}, {"ExplVR_LitEndNoMeta.dcm", false},
      {"SC_rgb_small_odd_jpeg.dcm", false}, {"JPEG2000.dcm", false},
      {"JPEG2000-embedded-sequence-delimiter.dcm", false}, {"SC_rgb_rle_2frame.dcm", false},
      {"liver_1frame.dcm", false}, {"DICOMDIR", false}, {"DICOMDIR-empty.dcm", false}, {"priv_SQ.dcm", true},
      // Big-endian after the meta header: Image Type (0008,0008) of length 24 reads as (0800,0800).
      {"MR_small_bigendian.dcm", false, 0x0008, 0, kTooShort, kTooShort},
      // Syntaxes the engine doesn't know: the data set syntax stays unset, so lengths are read as 4 bytes.
      {"MR_small_jpeg_ls_lossless.dcm", false, 0x0008, 0, kTooShort, kTooShort},
      {"image_dfl.dcm", false, 0x0008, 0, kTooShort, kTooShort},
      // A UN of undefined length holds implicit VR items, which are read in the file's explicit VR.
      {"UN_sequence.dcm", false, 0x4453, 0x100C, kTooShort, nullptr},
      // Group 0001 is read in the explicit header syntax: its undefined length gives code "\xFF\xFF" and
      // length 0xFFFF; the item tag next reads as a UN sequence whose first "item" is the nested element.
      {"nested_priv_SQ.dcm", true, 0x0001, 0, "Invalid tag found where a sequence item was expected.", kTooShort},
      // A UT yields no element and its text is read as a header; the seek passes over it by its length.
      {"MR_small_with_UT.dcm", false, 0x0032, 0x1066, kTooShort, kNoFailure, "MR_small.dcm"},
      // A UT deep in the content tree (0040,A730). The seek passes over defined-length sequences whole;
      // the second file ends in an OF whose length, read from its reserved bytes as 0, leaves the real
      // length to be read as a tag at the end of the file.
      {"test-SR.dcm", false, 0x0040, 0xA730, kTooShort},
      {"reportsi_with_empty_number_tags.dcm", false, 0x0040, 0xA730, kTooShort, kTooShort},
  };
  for (const auto& f : files) {
    SCOPED_TRACE(f.file);
    const ParsedFile parsed(f.file);
    EXPECT_TRUE(parsed.opened);
    EXPECT_EQ(parsed.failure, f.failure);
    std::vector<EngineRecord> engine = Flatten(parsed.data);
    if (f.file == std::string("MR_small_bigendian.dcm")) {
      ASSERT_FALSE(engine.empty());
      EXPECT_EQ(Described(engine.back().vr), "(0800, 0800) VR=CS Length=6144<=>0x1800");
      engine.pop_back();
    }
    ExpectMatchesDcmdump(engine, ReferenceBefore(f.file, f.group, f.element), f.implicitDataSet);
    if (f.upToPixelsFailure == nullptr) continue;
    // The read of an image load builds the transfer syntax and the pixel data only.
    const ParsedFile upToPixels(f.file, true);
    EXPECT_EQ(upToPixels.failure, f.upToPixelsFailure);
    for (const auto& vr : upToPixels.data.Elements())
      EXPECT_TRUE(vr->Element() == 0x0010 && (vr->Group() == 0x0002 || vr->Group() == kPixelDataGroup));
    EXPECT_EQ(PixelsOf(upToPixels.data), PixelsOf(ParsedFile(f.samePixelsAs ? f.samePixelsAs : f.file).data));
  }
  const ParsedFile withOF("reportsi_with_empty_number_tags.dcm", true);
  EXPECT_EQ(withOF.parser.StartOffset() + withOF.parser.Position(),
            std::filesystem::file_size(DicomTestFilePath("reportsi_with_empty_number_tags.dcm")));
  // No "DICM", and the first group reads 0x0800.
  const ParsedFile bigEndianWithoutMeta("ExplVR_BigEndNoMeta.dcm");
  EXPECT_EQ(bigEndianWithoutMeta.failure, kNoFailure);
  EXPECT_FALSE(bigEndianWithoutMeta.opened);
}

// A parse up to the pixel data leaves the pixels in the file: they are read when taken, straight from
// the file, and a file cut short since then fails there.
TEST(RealFiles, PixelDataIsReadFromTheFileWhenTaken) {
  const TempFolder folder;
  std::ifstream in(ONDREL_TEST_DATA_DIR "/sources/CT_small.pixels.raw", std::ios::binary);
  const std::string reference{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  for (const bool cut : {false, true}) {
    const std::string path = folder.Path(cut ? "cut.dcm" : "whole.dcm");
    std::filesystem::copy_file(ONDREL_TEST_DATA_DIR "/dicom/CT_small.dcm", path);
    DicomData data(false);
    FileParser parser;
    ASSERT_TRUE(parser.Open(ToWide(path)));
    parser.ParseUpTo(&data, kPixelDataGroup, kPixelDataElement);
    if (cut) std::filesystem::resize_file(path, 4096);
    ByteBlock pixels;
    if (cut) {
      EXPECT_EQ(FailureOf([&] { data.GetPixelData(&pixels); }), "Failed to read the DICOM file data.");
      continue;
    }
    data.GetPixelData(&pixels);
    ASSERT_EQ(pixels.Size(), reference.size());
    EXPECT_EQ(std::memcmp(pixels.Data(), reference.data(), pixels.Size()), 0);
  }
}

}  // namespace
