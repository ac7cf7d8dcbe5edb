// The stream parser and the file parser on bytes written by hand: values, the VR and length rules,
// sequences and fragments, the stop tag, how a damaged stream ends; which files are DICOM.
#include "dicom/parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "dicom/file_parser.h"
#include "foundation/text_utils.h"
#include "test_support.h"

namespace {

using namespace DicomEngine;
using namespace dicom_test;

constexpr SyntaxRecord kExplicit{kLittleEndian, kExplicitVR};
constexpr SyntaxRecord kImplicit{kLittleEndian, kImplicitVR};
constexpr char kTooShort[] = "The buffer is not long enough to perform the requested read operation.";
constexpr char kNoFailure[] = "(no failure)";

// A parser over the bytes in chunks of 7, so that headers and values cross chunk boundaries.
Parser ParserOver(const Bytes& bytes, SyntaxRecord syntax) {
  MultiChunkBuffer buffer;
  for (std::size_t at = 0; at < bytes.data.size(); at += 7) {
    const auto size = static_cast<std::uint32_t>(std::min<std::size_t>(7, bytes.data.size() - at));
    ByteBlock chunk = ByteBlock::Uninitialised(size);
    std::memcpy(chunk.Data(), &bytes.data[at], size);
    buffer.AddChunk(std::move(chunk));
  }
  return Parser(std::make_unique<BufferReader>(buffer), syntax, ShippedDictionary());
}

// "gggg,eeee CODE length value" of each element, "|" between them, "{...}" around a container's
// entries; the value as text, hexadecimal bytes or numbers.
std::string Shape(const VRContainer& container) {
  std::string out;
  char field[40];
  for (const auto& vr : container.Elements()) {
    std::snprintf(field, sizeof field, "%s%04X,%04X %s %X", out.empty() ? "" : "|", vr->Group(), vr->Element(),
                  vr->Code().c_str(), vr->LengthField());
    out += field;
    if (dynamic_cast<const VRString*>(vr.get()) != nullptr) out += " " + TextOf(vr.get());
    for (const std::uint8_t byte : BytesOf(vr.get())) out += (std::snprintf(field, sizeof field, " %02X", byte), field);
    for (const double number : NumbersOf(vr.get())) out += (std::snprintf(field, sizeof field, " %.17g", number), field);
    const auto* children = dynamic_cast<const VRContainer*>(vr.get());
    if (children != nullptr && !children->Elements().empty()) out += " {" + Shape(*children) + "}";
  }
  return out;
}

const Bytes kName = Bytes().explicit_short(0x0010, 0x0010, "PN", 2).text("AB");
const Bytes kModality = Bytes().explicit_short(0x0008, 0x0060, "CS", 2).text("CT");
// What an image load reads: meta header, a sequence, the pixels, trailing padding.
const Bytes kImage = Bytes().explicit_short(0x0002, 0x0010, "UI", 20).text("1.2.840.10008.1.2.1").zeros(1)
                         .explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item(10).then(kName).seq_end()
                         .explicit_long(0x7FE0, 0x0010, "OW", 4).raw({1, 2, 3, 4})
                         .explicit_long(0xFFFC, 0xFFFC, "OB", 2).raw({0, 0});

TEST(Parser, StreamsGiveTheirElementsOrStopWithTheirFailure) {
  const struct {
    const char* what;
    Bytes bytes;
    std::string shape;  // what the container holds afterwards
    SyntaxRecord syntax = kExplicit;
    std::string failure = kNoFailure;
    std::size_t unread = 0;    // bytes the parse leaves
    std::uint16_t stop = 0;    // the stop tag is (stop, 0x0010); (0, 0) parses everything, as Parse does
  } rows[] = {
      {"numbers by width rounding up: US of length 3 reads 2 values, 4 bytes",
       Bytes().explicit_short(0x0028, 0x0010, "US", 3).raw({1, 0, 2, 0}).then(kName),
       "0028,0010 US 3 1 2|0010,0010 PN 2 AB"},
      {"SS signed; SL 0x00012345 keeps 0x2345; FL of length 6 reads 2 floats; FD",
       Bytes().explicit_short(0x0028, 0x0106, "SS", 2).raw({0xFE, 0xFF}).explicit_short(0x0018, 0x6020, "SL", 4)
           .u32(0x12345).explicit_short(0x0018, 0x9087, "FL", 6).raw({0, 0, 0xC0, 0x3F, 0, 0, 0, 0xC0})
           .explicit_short(0x0018, 0x9089, "FD", 8).raw({0, 0, 0, 0, 0, 0, 0xF8, 0x3F}),
       "0028,0106 SS 2 -2|0018,6020 SL 4 9029|0018,9087 FL 6 1.5 -2|0018,9089 FD 8 1.5"},
      {"AT of length 2 reads nothing: its bytes are read as the next tag",
       Bytes().explicit_short(0x0028, 0x0009, "AT", 2).raw({0x10, 0}), "0028,0009 AT 2", kExplicit, kTooShort},
      {"text ends at its first NUL", Bytes().explicit_short(0x0010, 0x0010, "PN", 6).text(std::string("AB\0CD ", 6)),
       "0010,0010 PN 6 AB"},
      {"two NUL bytes as code: UN with a 4-byte length",
       Bytes().u16(0x0009).u16(0x1001).zeros(4).u32(2).text("XY").then(kName),
       "0009,1001 UN 2 58 59|0010,0010 PN 2 AB"},
      {"implicit VR: codes of group lengths, private tags (a dictionary VR aside), unknown tags, the dictionary",
       Bytes().implicit(0x0033, 0x0000, 4).u32(7).implicit(0x0009, 0x0000, 4).u32(8)
           .implicit(0x0009, 0x1001, 1).text("A").implicit(0x0018, 0x9999, 1).text("B")
           .implicit(0x0028, 0x0106, 2).u16(0xFFFE).implicit(0x0008, 0x0060, 2).text("MR")
           .implicit(0x7FE0, 0x0010, 1).raw({1}),
       "0033,0000 UL 4 7|0009,0000 UL 4 8|0009,1001 UN 1 41|0018,9999 UN 1 42|0028,0106 US 2 65534|"
       "0008,0060 CS 2 MR|7FE0,0010 OB 1 01", kImplicit},
      {"undefined-length UN: a sequence of data set items",
       Bytes().explicit_long(0x0009, 0x1010, "UN", kUndefinedLength).item(kUndefinedLength).then(kName).item_end()
           .seq_end().then(kModality),
       "0009,1010 UN FFFFFFFF {FFFE,E000  FFFFFFFF {0010,0010 PN 2 AB|FFFE,E00D  0}|FFFE,E0DD  0}|0008,0060 CS 2 CT"},
      {"fragments read by their length, delimiter bytes inside one",
       Bytes().explicit_long(0x7FE0, 0x0010, "OB", kUndefinedLength).item(0).item(4).raw({0xFE, 0xFF, 0xDD, 0xE0})
           .seq_end(),
       "7FE0,0010 OB FFFFFFFF {FFFE,E000  0|FFFE,E000  4 FE FF DD E0|FFFE,E0DD  0}"},
      {"a defined-length sequence counts item headers: 8 + 10 + 8 + 0",
       Bytes().explicit_long(0x0008, 0x1115, "SQ", 26).item(10).then(kName).item(0).then(kModality),
       "0008,1115 SQ 1A {FFFE,E000  A {0010,0010 PN 2 AB}|FFFE,E000  0}|0008,0060 CS 2 CT"},
      {"zero-length sequence", Bytes().explicit_long(0x0008, 0x1115, "SQ", 0).then(kName),
       "0008,1115 SQ 0|0010,0010 PN 2 AB"},
      {"an item delimiter at the top ends the parse", Bytes().then(kName).item_end().then(kModality),
       "0010,0010 PN 2 AB|FFFE,E00D  0", kExplicit, kNoFailure, 10},
      {"UT yields nothing; its value reads as the next element",
       Bytes().explicit_long(0x0040, 0xA160, "UT", 10).then(kName), "0010,0010 PN 2 AB"},
      {"the stop tag: only syntax and pixels built, stops right after", kImage,
       "0002,0010 UI 14 1.2.840.10008.1.2.1|7FE0,0010 OW 4 01 02 03 04", kExplicit, kNoFailure, 14, 0x7FE0},
      {"undefined item in a defined sequence",
       Bytes().then(kName).explicit_long(0x0008, 0x1115, "SQ", 16).item(kUndefinedLength).item_end(),
       "0010,0010 PN 2 AB", kExplicit, "Defined length sequence contains undefined length item."},
      {"an element where an item belongs",
       Bytes().then(kName).explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).then(kModality),
       "0010,0010 PN 2 AB", kExplicit, "Invalid tag found where a sequence item was expected."},
      {"length near 2^32, nothing allocated", Bytes().then(kName).explicit_long(0x0009, 0x1010, "OB", 0xFFFFFFF0),
       "0010,0010 PN 2 AB", kExplicit, kTooShort},
  };
  for (const auto& row : rows) {
    for (const bool parse : {true, false}) {  // ParseUpTo(0, 0) must give what Parse gives
      if (parse && row.stop != 0) continue;
      SCOPED_TRACE(std::string(row.what) + (parse ? " (Parse)" : " (ParseUpTo)"));
      Parser parser = ParserOver(row.bytes, row.syntax);
      DicomData data(false);
      const std::uint16_t element = row.stop != 0 ? 0x0010 : 0;
      EXPECT_EQ(FailureOf([&] { parse ? parser.Parse(&data) : parser.ParseUpTo(&data, row.stop, element); }),
                row.failure);
      EXPECT_EQ(Shape(data), row.shape);
      if (row.failure == kNoFailure) {
        EXPECT_EQ(parser.Position(), row.bytes.data.size() - row.unread);
      }
    }
  }
}

