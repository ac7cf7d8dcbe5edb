// The file writer: the bytes of small data sets, written out by hand from the encoding rules; its file;
// and a round trip of a data set of every kind of value through the engine's parser and DCMTK's dcmdump.
#include "dicom/file_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <typeinfo>

#include "dcmdump_reference.h"
#include "dicom/file_parser.h"
#include "foundation/text_utils.h"

namespace {

using namespace DicomEngine;
using namespace dicom_test;

constexpr SyntaxRecord kImplicit{kLittleEndian, kImplicitVR};
constexpr SyntaxRecord kExplicit{kLittleEndian, kExplicitVR};

std::vector<std::uint8_t> Serialized(VRContainer& data, const SyntaxRecord& syntax, const std::string& uid) {
  FileWriter writer("");
  writer.Serialize(data, syntax, uid);
  return {writer.Data(), writer.Data() + writer.Cursor()};
}

// (0002,0010) as the writer puts it: explicit VR in any syntax, padded with NUL to even.
Bytes& SyntaxElement(Bytes& bytes, std::string uid) {
  if (uid.size() % 2 != 0) uid.push_back('\0');
  return bytes.explicit_short(0x0002, 0x0010, "UI", static_cast<std::uint16_t>(uid.size())).text(uid);
}

// An element header in either syntax; OB, OW, SQ, UN and UT have the long explicit form.
Bytes& Header(Bytes& bytes, bool explicitVR, std::uint16_t group, std::uint16_t element, const std::string& vr,
              std::uint32_t length) {
  if (!explicitVR) return bytes.implicit(group, element, length);
  if (vr == "OB" || vr == "OW" || vr == "SQ" || vr == "UN" || vr == "UT")
    return bytes.explicit_long(group, element, vr, length);
  return bytes.explicit_short(group, element, vr, static_cast<std::uint16_t>(length));
}

TEST(FileWriter, TransferSyntaxElementDecidesTheEncodingOfTheDataSet) {
  const struct {
    const char* what;
    const char* present;  // (0002,0010) before writing, or null
    std::string uid;      // the UID argument
    SyntaxRecord syntax;  // the syntax argument
    std::string written;  // (0002,0010) after writing
    bool explicitVR;      // the data set comes out in explicit VR
  } cases[] = {
      {"absent, no UID, implicit: the implicit UID", nullptr, "", kImplicit, "1.2.840.10008.1.2", false},
      {"absent, no UID, explicit: the explicit UID", nullptr, "", kExplicit, "1.2.840.10008.1.2.1", true},
      {"absent, a compressed UID wins over the syntax", nullptr, "1.2.840.10008.1.2.4.70", kImplicit,
       "1.2.840.10008.1.2.4.70", true},
      {"absent, an unknown UID is kept and written explicit LE", nullptr, "1.2.99", kImplicit, "1.2.99", true},
      {"present, no UID: kept", "1.2.840.10008.1.2", "", kExplicit, "1.2.840.10008.1.2", false},
      {"present, replaced by the UID", "1.2.840.10008.1.2", "1.2.840.10008.1.2.1", kImplicit, "1.2.840.10008.1.2.1",
       true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    DicomData data(false);
    if (c.present != nullptr) data.AddSorted(Text("UI", 0x0002, 0x0010, c.present));
    data.AddSorted(Text("CS", 0x0008, 0x0060, "CT"));
    data.AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0010, 2, std::uint16_t{512}));
    Bytes expected;
    Header(SyntaxElement(expected, c.written), c.explicitVR, 0x0008, 0x0060, "CS", 2).text("CT");
    Header(expected, c.explicitVR, 0x0028, 0x0010, "US", 2).u16(512);
    EXPECT_EQ(Serialized(data, c.syntax, c.uid), expected.data);
    EXPECT_EQ(TextOf(data.Find(0x0002, 0x0010)), c.written);
  }
}

