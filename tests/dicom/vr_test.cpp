#include "dicom/vr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "byte_builder.h"

namespace {

using namespace DicomEngine;
using dicom_test::Bytes;
using dicom_test::FailureOf;

constexpr SyntaxRecord kExplicit{1, 2};
constexpr SyntaxRecord kImplicit{1, 1};

struct Parsed {
  std::unique_ptr<VR> vr;
  std::uint32_t consumed;
};

Parsed Parse(std::vector<std::uint8_t> bytes, const std::string& code, std::uint32_t length) {
  MultiChunkBuffer buffer;
  buffer.AddChunk(bytes.data(), static_cast<std::uint32_t>(bytes.size()), false);
  BufferReader reader(buffer);
  std::unique_ptr<VR> vr = ReadValue(reader, code, 0x0029, 0x0010, length);
  return {std::move(vr), reader.Cursor()};
}

// The values of any numeric or AT element as doubles, pairs flattened.
std::vector<double> ValuesOf(const VR& vr) {
  std::vector<double> values;
  auto take = [&](const auto* numeric) {
    if (numeric != nullptr) values.assign(numeric->Values().begin(), numeric->Values().end());
  };
  take(dynamic_cast<const IntegerVR*>(&vr));
  take(dynamic_cast<const UnsignedIntegerVR*>(&vr));
  take(dynamic_cast<const SignedShortVR*>(&vr));
  take(dynamic_cast<const UnsignedShortVR*>(&vr));
  take(dynamic_cast<const DoubleVR*>(&vr));
  if (const auto* tags = dynamic_cast<const VRAttributeTag*>(&vr)) {
    for (const auto& [group, element] : tags->Tags()) values.insert(values.end(), {double(group), double(element)});
  }
  return values;
}

TEST(ReadValue, NumbersAreCountedByWidthRoundingUp) {
  const struct {
    const char* what;
    const char* code;
    std::vector<std::uint8_t> bytes;
    std::uint32_t length;
    const std::type_info& type;
    std::vector<double> values;
    std::uint32_t consumed;
  } cases[] = {
      {"US of length 3 reads two values", "US", {1, 0, 2, 0, 9}, 3, typeid(UnsignedShortVR), {1, 2}, 4},
      {"US of length 0 reads none", "US", {1, 0}, 0, typeid(UnsignedShortVR), {}, 0},
      {"SS is signed", "SS", {0xFE, 0xFF}, 2, typeid(SignedShortVR), {-2}, 2},
      {"UL", "UL", {0x78, 0x56, 0x34, 0x12}, 4, typeid(UnsignedIntegerVR), {0x12345678}, 4},
      {"SL 0x00012345 keeps 0x2345", "SL", {0x45, 0x23, 0x01, 0x00}, 4, typeid(IntegerVR), {0x2345}, 4},
      {"FL widened to double", "FL", {0, 0, 0xC0, 0x3F, 0, 0, 0, 0xC0}, 8, typeid(DoubleVR), {1.5, -2}, 8},
      {"FL of length 6 reads two floats", "FL", {0, 0, 0xC0, 0x3F, 0, 0, 0, 0xC0}, 6, typeid(DoubleVR), {1.5, -2}, 8},
      {"FD", "FD", {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}, 8, typeid(DoubleVR), {1.5}, 8},
      {"AT of length 2 reads nothing", "AT", {0x10, 0, 0x20, 0}, 2, typeid(VRAttributeTag), {}, 0},
      {"AT of length 8 reads two pairs", "AT", {0x10, 0, 0x20, 0, 0xE0, 0x7F, 0x10, 0}, 8, typeid(VRAttributeTag),
       {0x10, 0x20, 0x7FE0, 0x10}, 8},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Parsed parsed = Parse(c.bytes, c.code, c.length);
    ASSERT_NE(parsed.vr, nullptr);
    const VR& vr = *parsed.vr;
    EXPECT_EQ(typeid(vr), c.type);
    EXPECT_EQ(ValuesOf(*parsed.vr), c.values);
    EXPECT_EQ(parsed.consumed, c.consumed);
    EXPECT_EQ(parsed.vr->LengthField(), c.length);
    EXPECT_EQ(parsed.vr->Code(), c.code);
  }
}

TEST(ReadValue, TextBinaryAndCodesWithoutAClass) {
  const Parsed name = Parse({'A', 'B', 0, 'C', 'D'}, "PN", 5);
  ASSERT_NE(dynamic_cast<const VRString*>(name.vr.get()), nullptr);
  EXPECT_EQ(static_cast<const VRString&>(*name.vr).Value(), "AB");
  EXPECT_EQ(name.vr->LengthField(), 5u);
  EXPECT_EQ(name.consumed, 5u);

  const Parsed uid = Parse({'1', '.', '2', 0}, "UI", 4);
  ASSERT_NE(dynamic_cast<const VRUniqueIdentifier*>(uid.vr.get()), nullptr);
  EXPECT_EQ(static_cast<const VRString&>(*uid.vr).Value(), "1.2");

  for (const char* code : {"OB", "OW", "UN", "OT", ""}) {
    const Parsed binary = Parse({7, 8, 9}, code, 3);
    ASSERT_NE(dynamic_cast<const VRBinary*>(binary.vr.get()), nullptr) << code;
    EXPECT_EQ(std::vector<std::uint8_t>(static_cast<const VRBinary&>(*binary.vr).Data(),
                                        static_cast<const VRBinary&>(*binary.vr).Data() + 3),
              (std::vector<std::uint8_t>{7, 8, 9}));
  }

  const struct {
    const char* code;
    std::uint32_t length;
  } unbuilt[] = {{"UT", 2}, {"OF", 4}, {"SQ", 4}, {"XX", 2}, {"OB", kUndefinedLength}};
  for (const auto& c : unbuilt) {
    const Parsed parsed = Parse({1, 2, 3, 4}, c.code, c.length);
    EXPECT_EQ(parsed.vr, nullptr) << c.code;
    EXPECT_EQ(parsed.consumed, 0u) << c.code;
  }

  EXPECT_EQ(FailureOf([] { Parse({1, 0}, "US", 4); }),
            "The buffer is not long enough to perform the requested read operation.");
}

std::vector<std::uint8_t> Written(VR& vr, const SyntaxRecord& syntax) {
  BufferWriter writer;
  writer.SetSyntax(syntax);
  vr.Write(writer);
  return std::vector<std::uint8_t>(writer.Data(), writer.Data() + writer.Cursor());
}

std::unique_ptr<std::uint8_t[]> Block(std::initializer_list<std::uint8_t> bytes) {
  auto block = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), block.get());
  return block;
}

