// The file writer: the bytes it produces for small data sets, written out by hand from the DICOM
// encoding rules; its file; and a round trip of a rich data set through the engine's own parser and
// through DCMTK's dcmdump.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "dicom/byte_builder.h"
#include "dicom/dcmdump_reference.h"
#include "dicom/file_parser.h"
#include "dicom/file_writer.h"
#include "dicom/vr_container.h"

namespace {

namespace fs = std::filesystem;
using dicom_test::Bytes;
using dicom_test::FailureOf;
using namespace DicomEngine;

constexpr SyntaxRecord kImplicit{kLittleEndian, kImplicitVR};
constexpr SyntaxRecord kExplicit{kLittleEndian, kExplicitVR};
constexpr SyntaxRecord kExplicitBigEndian{kBigEndian, kExplicitVR};

std::vector<std::uint8_t> Serialized(VRContainer& data, const SyntaxRecord& syntax, const std::string& uid) {
  FileWriter writer("");
  writer.Serialize(data, syntax, uid);
  return std::vector<std::uint8_t>(writer.Data(), writer.Data() + writer.Cursor());
}

std::unique_ptr<VRString> Text(const char* code, std::uint16_t group, std::uint16_t element, std::string text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  return std::make_unique<VRString>(code, group, element, length, std::move(text));
}

std::unique_ptr<VRUniqueIdentifier> Uid(std::uint16_t group, std::uint16_t element, std::string text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  return std::make_unique<VRUniqueIdentifier>("UI", group, element, length, std::move(text));
}

// (0002,0010) as the writer must put it: explicit VR whatever the syntax, padded with NUL to even.
Bytes& TransferSyntaxElement(Bytes& bytes, std::string uid) {
  if (uid.size() % 2 != 0) uid.push_back('\0');
  return bytes.explicit_short(0x0002, 0x0010, "UI", static_cast<std::uint16_t>(uid.size())).text(uid);
}

// A file path in the temporary folder, removed at the end of the test. A random part keeps test runs
// of several build folders at once apart.
class TempPath {
 public:
  explicit TempPath(const std::string& stem)
      : path_(fs::temp_directory_path() /
              ("ondrel_file_writer_" + std::to_string(std::random_device()()) + "_" + stem + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".dcm")) {}
  ~TempPath() { fs::remove(path_); }
  TempPath(const TempPath&) = delete;
  TempPath& operator=(const TempPath&) = delete;

  std::string Narrow() const { return path_.string(); }
  std::u16string Wide() const { return path_.u16string(); }

