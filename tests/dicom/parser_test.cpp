// The stream parser on byte streams written by hand: the VR and length rules of explicit and implicit
// data, sequences and fragments, the stop tag, and the ways a damaged stream ends.
#include "dicom/parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "byte_builder.h"

namespace {

using namespace DicomEngine;
using dicom_test::Bytes;
using dicom_test::FailureOf;

constexpr SyntaxRecord kExplicit{kLittleEndian, kExplicitVR};
constexpr SyntaxRecord kImplicit{kLittleEndian, kImplicitVR};
constexpr char kBufferTooShort[] = "The buffer is not long enough to perform the requested read operation.";

// A dictionary of the few tags these streams use, with the ambiguous VRs of the real one and a private
// entry, loaded once for the whole test program.
const DicomDictionary& TestDictionary() {
  static const DicomDictionary* const dictionary = [] {
    // A name of this process's own: CTest runs tests in parallel processes.
    const auto path = std::filesystem::temp_directory_path() /
                      ("ondrel_parser_test_dictionary_" + std::to_string(std::random_device()()) + ".txt");
    std::ofstream(path) << "(0008,0060)\tVR=\"CS\"\n"
                           "(0008,1115)\tVR=\"SQ\"\n"
                           "(0010,0010)\tVR=\"PN\"\n"
                           "(0028,0106)\tVR=\"US or SS\"\n"
                           "(7FE0,0010)\tVR=\"OW/OB\"\n"
                           "(0009,1001)\tVR=\"LO\"\tOwner=\"MAKER\"\n";
    auto* loaded = new DicomDictionary();
    loaded->Load(path.string());
    std::filesystem::remove(path);
    return loaded;
  }();
  return *dictionary;
}

// A reader over the bytes in chunks of 7, so that headers and values cross chunk boundaries.
std::unique_ptr<BufferReader> ReaderOver(const Bytes& bytes) {
  const std::vector<std::uint8_t>& data = bytes.data();
  MultiChunkBuffer buffer;
  for (std::size_t at = 0; at < data.size(); at += 7) {
    const std::size_t size = std::min<std::size_t>(7, data.size() - at);
    auto* chunk = new std::uint8_t[size];
    std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(at), size, chunk);
    buffer.AddChunk(chunk, static_cast<std::uint32_t>(size), true);
  }
  return std::make_unique<BufferReader>(buffer);
}

Parser ParserOver(const Bytes& bytes, SyntaxRecord syntax) { return Parser(ReaderOver(bytes), syntax, TestDictionary()); }

std::vector<const VR*> ElementsOf(const VRContainer& container) {
  std::vector<const VR*> elements;
  for (const auto& vr : container.Elements()) elements.push_back(vr.get());
  return elements;
}

std::string Described(const VRContainer& container) {
  std::string text;
  return container.Print(text);
}

std::string TextOf(const VR* vr) {
  const auto* text = dynamic_cast<const VRString*>(vr);
  return text != nullptr ? text->Value() : "(not text)";
}

std::vector<std::uint8_t> BytesOf(const VR* vr) {
  const auto* binary = dynamic_cast<const VRBinary*>(vr);
  if (binary == nullptr || binary->Data() == nullptr) return {};
  return std::vector<std::uint8_t>(binary->Data(), binary->Data() + binary->LengthField());
}

bool HasTag(const VR* vr, std::uint16_t group, std::uint16_t element) {
  return vr != nullptr && vr->Group() == group && vr->Element() == element;
}

TEST(Parser, TwoNulBytesAsCodeReadAsUNWithAFourByteLength) {
  Bytes bytes;
  bytes.u16(0x0009).u16(0x1001).zeros(2).u16(0).u32(4).text("ABCD");
  bytes.explicit_short(0x0010, 0x0010, "PN", 2).text("XY");
  DicomData data(false);
  ParserOver(bytes, kExplicit).Parse(&data);

  const auto elements = ElementsOf(data);
  ASSERT_EQ(elements.size(), 2u);
  EXPECT_EQ(elements[0]->Code(), "UN");
  EXPECT_EQ(elements[0]->LengthField(), 4u);
  EXPECT_EQ(BytesOf(elements[0]), (std::vector<std::uint8_t>{'A', 'B', 'C', 'D'}));
  EXPECT_EQ(TextOf(elements[1]), "XY");
}

