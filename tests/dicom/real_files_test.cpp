// Real files against DCMTK: each file of tests/data/dicom that the engine's rules can read must give,
// element by element, in order and with the same nesting, what `dcmdump` read from it (the command is
// in the first line of each reference). Where the engine's rules answer differently by design, a rule
// below says how, and the comparison applies only that rule. The files the rules cannot read are
// checked for what the engine does with them instead.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "byte_builder.h"
#include "dcmdump_reference.h"
#include "dicom/file_parser.h"
#include "foundation/text_utils.h"

namespace {

using namespace DicomEngine;
using dicom_test::DcmdumpRecord;
using dicom_test::FailureOf;

constexpr char kBufferTooShort[] = "The buffer is not long enough to perform the requested read operation.";

const DicomDictionary& ShippedDictionary() {
  static const DicomDictionary* const dictionary = [] {
    auto* loaded = new DicomDictionary();
    loaded->Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
    return loaded;
  }();
  return *dictionary;
}

// A file opened and parsed as a whole, or up to the pixel data; `failure` holds what stopped it.
struct ParsedFile {
  explicit ParsedFile(const std::string& name, bool upToPixels = false) : parser(ShippedDictionary()) {
    failure = FailureOf([&] {
      opened = parser.Open(ToWide(dicom_test::DicomTestFilePath(name)));
      if (!opened) return;
      if (upToPixels)
        parser.ParseUpTo(&data, kPixelDataGroup, kPixelDataElement);
      else
        parser.Parse(&data);
    });
  }