 private:
  fs::path path_;
};

std::vector<std::uint8_t> FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// ---------------------------------------------------------------------------------------------------
// The serialised bytes

TEST(FileWriter, ImplicitSyntaxWithoutTransferSyntaxGetsTheImplicitUidAndAnExplicitMetaGroup) {
  DicomData data(false);
  data.AddSorted(Text("PN", 0x0010, 0x0010, "DOE^JOHN"));
  Bytes expected;
  TransferSyntaxElement(expected, "1.2.840.10008.1.2");
  expected.implicit(0x0010, 0x0010, 8).text("DOE^JOHN");

  EXPECT_EQ(Serialized(data, kImplicit, ""), expected.data());
  const auto* added = dynamic_cast<const VRUniqueIdentifier*>(data.Find(0x0002, 0x0010));
  ASSERT_NE(added, nullptr);
  EXPECT_EQ(added->Value(), "1.2.840.10008.1.2");
  EXPECT_EQ(data.Elements().front().get(), added);  // inserted in tag order, before group 0010
}

TEST(FileWriter, TransferSyntaxElementDecidesTheEncodingOfTheDataSet) {
  const struct {
    const char* what;
    const char* present;  // text of (0002,0010) before writing, or null for none
    std::string uid;      // the UID argument
    SyntaxRecord syntax;  // the syntax argument
    std::string written;  // the UID that ends up in (0002,0010)
    bool explicitVR;      // the data set's elements come out in explicit VR
  } cases[] = {
      {"absent, no UID: the implicit syntax's UID", nullptr, "", kImplicit, "1.2.840.10008.1.2", false},
      {"absent, no UID: the explicit syntax's UID", nullptr, "", kExplicit, "1.2.840.10008.1.2.1", true},
      {"absent, no UID: big-endian is named but nothing is swapped", nullptr, "", kExplicitBigEndian,
       "1.2.840.10008.1.2.2", true},
      {"absent, a compressed UID wins over the syntax", nullptr, "1.2.840.10008.1.2.4.70", kImplicit,
       "1.2.840.10008.1.2.4.70", true},
      {"absent, an unknown UID is kept and written explicit", nullptr, "1.2.99", kImplicit, "1.2.99", true},
      {"present, no UID: kept", "1.2.840.10008.1.2", "", kExplicit, "1.2.840.10008.1.2", false},
      {"present, a UID replaces it", "1.2.840.10008.1.2", "1.2.840.10008.1.2.1", kImplicit,
       "1.2.840.10008.1.2.1", true},
      {"present, unknown: kept, explicit", "1.2.3.4.5", "", kImplicit, "1.2.3.4.5", true},
      {"present with a padding blank: still found in the table", "1.2.840.10008.1.2 ", "", kExplicit,
       "1.2.840.10008.1.2 ", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    DicomData data(false);
    if (c.present != nullptr) data.AddSorted(Uid(0x0002, 0x0010, c.present));
    data.AddSorted(Text("CS", 0x0008, 0x0060, "CT"));
    data.AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0010, 2, std::uint16_t{512}));

    Bytes expected;
    TransferSyntaxElement(expected, c.written);
    if (c.explicitVR) {
      expected.explicit_short(0x0008, 0x0060, "CS", 2).text("CT");
      expected.explicit_short(0x0028, 0x0010, "US", 2).u16(512);
    } else {
      expected.implicit(0x0008, 0x0060, 2).text("CT");
      expected.implicit(0x0028, 0x0010, 2).u16(512);
    }
    EXPECT_EQ(Serialized(data, c.syntax, c.uid), expected.data());
    const auto* element = dynamic_cast<const VRString*>(data.Find(0x0002, 0x0010));
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->Value(), c.written);
  }
}

TEST(FileWriter, ItemsAndDelimitersHaveNoCodeAndUndefinedLengthsStay) {
  for (const SyntaxRecord syntax : {kImplicit, kExplicit}) {
    const bool explicitVR = syntax.vrKind == kExplicitVR;
    SCOPED_TRACE(explicitVR ? "explicit" : "implicit");
    DicomData data(false);
    data.AddSorted(Uid(0x0002, 0x0010, TransferSyntax::GetUid(syntax)));
    // An undefined-length sequence, closed by delimiters, with a defined-length one inside whose
    // stated lengths (0) are wrong and are replaced by the measured ones.
    auto outer = std::make_unique<VRSequence>("SQ", 0x0008, 0x1115, kUndefinedLength);
    auto item = std::make_unique<VRSequenceItem>(kItemElement, kUndefinedLength);
    item->Add(Uid(0x0020, 0x000E, "1.2.3"), false);
    auto inner = std::make_unique<VRSequence>("SQ", 0x0008, 0x1140, 0);
    auto innerItem = std::make_unique<VRSequenceItem>(kItemElement, 0);
    innerItem->Add(Text("CS", 0x0008, 0x0060, "MR"), false);
    inner->Add(std::move(innerItem), false);
    item->Add(std::move(inner), false);
    item->Add(std::make_unique<VRSequenceItem>(kItemDelimiterElement, 0), false);
    outer->Add(std::move(item), false);
    outer->Add(std::make_unique<VRSequenceItem>(kSequenceDelimiterElement, 0), false);
    data.AddSorted(std::move(outer));

    Bytes expected;
    TransferSyntaxElement(expected, TransferSyntax::GetUid(syntax));
    if (explicitVR) {
      expected.explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item(kUndefinedLength);
      expected.explicit_short(0x0020, 0x000E, "UI", 6).text(std::string("1.2.3\0", 6));
      expected.explicit_long(0x0008, 0x1140, "SQ", 18).item(10);
      expected.explicit_short(0x0008, 0x0060, "CS", 2).text("MR");
    } else {
      expected.implicit(0x0008, 0x1115, kUndefinedLength).item(kUndefinedLength);
      expected.implicit(0x0020, 0x000E, 6).text(std::string("1.2.3\0", 6));
      expected.implicit(0x0008, 0x1140, 18).item(10);
      expected.implicit(0x0008, 0x0060, 2).text("MR");
    }
    expected.item_end().seq_end();
    EXPECT_EQ(Serialized(data, syntax, ""), expected.data());
  }
}