// Group lengths patched; lengths measured, undefined ones kept; items and delimiters without a code.
TEST(FileWriter, GroupLengthsSequencesAndDelimiters) {
  for (const bool explicitVR : {false, true}) {
    SCOPED_TRACE(explicitVR ? "explicit" : "implicit");
    DicomData data(true);
    data.AddSorted(Text("PN", 0x0010, 0x0010, "DOE^J"));
    data.AddSorted(Text("UI", 0x0008, 0x0018, "1.2.3"));
    data.AddSorted(Sequence("SQ", 0x0008, 0x1115, kUndefinedLength,
                            Item(kUndefinedLength, Sequence("SQ", 0x0008, 0x1140, 0,  // lengths of 0, to be measured
                                                            Item(0, Text("CS", 0x0008, 0x0060, "MR"))))));
    data.AddSorted(std::make_unique<VRBinary>("OB", 0x7FE0, 0x0010, 4, Block({1, 2, 3, 4})));

    const std::string uid = explicitVR ? "1.2.840.10008.1.2.1" : "1.2.840.10008.1.2";
    const std::uint32_t sq = explicitVR ? 12 : 8;  // header of SQ and OB; 8 for the others
    Bytes expected;
    expected.explicit_short(0x0002, 0x0000, "UL", 4).u32(8 + (uid.size() + 1) / 2 * 2);
    SyntaxElement(expected, uid);
    // Group 8: the UID (8 + 6); the sequence, its item, the inner sequence with its item and CS (8 + 2),
    // the item and sequence delimiters.
    Header(expected, explicitVR, 0x0008, 0x0000, "UL", 4).u32(14 + sq + 8 + (sq + 8 + 10) + 8 + 8);
    Header(expected, explicitVR, 0x0008, 0x0018, "UI", 6).text(std::string("1.2.3\0", 6));
    Header(expected, explicitVR, 0x0008, 0x1115, "SQ", kUndefinedLength).item(kUndefinedLength);
    Header(expected, explicitVR, 0x0008, 0x1140, "SQ", 18).item(10);
    Header(expected, explicitVR, 0x0008, 0x0060, "CS", 2).text("MR").item_end().seq_end();
    Header(expected, explicitVR, 0x0010, 0x0000, "UL", 4).u32(8 + 6);
    Header(expected, explicitVR, 0x0010, 0x0010, "PN", 6).text("DOE^J ");
    Header(expected, explicitVR, 0x7FE0, 0x0000, "UL", 4).u32(sq + 4);
    Header(expected, explicitVR, 0x7FE0, 0x0010, "OB", 4).raw({1, 2, 3, 4});
    EXPECT_EQ(Serialized(data, explicitVR ? kExplicit : kImplicit, ""), expected.data);
    EXPECT_EQ(NumbersOf(data.Find(0x0010, 0x0000)), std::vector<double>{14});  // was 0 when AddSorted made it
  }
}

TEST(FileWriter, CommandIsImplicitThroughoutAndLongTextIsWrittenWhole) {
  DicomCommand command(false);
  command.AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0000, 0x0100, 2, std::uint16_t{1}));
  const Bytes commandBytes =
      Bytes().implicit(0x0000, 0x0100, 2).u16(1).implicit(0x0002, 0x0010, 20).text("1.2.840.10008.1.2.1").zeros(1);
  EXPECT_EQ(Serialized(command, kExplicit, ""), commandBytes.data);

  // Text beyond the block's growth step, and a length field below the text: the text goes whole.
  DicomData data(false);
  data.AddSorted(Text("LT", 0x0020, 0x4000, std::string(2'500'001, 'x')));
  data.AddSorted(std::make_unique<VRString>("LO", 0x0008, 0x0070, 2, std::string(1'200'000, 'y')));
  Bytes expected;
  SyntaxElement(expected, "1.2.840.10008.1.2").implicit(0x0008, 0x0070, 1'200'000).text(std::string(1'200'000, 'y'));
  expected.implicit(0x0020, 0x4000, 2'500'002).text(std::string(2'500'001, 'x') + " ");
  EXPECT_EQ(Serialized(data, kImplicit, ""), expected.data);
}

