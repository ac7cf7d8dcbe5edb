#include "dicom/vr_container.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "byte_builder.h"

namespace {

using namespace DicomEngine;
using dicom_test::Bytes;
using dicom_test::FailureOf;
using Tag = std::pair<std::uint16_t, std::uint16_t>;

std::unique_ptr<VR> Text(std::uint16_t group, std::uint16_t element, std::string text, const char* code = "LO") {
  const auto length = static_cast<std::uint32_t>(text.size());
  return std::make_unique<VRString>(code, group, element, length, std::move(text));
}

std::unique_ptr<std::uint8_t[]> Block(std::initializer_list<std::uint8_t> bytes) {
  auto block = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), block.get());
  return block;
}

std::unique_ptr<VR> Fragment(std::initializer_list<std::uint8_t> bytes) {
  return std::make_unique<VRBinarySequenceItem>(static_cast<std::uint32_t>(bytes.size()),
                                                bytes.size() > 0 ? Block(bytes) : nullptr);
}

std::vector<Tag> TagsOf(const VRContainer& container) {
  std::vector<Tag> tags;
  for (const auto& vr : container.Elements()) tags.emplace_back(vr->Group(), vr->Element());
  return tags;
}

std::vector<std::uint8_t> Written(VRContainer& container, const SyntaxRecord& syntax) {
  BufferWriter writer;
  writer.SetSyntax(syntax);
  container.WriteValue(writer);
  return std::vector<std::uint8_t>(writer.Data(), writer.Data() + writer.Cursor());
}

constexpr SyntaxRecord kExplicit{1, 2};
constexpr SyntaxRecord kImplicit{1, 1};

TEST(VRContainer, AddRefusesARepeatedTagUnlessTheNewElementIsEmpty) {
  DicomData data(false);
  data.Add(nullptr, true);
  data.Add(Text(0x0010, 0x0010, "AB", "PN"), true);
  data.Add(Text(0x0010, 0x0010, ""), true);  // length 0: kept beside the first
  ASSERT_EQ(data.Elements().size(), 2u);
  EXPECT_EQ(static_cast<const VRString*>(data.Find(0x0010, 0x0010))->Value(), "AB");

  EXPECT_EQ(FailureOf([&] { data.Add(Text(0x0010, 0x0010, "CD", "PN"), true); }),
            "Attempt to reinsert an existing VR. \r\nVR= (0010, 0010) VR=PN Length=2<=>0x2 Value=[CD]");
  EXPECT_EQ(data.Elements().size(), 2u);

  // The message is cut to its 256-character buffer.
  const std::string longText(300, 'X');
  const std::string message =
      "Attempt to reinsert an existing VR. \r\nVR= (0010, 0010) VR=LO Length=300<=>0x12C Value=[" + longText + "]";
  EXPECT_EQ(FailureOf([&] { data.Add(Text(0x0010, 0x0010, longText), true); }), message.substr(0, 255));

  data.Add(Text(0x0010, 0x0010, "EF"), false);  // the parser's way: no check
  EXPECT_EQ(data.Elements().size(), 3u);
  EXPECT_EQ(data.Find(0x0010, 0x0011), nullptr);
}