TEST(FileWriter, GroupLengthsAreTheBytesOfTheirGroups) {
  for (const SyntaxRecord syntax : {kImplicit, kExplicit}) {
    const bool explicitVR = syntax.vrKind == kExplicitVR;
    SCOPED_TRACE(explicitVR ? "explicit" : "implicit");
    DicomData data(true);
    data.AddSorted(Text("PN", 0x0010, 0x0010, "DOE^J"));
    data.AddSorted(Uid(0x0008, 0x0018, "1.2.3"));
    data.AddSorted(Text("CS", 0x0008, 0x0060, "CT"));
    data.AddSorted(std::make_unique<VRBinary>("OB", 0x7FE0, 0x0010, 4,
                                              std::unique_ptr<std::uint8_t[]>(new std::uint8_t[4]{1, 2, 3, 4})));

    // Header sizes: 8 bytes for group 2 and for short explicit or implicit headers; OB takes 12 in
    // explicit VR. Group 2: (0002,0010) of 20 bytes ("1.2.840.10008.1.2.1" and a NUL) or 18 (the
    // implicit UID). Group 8: UID of 6 and CS of 2. Group 10: 6.
    Bytes expected;
    expected.explicit_short(0x0002, 0x0000, "UL", 4).u32(explicitVR ? 8 + 20 : 8 + 18);
    TransferSyntaxElement(expected, TransferSyntax::GetUid(syntax));
    if (explicitVR) {
      expected.explicit_short(0x0008, 0x0000, "UL", 4).u32(8 + 6 + 8 + 2);
      expected.explicit_short(0x0008, 0x0018, "UI", 6).text(std::string("1.2.3\0", 6));
      expected.explicit_short(0x0008, 0x0060, "CS", 2).text("CT");
      expected.explicit_short(0x0010, 0x0000, "UL", 4).u32(8 + 6);
      expected.explicit_short(0x0010, 0x0010, "PN", 6).text("DOE^J ");
      expected.explicit_short(0x7FE0, 0x0000, "UL", 4).u32(12 + 4);
      expected.explicit_long(0x7FE0, 0x0010, "OB", 4).raw({1, 2, 3, 4});
    } else {
      expected.implicit(0x0008, 0x0000, 4).u32(8 + 6 + 8 + 2);
      expected.implicit(0x0008, 0x0018, 6).text(std::string("1.2.3\0", 6));
      expected.implicit(0x0008, 0x0060, 2).text("CT");
      expected.implicit(0x0010, 0x0000, 4).u32(8 + 6);
      expected.implicit(0x0010, 0x0010, 6).text("DOE^J ");
      expected.implicit(0x7FE0, 0x0000, 4).u32(8 + 4);
      expected.implicit(0x7FE0, 0x0010, 4).raw({1, 2, 3, 4});
    }
    EXPECT_EQ(Serialized(data, syntax, ""), expected.data());
    const auto* groupLength = dynamic_cast<const UnsignedIntegerVR*>(data.Find(0x0010, 0x0000));
    ASSERT_NE(groupLength, nullptr);
    EXPECT_EQ(groupLength->Values(), std::vector<std::uint32_t>{14});  // was 0 when AddSorted made it
  }
}

TEST(FileWriter, CommandIsWrittenInImplicitVRThroughout) {
  DicomCommand command(false);
  command.AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0000, 0x0100, 2, std::uint16_t{0x0001}));
  command.AddSorted(Uid(0x0000, 0x0002, "1.2.840.10008.1.1"));
  Bytes expected;
  expected.implicit(0x0000, 0x0002, 18).text(std::string("1.2.840.10008.1.1\0", 18));
  expected.implicit(0x0000, 0x0100, 2).u16(1);
  expected.implicit(0x0002, 0x0010, 20).text(std::string("1.2.840.10008.1.2.1\0", 20));
  EXPECT_EQ(Serialized(command, kExplicit, ""), expected.data());
}