// After a failure the parser names the element of the data set it stopped in, and where it began,
// also when the failure lies deep inside one of its items.
TEST(Parser, AFailureNamesTheElementItStoppedIn) {
  const struct {
    const char* what;
    Bytes bytes;
    std::uint16_t group;
    std::uint16_t element;
  } rows[] = {
      {"a value past the end", Bytes().then(kName).then(kModality).explicit_long(0x0009, 0x1010, "OB", 400), 0x0009,
       0x1010},
      {"an element where an item of a nested sequence belongs",
       Bytes().then(kName).then(kModality).explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item(kUndefinedLength)
           .explicit_long(0x0008, 0x1140, "SQ", kUndefinedLength).then(kName),
       0x0008, 0x1115},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Parser parser = ParserOver(row.bytes, kExplicit);
    EXPECT_NE(FailureOf([&] { parser.Parse(nullptr); }), kNoFailure);
    ASSERT_TRUE(parser.LastElement());
    EXPECT_EQ(parser.LastElement()->group, row.group);
    EXPECT_EQ(parser.LastElement()->element, row.element);
    EXPECT_EQ(parser.LastElement()->offset, 20u) << "after the name and the modality, 10 bytes each";
  }
}

TEST(Parser, SequencesNestUpToALimit) {
  const auto nested = [](int depth) {
    Bytes bytes;
    for (int level = 0; level < depth; ++level)
      bytes.explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item(kUndefinedLength);
    for (int level = 0; level < depth; ++level) bytes.item_end().seq_end();
    return bytes;
  };
  EXPECT_EQ(FailureOf([&] { ParserOver(nested(Parser::kMaxNestingDepth), kExplicit).Parse(nullptr); }), kNoFailure);
  EXPECT_EQ(FailureOf([&] { ParserOver(nested(Parser::kMaxNestingDepth + 1), kExplicit).Parse(nullptr); }),
            "The sequences are nested more than 64 levels deep.");
}

