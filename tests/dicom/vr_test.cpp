// Elements written as bytes, and the containers: order, duplicates, group lengths and pixel data.
// (Values read from bytes are tested through the parser.)
#include "dicom/vr.h"

#include <gtest/gtest.h>

#include <utility>

#include "dicom/vr_container.h"
#include "test_support.h"

namespace {

using namespace DicomEngine;
using namespace dicom_test;
using Tag = std::pair<std::uint16_t, std::uint16_t>;

std::vector<std::uint8_t> Written(VRContainer& data, std::uint32_t vrKind) {
  BufferWriter writer;
  writer.SetSyntax({kLittleEndian, vrKind});
  data.WriteValue(writer);
  return {writer.Data(), writer.Data() + writer.Cursor()};
}

// Cases the file writer's tests don't meet, each element beside its bytes.
TEST(VRWrite, HeadersValuesAndMeasuredLengths) {
  DicomData data(false);
  Bytes expected;
  data.Add(std::make_unique<VRString>("UT", 0x0040, 0xA160, 4, "TEXT"), false);
  expected.explicit_long(0x0040, 0xA160, "UT", 4).text("TEXT");
  data.Add(std::make_unique<VRBinary>("OW", 0x0009, 0x1010, 2, nullptr), false);
  expected.explicit_long(0x0009, 0x1010, "OW", 4).zeros(4);  // no bytes: twice the length
  data.Add(std::make_unique<DoubleVR>("DS", 0x0028, 0x0030, 8, 1.5), false);
  expected.explicit_short(0x0028, 0x0030, "DS", 0);  // doubles are written as FL or FD only
  data.Add(std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0010, 3, std::vector<std::uint16_t>{1, 2}), false);
  expected.explicit_short(0x0028, 0x0010, "US", 4).u16(1).u16(2);
  EXPECT_EQ(Written(data, kExplicitVR), expected.data);
  EXPECT_EQ(data.Find(0x0028, 0x0010)->LengthField(), 4u);  // the length written
}

std::vector<Tag> TagsOf(const VRContainer& container) {
  std::vector<Tag> tags;
  for (const auto& vr : container.Elements()) tags.emplace_back(vr->Group(), vr->Element());
  return tags;
}

TEST(VRContainer, AddRefusesARepeatedTagUnlessTheNewElementIsEmpty) {
  DicomData data(false);
  data.Add(Text("PN", 0x0010, 0x0010, "AB"), true);
  data.Add(Text("PN", 0x0010, 0x0010, ""), true);  // length 0: kept beside the first
  ASSERT_EQ(data.Elements().size(), 2u);
  EXPECT_EQ(TextOf(data.Find(0x0010, 0x0010)), "AB");
  EXPECT_EQ(FailureOf([&] { data.Add(Text("PN", 0x0010, 0x0010, "CD"), true); }),
            "Attempt to reinsert an existing VR. \r\nVR= (0010, 0010) VR=PN Length=2<=>0x2 Value=[CD]");
  EXPECT_EQ(data.Elements().size(), 2u);
}

TEST(VRContainer, AddSortedKeepsTagOrderAndBringsGroupLengths) {
  DicomData data(true);
  data.AddSorted(Text("LO", 0x0010, 0x0020, "ID"));
  data.AddSorted(Text("PN", 0x0010, 0x0010, "NAME"));
  data.AddSorted(Text("LO", 0x0FFF, 0x0010, "X"));   // low four bits all ones: appended, outside the order
  data.AddSorted(Text("CS", 0x0008, 0x0060, "MR"));  // first, the walk stepping over 0FFF
  data.AddSorted(Text("CS", 0x0028, 0x0004, "RGB"));
  EXPECT_EQ(TagsOf(data), (std::vector<Tag>{{0x0008, 0x0000}, {0x0008, 0x0060}, {0x0010, 0x0000}, {0x0010, 0x0010},
                                            {0x0010, 0x0020}, {0x0FFF, 0x0010}, {0x0028, 0x0000}, {0x0028, 0x0004}}));
  EXPECT_EQ(Described(data.Find(0x0010, 0x0000)), "(0010, 0000) VR=UL Length=4<=>0x4");
  EXPECT_EQ(NumbersOf(data.Find(0x0010, 0x0000)), std::vector<double>{0});
  data.AddSorted(Text("PN", 0x0010, 0x0010, "AGAIN"));  // no duplicate check before another element
  EXPECT_EQ(data.Elements().size(), 9u);
  EXPECT_NE(FailureOf([&] { data.AddSorted(Text("CS", 0x0028, 0x0004, "RGB")); }), "(no failure)");  // at the end
}

TEST(VRContainer, WritingCorrectsGroupLengthsEachCountingUpToTheNext) {
  DicomData data(true);
  data.Add(std::make_unique<UnsignedIntegerVR>("UL", 0x0008, 0x0000, 4, 99u), true);  // wrong, set by hand
  data.Add(Text("CS", 0x0008, 0x0060, "MR"), true);
  data.Add(Text("PN", 0x0010, 0x0010, "AB"), true);  // a group without group length of its own
  data.AddSorted(Text("CS", 0x0028, 0x0004, "RGB"));
  Bytes expected;
  expected.implicit(0x0008, 0x0000, 4).u32(20).implicit(0x0008, 0x0060, 2).text("MR");
  expected.implicit(0x0010, 0x0010, 2).text("AB");
  expected.implicit(0x0028, 0x0000, 4).u32(12).implicit(0x0028, 0x0004, 4).text("RGB ");
  EXPECT_EQ(Written(data, kImplicitVR), expected.data);
  EXPECT_EQ(NumbersOf(data.Find(0x0008, 0x0000)), std::vector<double>{20});
}

TEST(VRContainer, PixelDataWholeOrJoinedFromFragments) {
  const auto pixelsOf = [](std::unique_ptr<VR> pixels) {
    DicomData data(false);
    data.Add(std::move(pixels), false);
    return PixelsOf(data);
  };
  const auto fragment = [](std::uint32_t length, std::unique_ptr<std::uint8_t[]> bytes) {
    return std::make_unique<VRBinarySequenceItem>(length, std::move(bytes));
  };
  using Pixels = std::vector<std::uint8_t>;
  EXPECT_EQ(pixelsOf(std::make_unique<VRBinary>("OW", 0x7FE0, 0x0010, 2, Block({0x34, 0x12}))), (Pixels{0x34, 0x12}));
  // The basic offset table is joined like any fragment.
  EXPECT_EQ(pixelsOf(Sequence("OB", 0x7FE0, 0x0010, kUndefinedLength, fragment(4, Block({9, 9, 9, 9})),
                              fragment(3, Block({1, 2, 3})), fragment(2, Block({4, 5})))),
            (Pixels{9, 9, 9, 9, 1, 2, 3, 4, 5}));
  EXPECT_EQ(pixelsOf(Sequence("OB", 0x7FE0, 0x0010, kUndefinedLength, fragment(0, nullptr))), Pixels{});
  EXPECT_EQ(pixelsOf(Text("LO", 0x7FE0, 0x0008, "AB")), Pixels{});  // no pixel data
  EXPECT_EQ(FailureOf([&] { DicomData(false).GetPixelData(nullptr); }),
            "The Pixel data buffer pointer is NULL.");
}

}  // namespace