TEST(FileWriter, TextLargerThanTheGrowthStepIsWrittenWhole) {
  // The text writes don't grow the block; a value larger than the block's spare room and a length
  // field that understates the text must both still come out whole.
  DicomData data(false);
  const std::string longText(2'500'001, 'x');
  data.AddSorted(Text("LT", 0x0020, 0x4000, longText));
  data.AddSorted(std::make_unique<VRString>("LO", 0x0008, 0x0070, 2, std::string(1'200'000, 'y')));
  const std::vector<std::uint8_t> bytes = Serialized(data, kImplicit, "");

  Bytes expected;
  TransferSyntaxElement(expected, "1.2.840.10008.1.2");
  expected.implicit(0x0008, 0x0070, 1'200'000).text(std::string(1'200'000, 'y'));
  expected.implicit(0x0020, 0x4000, 2'500'002).text(longText + " ");
  EXPECT_EQ(bytes, expected.data());
}

// ---------------------------------------------------------------------------------------------------
// The file

TEST(FileWriter, EmptyDataSetMakesAFileOfThePreambleAndTheTransferSyntax) {
  const TempPath path("empty");
  DicomData data(false);
  FileWriter("").Write(data, kExplicit, path.Wide(), "");

  Bytes expected;
  expected.zeros(128).text("DICM");
  TransferSyntaxElement(expected, "1.2.840.10008.1.2.1");
  EXPECT_EQ(expected.data().size(), 132u + 8 + 20);
  EXPECT_EQ(FileBytes(path.Narrow()), expected.data());
}

TEST(FileWriter, FailuresNameTheirCause) {
  DicomData data(false);
  EXPECT_EQ(FailureOf([&] { FileWriter("").Write(data, kExplicit, u"", ""); }),
            "The file name passed to the File Writer is empty.");
  EXPECT_EQ(data.Find(0x0002, 0x0010), nullptr);  // nothing was serialised

  const std::string missing = (fs::temp_directory_path() / "ondrel_no_such_folder" / "x.dcm").string();
  EXPECT_EQ(FailureOf([&] { FileWriter("").Write(data, kExplicit, fs::path(missing).u16string(), ""); }),
            "The Dicom File Writer failed to create the " + missing + " DICOM file.");
  EXPECT_FALSE(fs::exists(missing));

  // A name outside the code page would be written as "?.dcm": no file is made under another name.
  const fs::path folder = fs::temp_directory_path();
  const std::u16string foreign = folder.u16string() + u"/\u56FE.dcm";
  EXPECT_EQ(FailureOf([&] { FileWriter("").Write(data, kExplicit, foreign, ""); }),
            "The Dicom File Writer failed to create the " + folder.string() + "/?.dcm DICOM file.");
  EXPECT_FALSE(fs::exists(folder / "?.dcm"));
}

// ---------------------------------------------------------------------------------------------------
// A rich data set, written and read back by DCMTK and by the engine

std::unique_ptr<std::uint8_t[]> Block(std::initializer_list<std::uint8_t> bytes) {
  auto block = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), block.get());
  return block;
}

std::unique_ptr<VRBinary> Binary(const char* code, std::uint16_t group, std::uint16_t element,
                                 std::initializer_list<std::uint8_t> bytes) {
  return std::make_unique<VRBinary>(code, group, element, static_cast<std::uint32_t>(bytes.size()), Block(bytes));
}

std::unique_ptr<VRSequenceItem> Item(std::uint32_t length, std::vector<std::unique_ptr<VR>> elements) {
  auto item = std::make_unique<VRSequenceItem>(kItemElement, length);
  for (auto& element : elements) item->AddSorted(std::move(element));
  if (length == kUndefinedLength) item->Add(std::make_unique<VRSequenceItem>(kItemDelimiterElement, 0), false);
  return item;
}

template <typename... Elements>
std::vector<std::unique_ptr<VR>> List(Elements... elements) {
  std::vector<std::unique_ptr<VR>> list;
  (list.push_back(std::move(elements)), ...);
  return list;
}