TEST(VRWrite, HeaderValueAndMeasuredLength) {
  using namespace std::string_literals;
  const struct {
    const char* what;
    std::function<std::unique_ptr<VR>()> make;
    SyntaxRecord syntax;
    std::vector<std::uint8_t> expected;
    std::uint32_t lengthAfter;
  } cases[] = {
      {"odd text padded with a blank",
       [] { return std::make_unique<VRString>("PN", 0x0010, 0x0010, 3, "ABC"); }, kExplicit,
       Bytes().explicit_short(0x0010, 0x0010, "PN", 4).text("ABC ").data(), 4},
      {"odd UID padded with one NUL",
       [] { return std::make_unique<VRUniqueIdentifier>("UI", 0x0008, 0x0018, 5, "1.2.3"); }, kExplicit,
       Bytes().explicit_short(0x0008, 0x0018, "UI", 6).text("1.2.3").u8(0).data(), 6},
      {"empty text of length 3 writes blanks",
       [] { return std::make_unique<VRString>("LO", 0x0008, 0x0070, 3, ""); }, kExplicit,
       Bytes().explicit_short(0x0008, 0x0070, "LO", 4).text("    ").data(), 4},
      {"empty UID of length 3 writes NULs",
       [] { return std::make_unique<VRUniqueIdentifier>("UI", 0x0020, 0x000D, 3, ""); }, kExplicit,
       Bytes().explicit_short(0x0020, 0x000D, "UI", 4).zeros(4).data(), 4},
      {"text of undefined length takes the text's length",
       [] { return std::make_unique<VRString>("CS", 0x0008, 0x0060, kUndefinedLength, "MR"); }, kExplicit,
       Bytes().explicit_short(0x0008, 0x0060, "CS", 2).text("MR").data(), 2},
      {"implicit VR: no code, 4-byte length",
       [] { return std::make_unique<VRString>("PN", 0x0010, 0x0010, 3, "ABC"); }, kImplicit,
       Bytes().implicit(0x0010, 0x0010, 4).text("ABC ").data(), 4},
      {"UT takes the long length form",
       [] { return std::make_unique<VRString>("UT", 0x0040, 0xA160, 4, "TEXT"); }, kExplicit,
       Bytes().explicit_long(0x0040, 0xA160, "UT", 4).text("TEXT").data(), 4},
      {"a code other than FL or FD writes nothing",
       [] { return std::make_unique<DoubleVR>("DS", 0x0028, 0x0030, 8, 1.5); }, kExplicit,
       Bytes().explicit_short(0x0028, 0x0030, "DS", 0).data(), 0},
      {"FL as floats",
       [] { return std::make_unique<DoubleVR>("FL", 0x0018, 0x9087, 8, std::vector<double>{1.5, -2}); }, kExplicit,
       Bytes().explicit_short(0x0018, 0x9087, "FL", 8).raw({0, 0, 0xC0, 0x3F, 0, 0, 0, 0xC0}).data(), 8},
      {"FD as doubles", [] { return std::make_unique<DoubleVR>("FD", 0x0018, 0x9089, 8, 1.5); }, kExplicit,
       Bytes().explicit_short(0x0018, 0x9089, "FD", 8).raw({0, 0, 0, 0, 0, 0, 0xF8, 0x3F}).data(), 8},
      {"US values, the length rewritten from 3 to 4",
       [] { return std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0010, 3, std::vector<std::uint16_t>{1, 2}); },
       kExplicit, Bytes().explicit_short(0x0028, 0x0010, "US", 4).u16(1).u16(2).data(), 4},
      {"US values under the code SS write nothing",
       [] { return std::make_unique<UnsignedShortVR>("SS", 0x0028, 0x0106, 2, std::uint16_t{7}); }, kExplicit,
       Bytes().explicit_short(0x0028, 0x0106, "SS", 0).data(), 0},
      {"SL writes all four bytes", [] { return std::make_unique<IntegerVR>("SL", 0x0018, 0x6020, 4, -2); },
       kExplicit, Bytes().explicit_short(0x0018, 0x6020, "SL", 4).u32(0xFFFFFFFE).data(), 4},
      {"AT pairs", [] {
         return std::make_unique<VRAttributeTag>("AT", 0x0020, 0x5000, 4,
                                                 std::vector<VRAttributeTag::Tag>{{0x0010, 0x0020}});
       },
       kExplicit, Bytes().explicit_short(0x0020, 0x5000, "AT", 4).u16(0x0010).u16(0x0020).data(), 4},
      {"OB of odd length, long form",
       [] { return std::make_unique<VRBinary>("OB", 0x0009, 0x1010, 3, Block({7, 8, 9})); }, kExplicit,
       Bytes().explicit_long(0x0009, 0x1010, "OB", 3).raw({7, 8, 9}).data(), 3},
      {"binary without bytes takes twice its length",
       [] { return std::make_unique<VRBinary>("OW", 0x0009, 0x1010, 2, nullptr); }, kExplicit,
       Bytes().explicit_long(0x0009, 0x1010, "OW", 4).zeros(4).data(), 4},
      {"no code is written as blanks with a short length",
       [] { return std::make_unique<VRBinary>("", 0x0009, 0x1010, 2, Block({1, 2})); }, kExplicit,
       Bytes().explicit_short(0x0009, 0x1010, "  ", 2).raw({1, 2}).data(), 2},
      {"a fragment has no code in any syntax",
       [] { return std::make_unique<VRBinarySequenceItem>(2, Block({5, 6})); }, kExplicit,
       Bytes().item(2).raw({5, 6}).data(), 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::unique_ptr<VR> vr = c.make();
    EXPECT_EQ(Written(*vr, c.syntax), c.expected);
    EXPECT_EQ(vr->LengthField(), c.lengthAfter);
  }
}