// Directory records link to one another by where their items start: each item keeps that position,
// across chunk boundaries, in defined and undefined lengths and inside nested sequences.
TEST(Parser, ItemsKnowWhereTheyStart) {
  const Bytes bytes = Bytes().then(kName)                                    // bytes 0-9
                          .explicit_long(0x0004, 0x1220, "SQ", kUndefinedLength)  // 10-21
                          .item(10).then(kModality)                           // item at 22, to 39
                          .item(kUndefinedLength)                             // item at 40
                          .explicit_long(0x0008, 0x1115, "SQ", 18).item(10).then(kName)  // inner item at 60
                          .item_end()
                          .item(10).then(kName)                               // item at 86
                          .seq_end();
  VRContainer data(false);
  ParserOver(bytes, kExplicit).Parse(&data);
  const auto* records = dynamic_cast<const VRSequence*>(data.Find(0x0004, 0x1220));
  ASSERT_NE(records, nullptr);
  std::vector<std::uint32_t> starts;
  for (const auto& entry : records->Elements()) {
    const auto* item = dynamic_cast<const VRSequenceItem*>(entry.get());
    ASSERT_NE(item, nullptr);
    if (item->Element() == kItemElement) starts.push_back(item->DataOffset().value_or(0xFFFFFFFF));
  }
  EXPECT_EQ(starts, (std::vector<std::uint32_t>{22, 40, 86}));
  const auto* second = dynamic_cast<const VRSequenceItem*>(std::next(records->Elements().begin())->get());
  const auto* inner = dynamic_cast<const VRSequence*>(second->Find(0x0008, 0x1115));
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(dynamic_cast<const VRSequenceItem*>(inner->Elements().front().get())->DataOffset(), 60u);
  EXPECT_FALSE(VRSequenceItem(kItemElement, 0).DataOffset()) << "an item built in code was never read";
}