// A CT image's data set of every kind of value the engine writes, with group lengths, built as code
// that makes data sets builds it: out of order, through AddSorted. The codes are the dictionary's, so
// that an implicit VR file reads back with the same codes. Lengths are the texts' own (odd ones
// included) or 0 for sequences, so that the writer has to settle them.
std::unique_ptr<DicomData> RichDataSet() {
  auto data = std::make_unique<DicomData>(true);
  data->AddSorted(Text("PN", 0x0010, 0x0010, "DOE^JANE"));
  data->AddSorted(Uid(0x0002, 0x0002, "1.2.840.10008.5.1.4.1.1.2"));
  data->AddSorted(Uid(0x0002, 0x0003, "1.3.6.1.4.1.77777.1.2.3"));
  data->AddSorted(Binary("OB", 0x0002, 0x0001, {0x00, 0x01}));
  data->AddSorted(Text("CS", 0x0008, 0x0005, "ISO_IR 100"));
  data->AddSorted(Text("CS", 0x0008, 0x0008, "ORIGINAL\\PRIMARY\\AXIAL"));
  data->AddSorted(Uid(0x0008, 0x0016, "1.2.840.10008.5.1.4.1.1.2"));
  data->AddSorted(Uid(0x0008, 0x0018, "1.3.6.1.4.1.77777.1.2.3"));
  data->AddSorted(Text("DA", 0x0008, 0x0020, "20240131"));
  data->AddSorted(Text("CS", 0x0008, 0x0060, "CT"));
  data->AddSorted(Text("LO", 0x0008, 0x0070, "ACME"));
  data->AddSorted(std::make_unique<UnsignedIntegerVR>("UL", 0x0008, 0x1161, 8, std::vector<std::uint32_t>{1, 70000}));
  // A defined-length sequence of two defined-length items.
  auto references = std::make_unique<VRSequence>("SQ", 0x0008, 0x1140, 0);
  for (const char* instance : {"1.3.6.1.4.1.77777.1.2.1", "1.3.6.1.4.1.77777.1.2.22"})
    references->Add(Item(0, List(Uid(0x0008, 0x1150, "1.2.840.10008.5.1.4.1.1.2"), Uid(0x0008, 0x1155, instance))),
                    false);
  data->AddSorted(std::move(references));
  data->AddSorted(Text("LO", 0x0010, 0x0020, "PID-0042"));
  data->AddSorted(Text("DA", 0x0010, 0x0030, "19700101"));
  data->AddSorted(Text("CS", 0x0010, 0x0040, "F"));
  data->AddSorted(Text("DS", 0x0018, 0x0050, "1.25"));
  data->AddSorted(std::make_unique<DoubleVR>("FL", 0x0018, 0x1320, 4, 2.5));
  data->AddSorted(std::make_unique<IntegerVR>("SL", 0x0018, 0x6020, 4, 0x00012345));
  data->AddSorted(std::make_unique<SignedShortVR>("SS", 0x0018, 0x9219, 2, std::int16_t{-7}));
  data->AddSorted(std::make_unique<DoubleVR>("FD", 0x0018, 0x9306, 8, 0.625));
  data->AddSorted(Uid(0x0020, 0x000D, "1.3.6.1.4.1.77777.1"));
  data->AddSorted(Uid(0x0020, 0x000E, "1.3.6.1.4.1.77777.1.2"));
  data->AddSorted(Text("IS", 0x0020, 0x0013, "7"));
  data->AddSorted(Text("DS", 0x0020, 0x0032, "-125\\-125\\-50.5"));
  data->AddSorted(Text("DS", 0x0020, 0x0037, "1\\0\\0\\0\\1\\0"));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0002, 2, std::uint16_t{1}));
  data->AddSorted(Text("CS", 0x0028, 0x0004, "MONOCHROME2"));
  data->AddSorted(std::make_unique<VRAttributeTag>(
      "AT", 0x0028, 0x0009, 8, std::vector<VRAttributeTag::Tag>{{0x0018, 0x1063}, {0x0054, 0x0080}}));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0010, 2, std::uint16_t{4}));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0011, 2, std::uint16_t{4}));
  data->AddSorted(Text("DS", 0x0028, 0x0030, "0.5\\0.5"));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0100, 2, std::uint16_t{16}));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0101, 2, std::uint16_t{12}));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0102, 2, std::uint16_t{11}));
  data->AddSorted(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0103, 2, std::uint16_t{1}));
  data->AddSorted(Text("DS", 0x0028, 0x1050, "40"));
  data->AddSorted(Text("DS", 0x0028, 0x1051, "400"));
  data->AddSorted(Text("DS", 0x0028, 0x1052, "-1024"));
  data->AddSorted(Binary("OW", 0x0028, 0x1201, {0x89, 0x03, 0xFB, 0x03, 0x00, 0x00, 0xFF, 0xFF}));
  // Undefined-length sequence, item and nested sequence, closed by their delimiters.
  auto protocol = std::make_unique<VRSequence>("SQ", 0x0040, 0x0008, kUndefinedLength);
  protocol->Add(Item(kUndefinedLength, List(Text("SH", 0x0008, 0x0100, "CT-HEAD"), Text("SH", 0x0008, 0x0102, "LOCAL"),
                                            Text("LO", 0x0008, 0x0104, "Head routine"))),
                false);
  protocol->Add(std::make_unique<VRSequenceItem>(kSequenceDelimiterElement, 0), false);
  auto request = std::make_unique<VRSequence>("SQ", 0x0040, 0x0275, kUndefinedLength);
  request->Add(Item(kUndefinedLength, List(std::move(protocol), Text("SH", 0x0040, 0x0009, "SPS-1"))), false);
  request->Add(std::make_unique<VRSequenceItem>(kSequenceDelimiterElement, 0), false);
  data->AddSorted(std::move(request));
  // Encapsulated pixel data: an empty offset table, two fragments, the sequence delimiter.
  auto pixels = std::make_unique<VRSequence>("OB", kPixelDataGroup, kPixelDataElement, kUndefinedLength);
  pixels->Add(std::make_unique<VRBinarySequenceItem>(0, nullptr), false);
  pixels->Add(std::make_unique<VRBinarySequenceItem>(6, Block({0xFF, 0xD8, 0xFF, 0xC3, 0x00, 0x0B})), false);
  pixels->Add(std::make_unique<VRBinarySequenceItem>(4, Block({0x12, 0x34, 0xFF, 0xD9})), false);
  pixels->Add(std::make_unique<VRSequenceItem>(kSequenceDelimiterElement, 0), false);
  data->AddSorted(std::move(pixels));
  return data;
}