TEST(VRString, SetValueRoundsTheLengthUpToEven) {
  VRString text("LO", 0x0008, 0x0070, 0, "");
  text.SetValue("ABC");
  EXPECT_EQ(text.Value(), "ABC");
  EXPECT_EQ(text.LengthField(), 4u);
  text.SetValue("AB");
  EXPECT_EQ(text.LengthField(), 2u);
  text.SetLength(kUndefinedLength);
  text.EvenLength();
  EXPECT_EQ(text.LengthField(), kUndefinedLength);
}

std::string Printed(const VR& vr) {
  std::string out = "prefix:";
  vr.Print(out);
  return out;
}

TEST(VRPrint, DescriptionsForTheTraceLog) {
  const struct {
    const char* what;
    std::function<std::unique_ptr<VR>()> make;
    std::string expected;
  } cases[] = {
      {"text", [] { return std::make_unique<VRString>("PN", 0x0010, 0x0010, 4, "AB"); },
       "prefix:(0010, 0010) VR=PN Length=4<=>0x4 Value=[AB]"},
      {"binary", [] { return std::make_unique<VRBinary>("OB", 0x7FE0, 0x0010, 300, nullptr); },
       "prefix:(7FE0, 0010) VR=OB Length=300<=>0x12C Value=BINARY Length=[300<=>0x12c]"},
      {"one value has no separator",
       [] { return std::make_unique<UnsignedIntegerVR>("UL", 0x0002, 0x0000, kUndefinedLength, 0xFFFFFFFFu); },
       "prefix:(0002, 0000) VR=UL Length=4294967295<=>0xFFFFFFFF Value=[-1<=>0xFFFFFFFF]"},
      {"each of several values is followed by ';'",
       [] {
         return std::make_unique<UnsignedShortVR>("US", 0x0028, 0x0010, 4, std::vector<std::uint16_t>{512, 65535});
       },
       "prefix:(0028, 0010) VR=US Length=4<=>0x4 Value=[512<=>0x200]; Value=[65535<=>0xFFFF];"},
      {"signed short", [] { return std::make_unique<SignedShortVR>("SS", 0x0028, 0x0106, 2, std::int16_t{-2}); },
       "prefix:(0028, 0106) VR=SS Length=2<=>0x2 Value=[-2<=>0xFFFFFFFE]"},
      {"double printed twice as %f", [] { return std::make_unique<DoubleVR>("FD", 0x0018, 0x9089, 8, 1.5); },
       "prefix:(0018, 9089) VR=FD Length=8<=>0x8 Value=[1.500000<=>0x1.500000]"},
      {"a value longer than 63 characters is cut",
       [] { return std::make_unique<DoubleVR>("FD", 0x0018, 0x9089, 8, 1e22); },
       "prefix:(0018, 9089) VR=FD Length=8<=>0x8 Value=[1" + std::string(22, '0') + ".000000<=>0x1" +
           std::string(19, '0')},
      {"tags with no leading blank", [] {
         return std::make_unique<VRAttributeTag>("AT", 0x0020, 0x5000, 8,
                                                 std::vector<VRAttributeTag::Tag>{{0x0010, 0x0020}, {0x7FE0, 0x0010}});
       },
       "prefix:(0020, 5000) VR=AT Length=8<=>0x8Value=[(10, 20)]\r\nValue=[(7fe0, 10)]\r\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Printed(*c.make()), c.expected) << c.what;
}

TEST(VRBinary, GetPixelDataHandsOutACopy) {
  const VRBinary pixels("OW", 0x7FE0, 0x0010, 4, Block({1, 2, 3, 4}));
  std::uint8_t* data = nullptr;
  std::uint32_t length = 0;
  pixels.GetPixelData(&data, &length);
  const std::unique_ptr<std::uint8_t[]> owned(data);
  ASSERT_EQ(length, 4u);
  EXPECT_NE(data, pixels.Data());
  EXPECT_EQ(std::vector<std::uint8_t>(data, data + 4), (std::vector<std::uint8_t>{1, 2, 3, 4}));

  const VRBinary empty("OW", 0x7FE0, 0x0010, 6, nullptr);
  empty.GetPixelData(&data, &length);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(length, 6u);

  EXPECT_EQ(FailureOf([&] { pixels.GetPixelData(nullptr, &length); }), "The Pixel data buffer pointer is NULL.");
  EXPECT_EQ(FailureOf([&] { pixels.GetPixelData(&data, nullptr); }), "The Pixel data buffer pointer is NULL.");
}

}  // namespace