// Bytes that begin a data set without preamble, with `sixth` as their sixth byte.
Bytes StartingWith(std::uint8_t sixth) { return Bytes().u16(0x0008).u16(0x0005).raw({'C', sixth}).zeros(10); }

TEST(FileParser, DicomFilesAndTheirHeaderSyntax) {
  const struct {
    const char* what;
    Bytes bytes;
    bool dicom;
    std::uint32_t start = 0;
    std::uint32_t vrKind = kImplicitVR;
  } rows[] = {
      {"preamble, DICM, explicit meta header",
       Bytes().zeros(128).text("DICM").explicit_short(0x0002, 0x0010, "UI", 2).text("1."), true, 132, kExplicitVR},
      {"DICM at 128 of a file that ends there", Bytes().zeros(128).text("DICM"), true, 132},
      {"no preamble, sixth byte the second letter of a code", StartingWith('S'), true, 0, kExplicitVR},
      {"no preamble, sixth byte of a small length", StartingWith(0), true},
      {"sixth byte 10 is below the bound", StartingWith(10), true},
      {"sixth byte 11 is not", StartingWith(11), true, 0, kExplicitVR},
      {"a sixth byte from 0x80 up counts as negative", StartingWith(0x80), true},
      {"first group 0x8000", Bytes().implicit(0x8000, 0x0005, 2).text("AB"), true},
      {"meta group 0x0002 without preamble", Bytes().explicit_short(0x0002, 0x0010, "UI", 2).text("1."), false},
      {"big-endian group 8 reads 0x0800", Bytes().raw({0x00, 0x08, 0x00, 0x05}).text("CS").zeros(2), false},
      {"fewer than 132 bytes, not group 8", Bytes().text("not dicom"), false},
      {"one byte", Bytes().raw({0x08}), false},
      {"empty file", Bytes(), false},
  };
  const TempFolder folder;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    FileParser parser;
    ASSERT_EQ(parser.Open(ToWide(folder.Write("file.dcm", row.bytes))), row.dicom);
    if (!row.dicom) {
      EXPECT_EQ(FailureOf([&] { parser.Parse(nullptr); }), "The parser buffer is NULL.");
      continue;
    }
    EXPECT_EQ(parser.StartOffset(), row.start);
    EXPECT_EQ(parser.HeaderSyntax(), (SyntaxRecord{kByteOrderUnset, row.vrKind}));
  }
}

TEST(FileParser, NamesAndOpenFailures) {
  const TempFolder folder;
  folder.Write("image.dcm", StartingWith(0));
  folder.Write("a.b/image.dcm", StartingWith(0));
  EXPECT_TRUE(FileParser().Open(ToWide(folder.Path("image"))));  // ".dcm" appended to a name without dot
  const auto failure = [](const std::u16string& name) { return FailureOf([&] { FileParser().Open(name); }); };
  const auto cannotOpen = [](const std::string& name, const char* error) {
    return "The " + name + " file cannot be opened. The last error is (in hexa): 0x" + error;
  };
  EXPECT_EQ(failure(ToWide(folder.Path("a.b/image"))), cannotOpen(folder.Path("a.b/image"), "2"));  // a dot anywhere
  EXPECT_EQ(failure(u""), "The name of the file to parse is empty.");
  EXPECT_EQ(failure(ToWide(folder.Path("none/missing.dcm"))), cannotOpen(folder.Path("none/missing.dcm"), "3"));
  // Names reach the file system through Windows-1252: one it can't hold is refused, not guessed.
  EXPECT_EQ(failure(ToWide(folder.Path("")) + u"\u0436.dcm"), cannotOpen(folder.Path("?.dcm"), "459"));
}

}  // namespace