// The syntaxes the rich data set is written in: the UID handed to the writer.
const char* const kRoundTripSyntaxes[] = {"1.2.840.10008.1.2", "1.2.840.10008.1.2.1"};

// One line of dcmdump's listing as the writer's data set predicts it.
struct ExpectedLine {
  int depth;
  std::uint16_t group;
  std::uint16_t element;
  std::uint32_t length;
};

// Every element, item and delimiter of `container` in file order, nested as dcmdump indents them.
void Flatten(const VRContainer& container, int depth, std::vector<ExpectedLine>& lines) {
  for (const auto& vr : container.Elements()) {
    lines.push_back({depth, vr->Group(), vr->Element(), vr->LengthField()});
    if (const auto* sequence = dynamic_cast<const VRSequence*>(vr.get())) {
      for (const auto& entry : sequence->Elements()) {
        const bool closesSequence = entry->Element() == kSequenceDelimiterElement;
        lines.push_back({closesSequence ? depth : depth + 1, entry->Group(), entry->Element(), entry->LengthField()});
        if (const auto* item = dynamic_cast<const VRSequenceItem*>(entry.get())) {
          std::vector<ExpectedLine> inside;
          Flatten(*item, depth + 2, inside);
          // An item delimiter stands beside its item, not inside it.
          for (ExpectedLine& line : inside)
            if (line.depth == depth + 2 && line.group == kItemGroup && line.element == kItemDelimiterElement)
              line.depth = depth + 1;
          lines.insert(lines.end(), inside.begin(), inside.end());
        }
      }
    }
  }
}

// Runs dcmdump on `path` and returns what it prints on both streams; `status` is std::system's.
std::string RunDcmdump(const std::string& path, int& status) {
  const std::string output = path + ".dcmdump.txt";
  status = std::system(("dcmdump -dc -Un +L +M +Qn '" + path + "' > '" + output + "' 2>&1").c_str());
  std::ifstream in(output);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  fs::remove(output);
  return text;
}

const dicom_test::DcmdumpRecord* FindRecord(const std::vector<dicom_test::DcmdumpRecord>& records,
                                            std::uint16_t group, std::uint16_t element) {
  for (const auto& record : records)
    if (record.group == group && record.element == element && !record.synthetic) return &record;
  return nullptr;
}