TEST(VRContainer, AddSortedKeepsTagOrderAndBringsGroupLengths) {
  DicomData data(true);
  data.AddSorted(Text(0x0010, 0x0020, "ID"));
  EXPECT_EQ(data.Elements().size(), 2u);  // a new group brings its group length
  data.AddSorted(Text(0x0010, 0x0010, "NAME"));
  EXPECT_EQ(TagsOf(data), (std::vector<Tag>{{0x0010, 0x0000}, {0x0010, 0x0010}, {0x0010, 0x0020}}));

  const auto* groupLength = dynamic_cast<const UnsignedIntegerVR*>(data.Find(0x0010, 0x0000));
  ASSERT_NE(groupLength, nullptr);
  EXPECT_EQ(groupLength->Code(), "UL");
  EXPECT_EQ(groupLength->LengthField(), 4u);
  EXPECT_EQ(groupLength->Values(), std::vector<std::uint32_t>{0});

  data.AddSorted(Text(0x0008, 0x0060, "MR"));   // before the first group
  data.AddSorted(Text(0x0028, 0x0004, "RGB"));  // after the last
  data.AddSorted(Text(0x0010, 0x0030, "DATE"));
  EXPECT_EQ(TagsOf(data), (std::vector<Tag>{{0x0008, 0x0000},
                                            {0x0008, 0x0060},
                                            {0x0010, 0x0000},
                                            {0x0010, 0x0010},
                                            {0x0010, 0x0020},
                                            {0x0010, 0x0030},
                                            {0x0028, 0x0000},
                                            {0x0028, 0x0004}}));

  DicomData plain(false);
  plain.AddSorted(Text(0x0010, 0x0020, "ID"));
  plain.AddSorted(Text(0x0008, 0x0060, "MR"));
  EXPECT_EQ(TagsOf(plain), (std::vector<Tag>{{0x0008, 0x0060}, {0x0010, 0x0020}}));
}

TEST(VRContainer, AddSortedChecksDuplicatesOnlyAtTheEnd) {
  DicomData data(false);
  data.AddSorted(Text(0x0010, 0x0010, "A"));
  data.AddSorted(Text(0x0010, 0x0020, "B"));
  data.AddSorted(Text(0x0010, 0x0010, "C"));  // stops before (0010,0020): no check there
  EXPECT_EQ(TagsOf(data), (std::vector<Tag>{{0x0010, 0x0010}, {0x0010, 0x0010}, {0x0010, 0x0020}}));
  EXPECT_NE(FailureOf([&] { data.AddSorted(Text(0x0010, 0x0020, "D")); }), "(no failure)");
  EXPECT_EQ(data.Elements().size(), 3u);
}

TEST(VRContainer, GroupsWithAllOnesInTheLowFourBitsStandOutsideTheOrder) {
  DicomData data(true);
  data.AddSorted(Text(0x0FFF, 0x0010, "X"));  // appended as it is, with no group length
  data.AddSorted(Text(0x0008, 0x0060, "MR"));  // the walk steps over it and ends
  data.AddSorted(Text(0x0010, 0x0010, "N"));
  data.AddSorted(Text(0x0008, 0x0070, "V"));
  EXPECT_EQ(TagsOf(data), (std::vector<Tag>{{0x0FFF, 0x0010},
                                            {0x0008, 0x0000},
                                            {0x0008, 0x0060},
                                            {0x0008, 0x0070},
                                            {0x0010, 0x0000},
                                            {0x0010, 0x0010}}));
  EXPECT_NE(FailureOf([&] { data.AddSorted(Text(0x0FFF, 0x0010, "Y")); }), "(no failure)");
}

TEST(VRContainer, EmptyAndJoinedDescriptionsAndLengths) {
  DicomData data(false);
  std::string out = "x";
  EXPECT_EQ(data.Print(out), "x");
  EXPECT_EQ(data.GetLength(), 0u);

  data.Add(Text(0x0008, 0x0060, "MR", "CS"), true);
  data.Add(Text(0x0010, 0x0010, "ABCD", "PN"), true);
  EXPECT_EQ(data.Print(out),
            "x(0008, 0060) VR=CS Length=2<=>0x2 Value=[MR]\r\n(0010, 0010) VR=PN Length=4<=>0x4 Value=[ABCD]");
  EXPECT_EQ(data.GetLength(), 6u);
  EXPECT_EQ(data.FileName(), "");
  EXPECT_TRUE(data.IsStoredFile());
}