std::string Contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(FileWriter, FileOfAnEmptyDataSetAndFailures) {
  const TempFolder folder;
  DicomData data(false);
  FileWriter("").Write(data, kExplicit, ToWide(folder.Path("empty.dcm")), "");
  Bytes expected;
  SyntaxElement(expected.zeros(128).text("DICM"), "1.2.840.10008.1.2.1");
  EXPECT_EQ(Contents(folder.Path("empty.dcm")), std::string(expected.data.begin(), expected.data.end()));

  DicomData other(false);
  EXPECT_EQ(FailureOf([&] { FileWriter("").Write(other, kExplicit, u"", ""); }),
            "The file name passed to the File Writer is empty.");
  EXPECT_EQ(other.Find(0x0002, 0x0010), nullptr);  // nothing serialised
  const std::string missing = folder.Path("no_folder/x.dcm");
  EXPECT_EQ(FailureOf([&] { FileWriter("").Write(data, kExplicit, ToWide(missing), ""); }),
            "The Dicom File Writer failed to create the " + missing + " DICOM file.");
  // A name outside the code page would come out as "?.dcm": no file is made under another name.
  EXPECT_EQ(FailureOf([&] { FileWriter("").Write(data, kExplicit, ToWide(folder.Path("")) + u"\u56FE.dcm", ""); }),
            "The Dicom File Writer failed to create the " + folder.Path("?.dcm") + " DICOM file.");
  EXPECT_FALSE(std::filesystem::exists(folder.Path("?.dcm")));
}

// ---------------------------------------------------------------------------------------------------
// Round trip

// Every kind of value the engine writes, with group lengths, added out of order as code that makes data
// sets adds them. Codes are the dictionary's, so that the implicit VR file reads back with the same
// codes; lengths are the texts' own (odd ones too) or 0 for sequences, for the writer to settle.
std::unique_ptr<DicomData> RichDataSet() {
  auto data = std::make_unique<DicomData>(true);
  data->AddSorted(Text("PN", 0x0010, 0x0010, "DOE^JANE"));
  data->AddSorted(Text("UI", 0x0002, 0x0002, "1.2.840.10008.5.1.4.1.1.2"));
  data->AddSorted(std::make_unique<VRBinary>("OB", 0x0002, 0x0001, 2, Block({0x00, 0x01})));
  data->AddSorted(Text("CS", 0x0008, 0x0008, "ORIGINAL\\PRIMARY\\AXIAL"));
  data->AddSorted(std::make_unique<UnsignedIntegerVR>("UL", 0x0008, 0x1161, 8, std::vector<std::uint32_t>{1, 70000}));
  data->AddSorted(Sequence("SQ", 0x0008, 0x1140, 0, Item(0, Text("UI", 0x0008, 0x1155, "1.3.6.1.4.1.77777.1.2.1")),
                           Item(0, Text("UI", 0x0008, 0x1155, "1.3.6.1.4.1.77777.1.2.22"))));  // defined lengths
  data->AddSorted(Text("CS", 0x0010, 0x0040, "F"));
  data->AddSorted(std::make_unique<DoubleVR>("FL", 0x0018, 0x1320, 4, 2.5));
  data->AddSorted(std::make_unique<IntegerVR>("SL", 0x0018, 0x6020, 4, 0x00012345));
  data->AddSorted(std::make_unique<SignedShortVR>("SS", 0x0018, 0x9219, 2, std::int16_t{-7}));
  data->AddSorted(std::make_unique<DoubleVR>("FD", 0x0018, 0x9306, 8, 0.625));
  data->AddSorted(std::make_unique<VRAttributeTag>(
      "AT", 0x0028, 0x0009, 8, std::vector<VRAttributeTag::Tag>{{0x0018, 0x1063}, {0x0054, 0x0080}}));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0010, 2, std::uint16_t{4}));
  data->AddSorted(Text("DS", 0x0028, 0x0030, "0.5\\0.5"));
  data->AddSorted(std::make_unique<VRBinary>("OW", 0x0028, 0x1201, 8, Block({0x89, 3, 0xFB, 3, 0, 0, 0xFF, 0xFF})));
  // Undefined-length sequences and items, one inside another.
  data->AddSorted(Sequence("SQ", 0x0040, 0x0275, kUndefinedLength,
                           Item(kUndefinedLength,
                                Sequence("SQ", 0x0040, 0x0008, kUndefinedLength,
                                         Item(kUndefinedLength, Text("SH", 0x0008, 0x0100, "CT-HEAD"),
                                              Text("SH", 0x0008, 0x0102, "LOCAL"))),
                                Text("SH", 0x0040, 0x0009, "SPS-1"))));
  // Encapsulated pixel data: an empty offset table and two fragments.
  data->AddSorted(Sequence("OB", kPixelDataGroup, kPixelDataElement, kUndefinedLength,
                           std::make_unique<VRBinarySequenceItem>(0, nullptr),
                           std::make_unique<VRBinarySequenceItem>(6, Block({0xFF, 0xD8, 0xFF, 0xC3, 0x00, 0x0B})),
                           std::make_unique<VRBinarySequenceItem>(4, Block({0x12, 0x34, 0xFF, 0xD9}))));
  return data;
}