TEST(FileWriterRoundTrip, DcmdumpReadsTheWrittenFilesAsWritten) {
  ASSERT_EQ(std::system("command -v dcmdump > /dev/null 2>&1"), 0)
      << "DCMTK's dcmdump is not installed: run scripts/setup, which installs it";
  for (const char* syntaxUid : kRoundTripSyntaxes) {
    SCOPED_TRACE(syntaxUid);
    const TempPath path(syntaxUid);
    const auto data = RichDataSet();
    FileWriter(syntaxUid).Write(*data, kImplicit, path.Wide(), syntaxUid);

    int status = -1;
    const std::string listing = RunDcmdump(path.Narrow(), status);
    SCOPED_TRACE(listing);
    ASSERT_EQ(status, 0);
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_FALSE(line.starts_with("W:")) << line;
      EXPECT_FALSE(line.starts_with("E:")) << line;
    }

    // Every element, item and delimiter stands where it was written, with the length written.
    std::vector<dicom_test::DcmdumpRecord> records;
    ASSERT_NO_THROW(records = dicom_test::ParseDcmdump(listing));
    std::erase_if(records, [](const dicom_test::DcmdumpRecord& record) { return record.synthetic; });
    std::vector<ExpectedLine> expected;
    Flatten(*data, 0, expected);
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
      SCOPED_TRACE(::testing::PrintToString(records[i]));
      EXPECT_EQ(records[i].depth, expected[i].depth);
      EXPECT_EQ(records[i].group, expected[i].group);
      EXPECT_EQ(records[i].element, expected[i].element);
      EXPECT_EQ(records[i].length, expected[i].length);
    }

    // Values as DCMTK reads them from the bytes.
    const struct {
      std::uint16_t group, element;
      std::string value;
    } values[] = {
        {0x0002, 0x0010, std::string(syntaxUid) + (std::string(syntaxUid).size() % 2 ? std::string(1, '\0') : "")},
        {0x0002, 0x0002, std::string("1.2.840.10008.5.1.4.1.1.2\0", 26)},
        {0x0008, 0x0008, "ORIGINAL\\PRIMARY\\AXIAL"},
        {0x0008, 0x1161, "1\\70000"},
        {0x0010, 0x0010, "DOE^JANE"},
        {0x0010, 0x0040, "F "},
        {0x0018, 0x1320, "2.5"},
        {0x0018, 0x6020, "74565"},  // the file holds all 32 bits of 0x00012345
        {0x0018, 0x9219, "-7"},
        {0x0018, 0x9306, "0.625"},
        {0x0020, 0x0013, "7 "},
        {0x0028, 0x0004, "MONOCHROME2 "},
        {0x0028, 0x0009, "(0018,1063)\\(0054,0080)"},
        {0x0028, 0x0010, "4"},
        {0x0028, 0x1201, "0389\\03fb\\0000\\ffff"},
        {0x0008, 0x0102, "LOCAL "},
        {0x7FE0, 0x0010, "PixelSequence #=3"},
        {0x0040, 0x0275, "Sequence with undefined length #=1"},
        {0x0008, 0x1140, "Sequence with explicit length #=2"},
    };
    for (const auto& v : values) {
      const dicom_test::DcmdumpRecord* record = FindRecord(records, v.group, v.element);
      ASSERT_NE(record, nullptr) << std::hex << v.group << "," << v.element;
      EXPECT_EQ(record->value, v.value) << ::testing::PrintToString(*record);
    }
  }
}

// The shipped dictionary, for the implicit VR file; a parser's own, so no process-wide state changes.
const DicomDictionary& ShippedDictionary() {
  static const DicomDictionary dictionary = [] {
    DicomDictionary loaded;
    loaded.Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
    return loaded;
  }();
  return dictionary;
}

template <typename Numeric>
void ExpectSameValues(const VR& written, const VR& read,
                      typename Numeric::ValueType (*asRead)(typename Numeric::ValueType)) {
  const auto& before = dynamic_cast<const Numeric&>(written).Values();
  const auto& after = dynamic_cast<const Numeric&>(read).Values();
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(after[i], asRead(before[i]));
}