// Implicit VR: the code comes from the dictionary, or from the rules that stand in for it.
TEST(Parser, ImplicitVRCodesComeFromTheDictionaryAndItsRules) {
  struct Row {
    const char* what;
    std::uint16_t group, element;
    const char* code;
  };
  const Row rows[] = {
      {"group length of a group the dictionary lacks", 0x0033, 0x0000, "UL"},
      {"private group length", 0x0009, 0x0000, "UL"},
      {"private element, though the dictionary names it LO", 0x0009, 0x1001, "UN"},
      {"standard element the dictionary lacks", 0x0018, 0x9999, "UN"},
      {"OW/OB settles to OB", 0x7FE0, 0x0010, "OB"},
      {"US or SS settles to US", 0x0028, 0x0106, "US"},
      {"dictionary entry", 0x0008, 0x0060, "CS"},
  };
  for (const Row& row : rows) {
    Bytes bytes;
    bytes.implicit(row.group, row.element, 4).raw({0xFE, 0xFF, 0x01, 0x00});
    DicomData data(false);
    ParserOver(bytes, kImplicit).Parse(&data);
    ASSERT_EQ(data.Elements().size(), 1u) << row.what;
    EXPECT_EQ(data.Elements().front()->Code(), row.code) << row.what;
  }
  Bytes bytes;
  bytes.implicit(0x0028, 0x0106, 2).u16(0xFFFE);
  DicomData data(false);
  ParserOver(bytes, kImplicit).Parse(&data);
  const auto* value = dynamic_cast<const UnsignedShortVR*>(data.Find(0x0028, 0x0106));
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->Values(), std::vector<std::uint16_t>{0xFFFE});
}

TEST(Parser, UndefinedLengthUNIsReadAsASequenceOfDataSetItems) {
  Bytes bytes;
  bytes.explicit_long(0x0009, 0x1010, "UN", kUndefinedLength).item(kUndefinedLength);
  bytes.explicit_short(0x0010, 0x0010, "PN", 2).text("AB").item_end().seq_end();
  bytes.explicit_short(0x0008, 0x0060, "CS", 2).text("CT");
  DicomData data(false);
  ParserOver(bytes, kExplicit).Parse(&data);

  const auto elements = ElementsOf(data);
  ASSERT_EQ(elements.size(), 2u);
  const auto* sequence = dynamic_cast<const VRSequence*>(elements[0]);
  ASSERT_NE(sequence, nullptr);
  EXPECT_EQ(sequence->Code(), "UN");
  const auto items = ElementsOf(*sequence);
  ASSERT_EQ(items.size(), 2u);
  EXPECT_TRUE(HasTag(items[1], kItemGroup, kSequenceDelimiterElement));
  const auto* item = dynamic_cast<const VRSequenceItem*>(items[0]);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->LengthField(), kUndefinedLength);
  // The item delimiter ends the item's own parse and stands last in the item.
  const auto inside = ElementsOf(*item);
  ASSERT_EQ(inside.size(), 2u);
  EXPECT_EQ(TextOf(inside[0]), "AB");
  EXPECT_TRUE(HasTag(inside[1], kItemGroup, kItemDelimiterElement));
  EXPECT_EQ(TextOf(elements[1]), "CT");
}