// What the engine read equals what was written, by its reading rules: text comes back padded to even,
// UIDs without their NUL, SL values with their low 16 bits, FL values through a float.
void ExpectReadAsWritten(const VRContainer& written, const VRContainer& read) {
  ASSERT_EQ(read.Elements().size(), written.Elements().size());
  auto at = read.Elements().begin();
  for (const auto& before : written.Elements()) {
    const VR& after = **at++;
    SCOPED_TRACE(Described(before.get()));
    ASSERT_EQ(typeid(after), typeid(*before));
    EXPECT_EQ(Described(&after), Described(before.get()));  // tag, code and length
    std::string text = TextOf(before.get());
    if (text.size() % 2 != 0 && before->Code() != "UI") text += ' ';
    EXPECT_EQ(TextOf(&after), text);
    EXPECT_EQ(BytesOf(&after), BytesOf(before.get()));
    std::vector<double> numbers = NumbersOf(before.get());
    for (double& n : numbers) n = before->Code() == "SL" ? int(n) & 0xFFFF : before->Code() == "FL" ? float(n) : n;
    EXPECT_EQ(NumbersOf(&after), numbers);
    if (const auto* children = dynamic_cast<const VRContainer*>(before.get()))
      ExpectReadAsWritten(*children, dynamic_cast<const VRContainer&>(after));
  }
}

TEST(FileWriterRoundTrip, EngineAndDcmdumpReadBackWhatWasWritten) {
  ASSERT_EQ(std::system("command -v dcmdump > /dev/null 2>&1"), 0) << "DCMTK's dcmdump is missing: run scripts/setup";
  for (const char* uid : {"1.2.840.10008.1.2", "1.2.840.10008.1.2.1"}) {
    SCOPED_TRACE(uid);
    const TempFolder folder;
    const std::string path = folder.Path("written.dcm");
    const auto written = RichDataSet();
    FileWriter(uid).Write(*written, kImplicit, ToWide(path), uid);

    FileParser parser(ShippedDictionary());
    ASSERT_TRUE(parser.Open(ToWide(path)));
    DicomData read(false);
    parser.Parse(&read);
    ExpectReadAsWritten(*written, read);

    ASSERT_EQ(std::system(("dcmdump -dc -Un +L +M +Qn '" + path + "' > '" + path + ".txt' 2>&1").c_str()), 0);
    const std::string listing = Contents(path + ".txt");
    SCOPED_TRACE(listing);
    for (const char* complaint : {"\nW:", "\nE:"}) EXPECT_EQ(("\n" + listing).find(complaint), std::string::npos);
    const std::vector<DcmdumpRecord> records = ParseDcmdump(listing);
    ExpectMatchesDcmdump(Flatten(read), records, uid == std::string("1.2.840.10008.1.2"));
    // The engine reads SL's low 16 bits only; DCMTK shows that the file holds all 32.
    EXPECT_TRUE(std::ranges::any_of(records, [](const DcmdumpRecord& r) {
      return r.group == 0x0018 && r.element == 0x6020 && r.value == "74565";
    }));
  }
}

}  // namespace