// Compares a data set as written (lengths as the writer measured them) with what the engine read back,
// by the engine's reading rules: text values come back padded to even, UIDs without their NUL, SL
// values with their low 16 bits only, FL values through a float.
void ExpectReadAsWritten(const VRContainer& written, const VRContainer& read) {
  ASSERT_EQ(read.Elements().size(), written.Elements().size());
  auto at = read.Elements().begin();
  for (const auto& before : written.Elements()) {
    const VR& after = **at++;
    std::string description;
    SCOPED_TRACE(before->Print(description));
    ASSERT_EQ(typeid(after), typeid(*before));
    EXPECT_EQ(after.Group(), before->Group());
    EXPECT_EQ(after.Element(), before->Element());
    EXPECT_EQ(after.Code(), before->Code());
    EXPECT_EQ(after.LengthField(), before->LengthField());
    if (const auto* uid = dynamic_cast<const VRUniqueIdentifier*>(before.get())) {
      EXPECT_EQ(dynamic_cast<const VRString&>(after).Value(), uid->Value());
    } else if (const auto* text = dynamic_cast<const VRString*>(before.get())) {
      EXPECT_EQ(dynamic_cast<const VRString&>(after).Value(), text->Value() + (text->Value().size() % 2 ? " " : ""));
    } else if (const auto* binary = dynamic_cast<const VRBinary*>(before.get())) {
      const auto* bytes = dynamic_cast<const VRBinary&>(after).Data();
      const std::uint32_t length = binary->LengthField();
      if (length == 0) continue;
      ASSERT_NE(bytes, nullptr);
      EXPECT_TRUE(std::equal(bytes, bytes + length, binary->Data()));
    } else if (const auto* tags = dynamic_cast<const VRAttributeTag*>(before.get())) {
      EXPECT_EQ(dynamic_cast<const VRAttributeTag&>(after).Tags(), tags->Tags());
    } else if (typeid(*before) == typeid(IntegerVR)) {
      ExpectSameValues<IntegerVR>(*before, after, [](std::int32_t value) { return value & 0xFFFF; });
    } else if (typeid(*before) == typeid(UnsignedIntegerVR)) {
      ExpectSameValues<UnsignedIntegerVR>(*before, after, [](std::uint32_t value) { return value; });
    } else if (typeid(*before) == typeid(SignedShortVR)) {
      ExpectSameValues<SignedShortVR>(*before, after, [](std::int16_t value) { return value; });
    } else if (typeid(*before) == typeid(UnsignedShortVR)) {
      ExpectSameValues<UnsignedShortVR>(*before, after, [](std::uint16_t value) { return value; });
    } else if (before->Code() == "FL") {
      ExpectSameValues<DoubleVR>(*before, after, [](double value) { return double{static_cast<float>(value)}; });
    } else if (before->Code() == "FD") {
      ExpectSameValues<DoubleVR>(*before, after, [](double value) { return value; });
    } else if (const auto* sequence = dynamic_cast<const VRSequence*>(before.get())) {
      ExpectReadAsWritten(*sequence, dynamic_cast<const VRSequence&>(after));
    } else if (const auto* item = dynamic_cast<const VRSequenceItem*>(before.get())) {
      ExpectReadAsWritten(*item, dynamic_cast<const VRSequenceItem&>(after));
    } else {
      ADD_FAILURE() << "no comparison for this element";
    }
  }
}

TEST(FileWriterRoundTrip, EngineReadsBackWhatItWrote) {
  for (const char* syntaxUid : kRoundTripSyntaxes) {
    SCOPED_TRACE(syntaxUid);
    const TempPath path(syntaxUid);
    const auto written = RichDataSet();
    FileWriter(syntaxUid).Write(*written, kImplicit, path.Wide(), syntaxUid);

    FileParser parser(ShippedDictionary());
    ASSERT_TRUE(parser.Open(path.Wide()));
    EXPECT_EQ(parser.StartOffset(), 132u);
    DicomData read(false);
    parser.Parse(&read);
    ExpectReadAsWritten(*written, read);

    // The header scan of an image load: only the transfer syntax and the pixel data are built.
    FileParser scanner(ShippedDictionary());
    ASSERT_TRUE(scanner.Open(path.Wide()));
    DicomData scanned(false);
    scanner.ParseUpTo(&scanned, kPixelDataGroup, kPixelDataElement);
    ASSERT_EQ(scanned.Elements().size(), 2u);
    EXPECT_EQ(scanned.Elements().front()->Element(), 0x0010);
    std::uint8_t* pixels = nullptr;
    std::uint32_t length = 0;
    scanned.GetPixelData(&pixels, &length);
    const std::unique_ptr<std::uint8_t[]> owned(pixels);
    const std::vector<std::uint8_t> fragments = {0xFF, 0xD8, 0xFF, 0xC3, 0x00, 0x0B, 0x12, 0x34, 0xFF, 0xD9};
    ASSERT_EQ(length, fragments.size());
    EXPECT_TRUE(std::equal(fragments.begin(), fragments.end(), pixels));
  }
}

}  // namespace