TEST(Parser, UndefinedLengthOBIsReadAsFragmentsByTheirLength) {
  Bytes bytes;
  // The second fragment holds the bytes of a sequence delimiter: only lengths decide.
  bytes.explicit_long(0x7FE0, 0x0010, "OB", kUndefinedLength).item(0).item(8);
  bytes.raw({0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0}).seq_end();
  DicomData data(false);
  ParserOver(bytes, kExplicit).Parse(&data);

  const auto* pixels = dynamic_cast<const VRSequence*>(data.Find(0x7FE0, 0x0010));
  ASSERT_NE(pixels, nullptr);
  const auto items = ElementsOf(*pixels);
  ASSERT_EQ(items.size(), 3u);
  EXPECT_NE(dynamic_cast<const VRBinarySequenceItem*>(items[0]), nullptr);
  EXPECT_EQ(items[0]->LengthField(), 0u);
  EXPECT_EQ(BytesOf(items[1]), (std::vector<std::uint8_t>{0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0}));
  EXPECT_TRUE(HasTag(items[2], kItemGroup, kSequenceDelimiterElement));
}

TEST(Parser, DefinedLengthSequenceEndsWhenItemsAndTheirHeadersFillIt) {
  Bytes bytes;
  // 8 + 10 + 8 + 0: the length counts the item headers too.
  bytes.explicit_long(0x0008, 0x1115, "SQ", 26).item(10).explicit_short(0x0010, 0x0010, "PN", 2).text("AB");
  bytes.item(0).explicit_short(0x0008, 0x0060, "CS", 2).text("CT");
  DicomData data(false);
  ParserOver(bytes, kExplicit).Parse(&data);

  const auto elements = ElementsOf(data);
  ASSERT_EQ(elements.size(), 2u);
  const auto items = ElementsOf(*dynamic_cast<const VRSequence*>(elements[0]));
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(TextOf(ElementsOf(*dynamic_cast<const VRSequenceItem*>(items[0]))[0]), "AB");
  EXPECT_TRUE(dynamic_cast<const VRSequenceItem*>(items[1])->Elements().empty());
  EXPECT_EQ(TextOf(elements[1]), "CT");
}

TEST(Parser, ZeroLengthSequenceIsEmptyAndReadsNothingMore) {
  Bytes bytes;
  bytes.explicit_long(0x0008, 0x1115, "SQ", 0).explicit_short(0x0010, 0x0010, "PN", 2).text("AB");
  DicomData data(false);
  ParserOver(bytes, kExplicit).Parse(&data);
  const auto elements = ElementsOf(data);
  ASSERT_EQ(elements.size(), 2u);
  const auto* sequence = dynamic_cast<const VRSequence*>(elements[0]);
  ASSERT_NE(sequence, nullptr);
  EXPECT_TRUE(sequence->Elements().empty());
  EXPECT_EQ(TextOf(elements[1]), "AB");
}

TEST(Parser, ItemDelimiterAtTheTopEndsTheParseWithBytesLeft) {
  Bytes bytes;
  bytes.explicit_short(0x0010, 0x0010, "PN", 2).text("AB").item_end();
  const std::size_t delimiterEnd = bytes.data().size();
  bytes.explicit_short(0x0008, 0x0060, "CS", 2).text("CT");
  Parser parser = ParserOver(bytes, kExplicit);
  DicomData data(false);
  parser.Parse(&data);
  const auto elements = ElementsOf(data);
  ASSERT_EQ(elements.size(), 2u);
  EXPECT_TRUE(HasTag(elements[1], kItemGroup, kItemDelimiterElement));
  EXPECT_EQ(parser.Position(), delimiterEnd);
}

TEST(Parser, ValueOfACodeWithoutValueClassIsReadAsTheNextElement) {
  Bytes value;
  value.explicit_short(0x0010, 0x0010, "PN", 2).text("XY");
  Bytes bytes;
  bytes.explicit_long(0x0040, 0xA160, "UT", static_cast<std::uint32_t>(value.data().size()));
  bytes.data().insert(bytes.data().end(), value.data().begin(), value.data().end());
  DicomData data(false);
  ParserOver(bytes, kExplicit).Parse(&data);
  const auto elements = ElementsOf(data);
  ASSERT_EQ(elements.size(), 1u);
  EXPECT_TRUE(HasTag(elements[0], 0x0010, 0x0010));
  EXPECT_EQ(TextOf(elements[0]), "XY");
}