  FileParser parser;
  DicomData data{false};
  bool opened = false;
  std::string failure;
};

// ---------------------------------------------------------------------------------------------------
// The engine's elements in dcmdump's order and nesting.

struct EngineRecord {
  int depth;
  const VR* vr;
};

bool IsDelimiter(const VR& vr) {
  return vr.Group() == kItemGroup &&
         (vr.Element() == kItemDelimiterElement || vr.Element() == kSequenceDelimiterElement);
}

// Rule: the engine keeps an item delimiter as the last element inside its item, and a sequence
// delimiter as the last entry of the sequence's items; dcmdump shows each beside what it closes.
int DelimiterStandsBesideWhatItCloses(const VR& vr, int depth) { return IsDelimiter(vr) ? depth - 1 : depth; }

void Flatten(const VRContainer& container, int depth, std::vector<EngineRecord>& out) {
  for (const auto& vr : container.Elements()) {
    out.push_back({DelimiterStandsBesideWhatItCloses(*vr, depth), vr.get()});
    if (const auto* children = dynamic_cast<const VRContainer*>(vr.get())) Flatten(*children, depth + 1, out);
  }
}

// Rule: dcmdump closes every item and sequence of explicit length with a delimiter of its own making
// (marked synthetic by the reference reader); the file has none and neither has the engine.
bool IsSyntheticDelimiter(const DcmdumpRecord& record) { return record.synthetic; }

// ---------------------------------------------------------------------------------------------------
// VR codes.

bool IsPrivate(std::uint16_t group) { return group % 2 == 1 && group >= 7; }

// The code the engine must give an element that dcmdump shows as `reference`.
std::string ExpectedCode(const DcmdumpRecord& reference, bool implicitVR) {
  // Rule: items, delimiters and fragments carry no code in the engine; dcmdump labels them.
  if (reference.vr == "na" || reference.vr == "pi") return "";
  // Rule: a DICOMDIR offset, stored as UL, is labelled "up" by dcmdump.
  if (reference.vr == "up") return "UL";
  if (!implicitVR || reference.group == kItemGroup) return reference.vr;
  // Implicit VR data: the code comes from the engine's dictionary rules, not from the file.
  // Rule: every private element of implicit VR data is UN, its group length aside.
  if (IsPrivate(reference.group)) return reference.element == 0 ? "UL" : "UN";
  // Rule: the dictionary's "OW/OB" of the pixel data settles to OB; dcmdump chooses OW.
  if (ShippedDictionary().GetVR(reference.group, reference.element) == "OW/OB") return "OB";
  // Rule: the dictionary's "US or SS" settles to US; dcmdump chooses SS by the pixel representation.
  if (ShippedDictionary().GetVR(reference.group, reference.element) == "US or SS") return "US";
  return reference.vr;
}

// ---------------------------------------------------------------------------------------------------
// Values.

std::vector<std::string> SplitValues(const std::string& value) {
  std::vector<std::string> values;
  if (value.empty()) return values;
  std::stringstream stream(value);
  for (std::string item; std::getline(stream, item, '\\');) values.push_back(item);
  return values;
}

// Rule: the engine's text ends at the first NUL, so a UID padded with NUL loses its padding byte.
std::string TextEndsAtFirstNul(const std::string& stored) { return stored.substr(0, std::strlen(stored.c_str())); }

// Rule: an SL value keeps only its low 16 bits, zero-extended.
std::int32_t SignedLongKeepsLow16Bits(long long stored) { return static_cast<std::int32_t>(stored & 0xFFFF); }

// Rule: a value read as US where dcmdump reads SS is the same two bytes, unsigned.
std::uint16_t UsOrSsSettlesToUS(long long stored) { return static_cast<std::uint16_t>(stored & 0xFFFF); }

template <typename NumericVR, typename Convert>
void ExpectNumbers(const VR& vr, const DcmdumpRecord& reference, Convert convert) {
  const auto* numeric = dynamic_cast<const NumericVR*>(&vr);
  ASSERT_NE(numeric, nullptr);
  std::vector<typename NumericVR::ValueType> expected;
  for (const std::string& text : SplitValues(reference.value)) expected.push_back(convert(text));
  EXPECT_EQ(numeric->Values(), expected);
}

long long Integer(const std::string& text) { return std::strtoll(text.c_str(), nullptr, 10); }

// dcmdump prints FL with 9 significant digits and FD with 17: enough to give back the stored number.
double Float(const std::string& text) { return static_cast<double>(std::strtof(text.c_str(), nullptr)); }
double Double(const std::string& text) { return std::strtod(text.c_str(), nullptr); }

// The stored bytes of a value that dcmdump shows as text or as a dump, for a value the engine keeps raw.
std::vector<std::uint8_t> StoredBytes(const DcmdumpRecord& reference) {
  if (reference.binary) return dicom_test::BinaryBytes(reference);
  return std::vector<std::uint8_t>(reference.value.begin(), reference.value.end());
}

void ExpectValue(const VR& vr, const DcmdumpRecord& reference) {
  if (dynamic_cast<const VRContainer*>(&vr) != nullptr) return;  // their children are compared instead
  if (const auto* text = dynamic_cast<const VRString*>(&vr)) {
    EXPECT_EQ(text->Value(), TextEndsAtFirstNul(reference.value));
  } else if (const auto* binary = dynamic_cast<const VRBinary*>(&vr)) {
    const std::uint8_t* data = binary->Data();
    const std::vector<std::uint8_t> bytes =
        data == nullptr ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(data, data + binary->LengthField());
    EXPECT_EQ(bytes, StoredBytes(reference));
  } else if (dynamic_cast<const UnsignedShortVR*>(&vr) != nullptr) {
    if (reference.vr == "SS")
      ExpectNumbers<UnsignedShortVR>(vr, reference, [](const std::string& t) { return UsOrSsSettlesToUS(Integer(t)); });
    else
      ExpectNumbers<UnsignedShortVR>(vr, reference, [](const std::string& t) { return std::uint16_t(Integer(t)); });
  } else if (dynamic_cast<const SignedShortVR*>(&vr) != nullptr) {
    ExpectNumbers<SignedShortVR>(vr, reference, [](const std::string& t) { return std::int16_t(Integer(t)); });
  } else if (dynamic_cast<const UnsignedIntegerVR*>(&vr) != nullptr) {
    ExpectNumbers<UnsignedIntegerVR>(vr, reference, [](const std::string& t) { return std::uint32_t(Integer(t)); });
  } else if (dynamic_cast<const IntegerVR*>(&vr) != nullptr) {
    ExpectNumbers<IntegerVR>(vr, reference, [](const std::string& t) { return SignedLongKeepsLow16Bits(Integer(t)); });
  } else if (dynamic_cast<const DoubleVR*>(&vr) != nullptr) {
    ExpectNumbers<DoubleVR>(vr, reference, vr.Code() == "FL" ? Float : Double);
  } else if (const auto* tags = dynamic_cast<const VRAttributeTag*>(&vr)) {
    std::vector<VRAttributeTag::Tag> expected;
    for (const std::string& pair : SplitValues(reference.value)) {  // "(0062,000b)"
      const auto group = static_cast<std::uint16_t>(std::strtoul(pair.substr(1, 4).c_str(), nullptr, 16));
      expected.emplace_back(group, static_cast<std::uint16_t>(std::strtoul(pair.substr(6, 4).c_str(), nullptr, 16)));
    }
    EXPECT_EQ(tags->Tags(), expected);
  } else {
    ADD_FAILURE() << "no value comparison for this class";
  }
}

std::string Describe(const VR& vr) {
  std::string text;
  return dynamic_cast<const VRContainer*>(&vr) != nullptr ? vr.VR::Print(text) : vr.Print(text);
}

// ---------------------------------------------------------------------------------------------------
// The readable files.

struct ReadableFile {
  const char* name;
  bool implicitDataSet;  // the data set after the meta header is implicit VR
};

const ReadableFile kReadableFiles[] = {
    {"CT_small.dcm", false},
    {"MR_small.dcm", false},
    {"MR_small_implicit.dcm", true},
    {"MR_small_RLE.dcm", false},
    {"rtdose.dcm", true},
    {"rtstruct.dcm", true},
    {"ExplVR_LitEndNoMeta.dcm", false},
    {"SC_rgb_small_odd_jpeg.dcm", false},
    {"JPEG2000.dcm", false},
    {"JPEG2000-embedded-sequence-delimiter.dcm", false},
    {"SC_rgb_rle_2frame.dcm", false},
    {"liver_1frame.dcm", false},
    {"DICOMDIR", false},
    {"DICOMDIR-empty.dcm", false},
    {"priv_SQ.dcm", true},
};

void PrintTo(const ReadableFile& file, std::ostream* out) { *out << file.name; }

class ReadableFileTest : public ::testing::TestWithParam<ReadableFile> {};

TEST_P(ReadableFileTest, GivesTheElementsAndValuesOfDcmdump) {
  const ReadableFile& file = GetParam();
  const ParsedFile parsed(file.name);
  ASSERT_TRUE(parsed.opened);
  ASSERT_EQ(parsed.failure, "(no failure)");

  std::vector<DcmdumpRecord> expected;
  for (DcmdumpRecord& record : dicom_test::LoadDcmdumpReference(file.name))
    if (!IsSyntheticDelimiter(record)) expected.push_back(std::move(record));
  std::vector<EngineRecord> actual;
  Flatten(parsed.data, 0, actual);
  ASSERT_EQ(actual.size(), expected.size());

  for (std::size_t i = 0; i < actual.size(); ++i) {
    const VR& vr = *actual[i].vr;
    const DcmdumpRecord& reference = expected[i];
    SCOPED_TRACE(::testing::Message() << "element " << i << ", dcmdump: " << ::testing::PrintToString(reference)
                                      << "\n engine: " << Describe(vr));
    ASSERT_EQ(vr.Group(), reference.group);
    ASSERT_EQ(vr.Element(), reference.element);
    ASSERT_EQ(actual[i].depth, reference.depth);
    const bool implicitVR = file.implicitDataSet && reference.group > 2;
    EXPECT_EQ(vr.Code(), ExpectedCode(reference, implicitVR));
    EXPECT_EQ(vr.LengthField(), reference.length);
    ExpectValue(vr, reference);
  }
}

// The image loader's read: only the syntax and the pixels are built, and the pixels are those of the
// full parse.
TEST_P(ReadableFileTest, UpToThePixelsGivesThePixelsOfTheFullParse) {
  const ParsedFile full(GetParam().name);
  const ParsedFile upToPixels(GetParam().name, true);
  ASSERT_EQ(upToPixels.failure, "(no failure)");
  for (const auto& vr : upToPixels.data.Elements()) {
    EXPECT_TRUE((vr->Group() == 0x0002 && vr->Element() == 0x0010) ||
                (vr->Group() == kPixelDataGroup && vr->Element() == kPixelDataElement))
        << Describe(*vr);
  }
  std::uint8_t* fullPixels = nullptr;
  std::uint32_t fullLength = 0;
  full.data.GetPixelData(&fullPixels, &fullLength);
  const std::unique_ptr<std::uint8_t[]> fullOwner(fullPixels);
  std::uint8_t* pixels = nullptr;
  std::uint32_t length = 0;
  upToPixels.data.GetPixelData(&pixels, &length);
  const std::unique_ptr<std::uint8_t[]> owner(pixels);
  ASSERT_EQ(length, fullLength);
  if (length > 0) {
    EXPECT_EQ(std::memcmp(pixels, fullPixels, length), 0);
  }
}

std::string TestNameOf(const ::testing::TestParamInfo<ReadableFile>& info) {
  std::string name = info.param.name;
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(RealFiles, ReadableFileTest, ::testing::ValuesIn(kReadableFiles), TestNameOf);

// ---------------------------------------------------------------------------------------------------
// The files the rules cannot read: what the engine does instead.

using TagList = std::vector<std::pair<std::uint16_t, std::uint16_t>>;

TagList TopLevelTags(const DicomData& data) {
  TagList tags;
  for (const auto& vr : data.Elements()) tags.emplace_back(vr->Group(), vr->Element());
  return tags;
}

// The tags of dcmdump's top level before the first element of `group` (all of them for group 0).
TagList ReferenceTagsBefore(const char* file, std::uint16_t group, std::uint16_t element = 0) {
  TagList tags;
  for (const DcmdumpRecord& record : dicom_test::LoadDcmdumpReference(file)) {
    if (record.depth != 0 || IsSyntheticDelimiter(record)) continue;
    if (record.group == group && (element == 0 || record.element == element)) break;
    tags.emplace_back(record.group, record.element);
  }
  return tags;
}

TagList SyntaxOnly() { return {{0x0002, 0x0010}}; }

TEST(RealFiles, BigEndianWithoutMetaIsNotDicom) {
  const ParsedFile parsed("ExplVR_BigEndNoMeta.dcm");
  EXPECT_EQ(parsed.failure, "(no failure)");
  EXPECT_FALSE(parsed.opened);
}

TEST(RealFiles, BigEndianDataSetIsReadByteSwappedAndNeverReachesThePixels) {
  const ParsedFile parsed("MR_small_bigendian.dcm");
  EXPECT_EQ(parsed.failure, kBufferTooShort);
  // After the little-endian meta header, Image Type (0008,0008) of length 24 reads byte-swapped.
  TagList expected = ReferenceTagsBefore("MR_small_bigendian.dcm", 0x0008);
  expected.emplace_back(0x0800, 0x0800);
  ASSERT_EQ(TopLevelTags(parsed.data), expected);
  EXPECT_EQ(parsed.data.Find(0x0800, 0x0800)->LengthField(), 24u << 8);

  const ParsedFile upToPixels("MR_small_bigendian.dcm", true);
  EXPECT_EQ(upToPixels.failure, kBufferTooShort);
  EXPECT_EQ(TopLevelTags(upToPixels.data), SyntaxOnly());
}

// The data set's syntax UID is not in the engine's table, so the data set syntax stays unset and
// every length after the meta header is read as 4 bytes: explicit VR elements go astray at once.
TEST(RealFiles, UnknownSyntaxFailsOnTheFirstDataSetElement) {
  for (const char* file : {"MR_small_jpeg_ls_lossless.dcm", "image_dfl.dcm"}) {
    const ParsedFile parsed(file);
    EXPECT_EQ(parsed.failure, kBufferTooShort) << file;
    EXPECT_TRUE(parsed.parser.Switched()) << file;
    EXPECT_EQ(parsed.parser.DataSetSyntax(), SyntaxRecord{}) << file;
    EXPECT_EQ(TopLevelTags(parsed.data), ReferenceTagsBefore(file, 0x0008)) << file;
    const ParsedFile upToPixels(file, true);
    EXPECT_EQ(upToPixels.failure, kBufferTooShort) << file;
    EXPECT_EQ(TopLevelTags(upToPixels.data), SyntaxOnly()) << file;
  }
}

// A UN of undefined length holds implicit VR items, which the engine reads in the file's explicit VR:
// the first element inside, (0008,1115), takes the first two bytes of its undefined length, FF FF, as
// its code and the next two as its length, and the parse goes astray inside the UN.
TEST(RealFiles, UndefinedLengthUNWithImplicitItemsGoesAstray) {
  const ParsedFile parsed("UN_sequence.dcm");
  EXPECT_EQ(parsed.failure, kBufferTooShort);
  EXPECT_EQ(TopLevelTags(parsed.data), ReferenceTagsBefore("UN_sequence.dcm", 0x4453, 0x100C));
}

// Groups below 0003 are read in the header syntax even after the switch: the private (0001,0001) of
// this implicit VR file is read as explicit VR, with its undefined length taken as code "\xFF\xFF" and
// length 0xFFFF. That code has no value class, so the next pass reads the item tag (FFFE,E000) as an
// element: "UN" from the dictionary's empty VR, undefined length, hence a sequence, whose first
// "item" is the nested (0001,0001).
TEST(RealFiles, ElementsOfGroupOneInImplicitDataAreReadAsExplicit) {
  const ParsedFile parsed("nested_priv_SQ.dcm");
  EXPECT_EQ(parsed.failure, "Invalid tag found where a sequence item was expected.");
  EXPECT_EQ(TopLevelTags(parsed.data), ReferenceTagsBefore("nested_priv_SQ.dcm", 0x0001));
  // Seeking the pixels, the misread length 0xFFFF is passed over, past the end of the file.
  const ParsedFile upToPixels("nested_priv_SQ.dcm", true);
  EXPECT_EQ(upToPixels.failure, kBufferTooShort);
}

// A UT element yields nothing and its text is read as the next element header. Seeking the pixels,
// the UT is passed over by its length like any other element before them.
TEST(RealFiles, UTBeforeThePixelsSendsAFullParseAstrayButNotTheLoadersRead) {
  const ParsedFile parsed("MR_small_with_UT.dcm");
  EXPECT_EQ(parsed.failure, kBufferTooShort);
  EXPECT_EQ(TopLevelTags(parsed.data), ReferenceTagsBefore("MR_small_with_UT.dcm", 0x0032, 0x1066));

  const ParsedFile upToPixels("MR_small_with_UT.dcm", true);
  const ParsedFile original("MR_small.dcm", true);
  ASSERT_EQ(upToPixels.failure, "(no failure)");
  const VR* pixels = upToPixels.data.Find(kPixelDataGroup, kPixelDataElement);
  const VR* originalPixels = original.data.Find(kPixelDataGroup, kPixelDataElement);
  ASSERT_NE(pixels, nullptr);
  ASSERT_NE(originalPixels, nullptr);
  ASSERT_EQ(pixels->LengthField(), originalPixels->LengthField());
  EXPECT_EQ(std::memcmp(dynamic_cast<const VRBinary*>(pixels)->Data(),
                        dynamic_cast<const VRBinary*>(originalPixels)->Data(), pixels->LengthField()),
            0);
}

// Structured reports: Text Value (0040,A160) is UT, deep in the content tree. A full parse goes
// astray inside the top Content Sequence (0040,A730), which is lost with everything after it. Seeking
// the pixels passes over the sequences of defined length whole: test-SR.dcm has no pixels and ends
// cleanly; the other file ends in an OF element, whose 4-byte length, read from the 2 reserved bytes
// as 0, leaves its real length to be read as a tag (0000,0000) at the end of the file.
TEST(RealFiles, StructuredReportsWithUTGoAstrayInTheirContent) {
  for (const char* file : {"test-SR.dcm", "reportsi_with_empty_number_tags.dcm"}) {
    const ParsedFile parsed(file);
    EXPECT_EQ(parsed.failure, kBufferTooShort) << file;
    EXPECT_EQ(TopLevelTags(parsed.data), ReferenceTagsBefore(file, 0x0040, 0xA730)) << file;
  }
  const ParsedFile report("test-SR.dcm", true);
  EXPECT_EQ(report.failure, "(no failure)");
  EXPECT_EQ(TopLevelTags(report.data), SyntaxOnly());

  const ParsedFile withOF("reportsi_with_empty_number_tags.dcm", true);
  EXPECT_EQ(withOF.failure, kBufferTooShort);
  EXPECT_EQ(TopLevelTags(withOF.data), SyntaxOnly());
  EXPECT_EQ(withOF.parser.StartOffset() + withOF.parser.Position(),
            std::filesystem::file_size(dicom_test::DicomTestFilePath("reportsi_with_empty_number_tags.dcm")));
}

}  // namespace