TEST(VRContainer, WritingCorrectsEachGroupLength) {
  DicomData data(true);
  data.Add(std::make_unique<UnsignedIntegerVR>("UL", 0x0008, 0x0000, 4, 99u), true);  // a wrong value, by hand
  data.AddSorted(Text(0x0008, 0x0060, "MR", "CS"));
  data.AddSorted(Text(0x0010, 0x0010, "AB", "PN"));
  const std::vector<std::uint8_t> expected = Bytes()
                                                 .explicit_short(0x0008, 0x0000, "UL", 4)
                                                 .u32(10)
                                                 .explicit_short(0x0008, 0x0060, "CS", 2)
                                                 .text("MR")
                                                 .explicit_short(0x0010, 0x0000, "UL", 4)
                                                 .u32(10)
                                                 .explicit_short(0x0010, 0x0010, "PN", 2)
                                                 .text("AB")
                                                 .data();
  EXPECT_EQ(Written(data, kExplicit), expected);
  const auto* handSet = static_cast<const UnsignedIntegerVR*>(data.Find(0x0008, 0x0000));
  EXPECT_EQ(handSet->Values(), std::vector<std::uint32_t>{10});
  EXPECT_EQ(static_cast<const UnsignedIntegerVR*>(data.Find(0x0010, 0x0000))->Values(),
            std::vector<std::uint32_t>{10});
}

TEST(VRContainer, AGroupLengthCountsUpToTheNextGroupLength) {
  DicomData data(true);
  data.Add(std::make_unique<UnsignedIntegerVR>("UL", 0x0008, 0x0000, 4, 0u), true);
  data.Add(Text(0x0008, 0x0060, "MR", "CS"), true);
  data.Add(Text(0x0010, 0x0010, "AB", "PN"), true);  // its group has no group length of its own
  const std::vector<std::uint8_t> written = Written(data, kImplicit);
  EXPECT_EQ(written, Bytes()
                         .implicit(0x0008, 0x0000, 4)
                         .u32(20)
                         .implicit(0x0008, 0x0060, 2)
                         .text("MR")
                         .implicit(0x0010, 0x0010, 2)
                         .text("AB")
                         .data());

  DicomData manual(false);  // without auto group length the value is written as it stands
  manual.Add(std::make_unique<UnsignedIntegerVR>("UL", 0x0008, 0x0000, 4, 99u), true);
  manual.Add(Text(0x0008, 0x0060, "MR", "CS"), true);
  EXPECT_EQ(Written(manual, kImplicit),
            Bytes().implicit(0x0008, 0x0000, 4).u32(99).implicit(0x0008, 0x0060, 2).text("MR").data());
}

std::unique_ptr<VRSequenceItem> ItemWithUid(std::uint32_t length, bool delimited) {
  auto item = std::make_unique<VRSequenceItem>(kItemElement, length);
  item->Add(std::make_unique<VRUniqueIdentifier>("UI", 0x0008, 0x1150, 3, "1.2"), true);
  if (delimited) item->Add(std::make_unique<VRSequenceItem>(kItemDelimiterElement, 0), true);
  return item;
}

TEST(VRSequence, WritesItemsAndDelimitersAsTheyStand) {
  DicomData data(false);
  auto undefined = std::make_unique<VRSequence>("SQ", 0x0008, 0x1140, kUndefinedLength);
  undefined->Add(ItemWithUid(kUndefinedLength, true), false);
  undefined->Add(std::make_unique<VRSequenceItem>(kSequenceDelimiterElement, 0), false);
  data.Add(std::move(undefined), true);
  auto defined = std::make_unique<VRSequence>("SQ", 0x0008, 0x1199, 0);
  defined->Add(ItemWithUid(0, false), false);
  data.Add(std::move(defined), true);

  EXPECT_EQ(Written(data, kExplicit), Bytes()
                                          .explicit_long(0x0008, 0x1140, "SQ", kUndefinedLength)
                                          .item(kUndefinedLength)
                                          .explicit_short(0x0008, 0x1150, "UI", 4)
                                          .text("1.2")
                                          .u8(0)
                                          .item_end()
                                          .seq_end()
                                          .explicit_long(0x0008, 0x1199, "SQ", 20)
                                          .item(12)
                                          .explicit_short(0x0008, 0x1150, "UI", 4)
                                          .text("1.2")
                                          .u8(0)
                                          .data());
  EXPECT_EQ(data.Find(0x0008, 0x1140)->LengthField(), kUndefinedLength);
  EXPECT_EQ(data.Find(0x0008, 0x1199)->LengthField(), 20u);
}