// The stream an image load sees: meta header, elements, a sequence, pixels, trailing padding.
Bytes ImageStream() {
  Bytes bytes;
  bytes.explicit_short(0x0002, 0x0010, "UI", 20).text("1.2.840.10008.1.2.1").u8(0);
  bytes.explicit_short(0x0008, 0x0060, "CS", 2).text("CT");
  bytes.explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item(kUndefinedLength);
  bytes.explicit_short(0x0010, 0x0010, "PN", 2).text("AB").item_end().item(10);
  bytes.explicit_short(0x0010, 0x0010, "PN", 2).text("CD").seq_end();
  bytes.explicit_long(0x7FE0, 0x0010, "OW", 4).raw({1, 2, 3, 4});
  bytes.explicit_long(0xFFFC, 0xFFFC, "OB", 2).raw({0, 0});
  return bytes;
}

TEST(Parser, StopTagBuildsOnlyTheSyntaxAndThePixelsAndStopsRightAfter) {
  const Bytes bytes = ImageStream();
  Parser parser = ParserOver(bytes, kExplicit);
  DicomData data(false);
  parser.ParseUpTo(&data, 0x7FE0, 0x0010);
  const auto elements = ElementsOf(data);
  ASSERT_EQ(elements.size(), 2u);
  EXPECT_TRUE(HasTag(elements[0], 0x0002, 0x0010));
  EXPECT_EQ(BytesOf(elements[1]), (std::vector<std::uint8_t>{1, 2, 3, 4}));
  EXPECT_EQ(parser.Position(), bytes.data().size() - 14);
  EXPECT_TRUE(parser.Switched());
  EXPECT_EQ(parser.DataSetSyntax(), kExplicit);
}

TEST(Parser, ParseUpToNoTagIsAFullParse) {
  const Bytes bytes = ImageStream();
  DicomData full(false);
  ParserOver(bytes, kExplicit).Parse(&full);
  DicomData upToNothing(false);
  ParserOver(bytes, kExplicit).ParseUpTo(&upToNothing, 0, 0);
  EXPECT_EQ(full.Elements().size(), 5u);
  EXPECT_EQ(Described(upToNothing), Described(full));
}

TEST(Parser, WithoutContainerElementsAreReadAndDropped) {
  const Bytes bytes = ImageStream();
  Parser parser = ParserOver(bytes, kExplicit);
  parser.Parse(nullptr);
  EXPECT_EQ(parser.Position(), bytes.data().size());
  EXPECT_TRUE(parser.Switched());
}

TEST(Parser, TransferSyntaxUidSwitchesGroupsFromThreeUp) {
  Bytes bytes;
  bytes.explicit_short(0x0002, 0x0010, "UI", 18).text("1.2.840.10008.1.2").u8(0);
  bytes.explicit_short(0x0002, 0x0012, "UI", 2).text("1").u8(0);  // still the header syntax
  bytes.implicit(0x0008, 0x0060, 2).text("CT");
  DicomData data(false);
  Parser parser = ParserOver(bytes, kExplicit);
  parser.Parse(&data);
  EXPECT_EQ(parser.DataSetSyntax(), kImplicit);
  ASSERT_EQ(data.Elements().size(), 3u);
  EXPECT_EQ(TextOf(data.Find(0x0002, 0x0012)), "1");
  EXPECT_EQ(data.Find(0x0008, 0x0060)->Code(), "CS");
  EXPECT_EQ(TextOf(data.Find(0x0008, 0x0060)), "CT");
}

TEST(Parser, UnknownTransferSyntaxReadsCodesAndFourByteLengths) {
  Bytes bytes;
  bytes.explicit_short(0x0002, 0x0010, "UI", 22).text("1.2.840.10008.1.2.4.80");
  bytes.u16(0x0008).u16(0x0060).text("CS").u32(2).text("CT");
  DicomData data(false);
  Parser parser = ParserOver(bytes, kExplicit);
  parser.Parse(&data);
  EXPECT_TRUE(parser.Switched());
  EXPECT_EQ(parser.DataSetSyntax(), SyntaxRecord{});
  EXPECT_EQ(TextOf(data.Find(0x0008, 0x0060)), "CT");
}