TEST(VRSequence, DescribesItselfAndItsItems) {
  VRSequence sequence("SQ", 0x0008, 0x1140, kUndefinedLength);
  std::string out;
  EXPECT_EQ(sequence.Print(out), "(0008, 1140) VR=SQ Length=4294967295<=>0xFFFFFFFF");
  sequence.Add(ItemWithUid(kUndefinedLength, false), false);
  out.clear();
  EXPECT_EQ(sequence.Print(out),
            "(0008, 1140) VR=SQ Length=4294967295<=>0xFFFFFFFF\r\n"
            "(FFFE, E000) VR= Length=4294967295<=>0xFFFFFFFF\r\n"
            "(0008, 1150) VR=UI Length=3<=>0x3 Value=[1.2]");
  EXPECT_EQ(sequence.GetLength(), 3u);  // the items' values, not the length field
}

struct PixelResult {
  std::unique_ptr<std::uint8_t[]> data;
  std::uint32_t length;
  std::vector<std::uint8_t> Bytes() const {
    return data ? std::vector<std::uint8_t>(data.get(), data.get() + length) : std::vector<std::uint8_t>();
  }
};

template <typename Source>
PixelResult PixelsOf(const Source& source) {
  std::uint8_t* data = reinterpret_cast<std::uint8_t*>(1);
  std::uint32_t length = 77;
  source.GetPixelData(&data, &length);
  return {std::unique_ptr<std::uint8_t[]>(data), length};
}

TEST(VRSequence, JoinsThePixelFragmentsOffsetTableIncluded) {
  VRSequence fragments("OB", 0x7FE0, 0x0010, kUndefinedLength);
  fragments.Add(Fragment({9, 9, 9, 9}), false);  // a basic offset table is joined like any fragment
  fragments.Add(Fragment({1, 2, 3}), false);
  fragments.Add(Fragment({4, 5}), false);
  fragments.Add(std::make_unique<VRSequenceItem>(kSequenceDelimiterElement, 0), false);
  const PixelResult joined = PixelsOf(fragments);
  EXPECT_EQ(joined.length, 9u);
  EXPECT_EQ(joined.Bytes(), (std::vector<std::uint8_t>{9, 9, 9, 9, 1, 2, 3, 4, 5}));

  VRSequence single("OB", 0x7FE0, 0x0010, kUndefinedLength);
  single.Add(Fragment({}), false);
  const PixelResult none = PixelsOf(single);
  EXPECT_EQ(none.data, nullptr);
  EXPECT_EQ(none.length, 0u);

  std::uint32_t length = 0;
  EXPECT_EQ(FailureOf([&] { fragments.GetPixelData(nullptr, &length); }), "The Pixel data buffer pointer is NULL.");
}

TEST(VRContainer, GetPixelDataAsksThePixelElementWhateverItsForm) {
  DicomData whole(false);
  whole.Add(std::make_unique<VRBinary>("OW", 0x7FE0, 0x0010, 2, Block({0x34, 0x12})), true);
  EXPECT_EQ(PixelsOf(whole).Bytes(), (std::vector<std::uint8_t>{0x34, 0x12}));

  DicomData encapsulated(false);
  auto sequence = std::make_unique<VRSequence>("OB", 0x7FE0, 0x0010, kUndefinedLength);
  sequence->Add(Fragment({}), false);
  sequence->Add(Fragment({7, 8}), false);
  encapsulated.Add(std::move(sequence), true);
  EXPECT_EQ(PixelsOf(encapsulated).Bytes(), (std::vector<std::uint8_t>{7, 8}));

  DicomData absent(false);
  absent.Add(Text(0x0010, 0x0010, "AB"), true);
  const PixelResult nothing = PixelsOf(absent);
  EXPECT_EQ(nothing.data, nullptr);
  EXPECT_EQ(nothing.length, 0u);

  DicomData notPixels(false);
  notPixels.Add(Text(0x7FE0, 0x0010, "AB"), true);
  EXPECT_EQ(PixelsOf(notPixels).length, 0u);

  std::uint8_t* data = nullptr;
  EXPECT_EQ(FailureOf([&] { absent.GetPixelData(&data, nullptr); }), "The Pixel data buffer pointer is NULL.");
}

}  // namespace