// A stream `depth` sequences deep, each of one undefined-length item.
Bytes Nested(int depth) {
  Bytes bytes;
  for (int level = 0; level < depth; ++level)
    bytes.explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item(kUndefinedLength);
  for (int level = 0; level < depth; ++level) bytes.item_end().seq_end();
  return bytes;
}

TEST(Parser, SequencesNestUpToTheLimit) {
  DicomData data(false);
  EXPECT_EQ(FailureOf([&] { ParserOver(Nested(Parser::kMaxNestingDepth), kExplicit).Parse(&data); }),
            "(no failure)");
  EXPECT_EQ(FailureOf([&] { ParserOver(Nested(Parser::kMaxNestingDepth + 1), kExplicit).Parse(nullptr); }),
            "The sequences are nested more than 64 levels deep.");
}

TEST(Parser, DamagedStreamsFailWithTheirMessageAndKeepWhatCameBefore) {
  struct Row {
    const char* what;
    Bytes stream;
    bool upToPixels;
    const char* failure;
  };
  const auto afterName = [](Bytes bytes) {
    Bytes stream;
    stream.explicit_short(0x0010, 0x0010, "PN", 2).text("AB");
    stream.data().insert(stream.data().end(), bytes.data().begin(), bytes.data().end());
    return stream;
  };
  const Row rows[] = {
      {"undefined item in a defined sequence",
       afterName(Bytes().explicit_long(0x0008, 0x1115, "SQ", 16).item(kUndefinedLength).item_end()), false,
       "Defined length sequence contains undefined length item."},
      {"element where an item belongs",
       afterName(Bytes().explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).explicit_short(0x0010, 0x0020, "LO", 0)
                     .zeros(4)),
       false, "Invalid tag found where a sequence item was expected."},
      {"item delimiter where an item belongs",
       afterName(Bytes().explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item_end()), false,
       "Invalid tag found where a sequence item was expected."},
      {"value cut short", afterName(Bytes().explicit_short(0x0010, 0x0020, "LO", 10).text("ABCD")), false,
       kBufferTooShort},
      {"header cut short", afterName(Bytes().u16(0x0010).u16(0x0020).text("L")), false, kBufferTooShort},
      {"length near 2^32, nothing allocated",
       afterName(Bytes().explicit_long(0x0009, 0x1010, "OB", 0xFFFFFFF0).zeros(8)), false, kBufferTooShort},
      {"length near 2^32 passed over while seeking the pixels",
       afterName(Bytes().explicit_long(0x0009, 0x1010, "OB", 0xFFFFFFF0).zeros(8)), true, kBufferTooShort},
      {"sequence with no end", afterName(Bytes().explicit_long(0x0008, 0x1115, "SQ", kUndefinedLength).item(0)),
       false, kBufferTooShort},
      {"fragment of undefined length",
       afterName(Bytes().explicit_long(0x7FE0, 0x0010, "OB", kUndefinedLength).item(kUndefinedLength).zeros(8)),
       false, kBufferTooShort},
  };
  for (const Row& row : rows) {
    DicomData data(false);
    Parser parser = ParserOver(row.stream, kExplicit);
    EXPECT_EQ(FailureOf([&] {
                if (row.upToPixels)
                  parser.ParseUpTo(&data, 0x7FE0, 0x0010);
                else
                  parser.Parse(&data);
              }),
              row.failure)
        << row.what;
    EXPECT_EQ(data.Elements().size(), row.upToPixels ? 0u : 1u) << row.what;
  }
  Parser withoutReader(nullptr, kExplicit, TestDictionary());
  EXPECT_EQ(FailureOf([&] { withoutReader.Parse(nullptr); }), "The parser buffer is NULL.");
}

}  // namespace
