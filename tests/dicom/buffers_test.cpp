#include "dicom/buffers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "byte_builder.h"

namespace {

using DicomEngine::BufferReader;
using DicomEngine::BufferWriter;
using DicomEngine::MultiChunkBuffer;
using DicomEngine::SyntaxRecord;
using dicom_test::FailureOf;

constexpr char kTooShort[] = "The buffer is not long enough to perform the requested read operation.";
constexpr int kNullChunk = -1;

// A buffer over `bytes` cut into chunks of the given sizes (kNullChunk adds a chunk with null data).
// Chunks alternate between owned copies and views of `bytes`, which must outlive the buffer.
MultiChunkBuffer Split(std::vector<std::uint8_t>& bytes, const std::vector<int>& sizes) {
  MultiChunkBuffer buffer;
  std::size_t offset = 0;
  bool owned = true;
  for (const int size : sizes) {
    if (size == kNullChunk) {
      buffer.AddChunk(nullptr, 16, false);
      continue;
    }
    if (owned) {
      auto* copy = new std::uint8_t[size];
      std::memcpy(copy, bytes.data() + offset, size);
      buffer.AddChunk(copy, size, true);
    } else {
      buffer.AddChunk(bytes.data() + offset, size, false);
    }
    offset += size;
    owned = !owned;
  }
  return buffer;
}

std::vector<std::uint8_t> Pattern(std::size_t size) {
  // No zero byte among the first 200, so that text reads see no NUL.
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + 3);
  return bytes;
}

TEST(BufferReader, OverNoChunksEndsAtOnce) {
  const MultiChunkBuffer empty;
  BufferReader reader(empty);
  EXPECT_EQ(reader.End(), 0u);
  EXPECT_FALSE(reader.HasBytes(1));
  EXPECT_TRUE(reader.HasBytes(0));
  EXPECT_EQ(FailureOf([&] { reader.ReadUShort(); }), kTooShort);
}

TEST(BufferReader, TotalSizeIgnoresNullChunks) {
  std::vector<std::uint8_t> bytes = Pattern(10);
  EXPECT_EQ(Split(bytes, {3, kNullChunk, 7}).TotalSize(), 10u);
  EXPECT_EQ(Split(bytes, {kNullChunk}).TotalSize(), 0u);
}

// Every split of the same bytes must read the same values as the bytes read in one piece.
TEST(BufferReader, ReadsAcrossChunkBoundariesEqualReadsWithinOne) {
  const struct {
    const char* what;
    std::vector<int> sizes;
  } splits[] = {
      {"one chunk", {40}},
      {"a first chunk of one byte", {1, 39}},
      {"chunks of two bytes", {2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2}},
      {"chunks of three bytes and a remainder", {3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 1}},
      {"empty and null chunks between", {0, 5, kNullChunk, 0, 6, 29}},
      {"a final chunk of size 0", {17, 23, 0}},
  };
  for (const auto& split : splits) {
    SCOPED_TRACE(split.what);
    std::vector<std::uint8_t> bytes = Pattern(40);
    const std::uint8_t* b = bytes.data();
    BufferReader reader(Split(bytes, split.sizes));
    ASSERT_EQ(reader.End(), 40u);

    EXPECT_EQ(reader.ReadUShort(), b[0] | b[1] << 8);
    EXPECT_EQ(reader.ReadULong(), b[2] | b[3] << 8 | b[4] << 16 | std::uint32_t{b[5]} << 24);
    std::uint8_t* block = nullptr;
    reader.ReadBytes(&block, 7);
    const std::unique_ptr<std::uint8_t[]> owned(block);
    EXPECT_EQ(std::vector<std::uint8_t>(block, block + 7), std::vector<std::uint8_t>(b + 6, b + 13));
    const double readDouble = reader.ReadDouble(8);
    EXPECT_EQ(std::memcmp(&readDouble, b + 13, 8), 0);
    const float readFloat = reader.ReadFloat(4);
    EXPECT_EQ(std::memcmp(&readFloat, b + 21, 4), 0);
    EXPECT_EQ(reader.ReadSLong(), b[25] | b[26] << 8);
    EXPECT_EQ(reader.ReadString(5), std::string(b + 29, b + 34));
    std::uint8_t peeked[6] = {};
    reader.Peek(peeked, 6);
    EXPECT_EQ(std::vector<std::uint8_t>(peeked, peeked + 6), std::vector<std::uint8_t>(b + 34, b + 40));
    EXPECT_EQ(reader.Cursor(), 34u);  // Peek moves nothing
    reader.Skip(6);
    EXPECT_FALSE(reader.HasBytes(1));
  }
}

TEST(BufferReader, SignedLongKeepsOnlyItsLowSixteenBits) {
  const struct {
    const char* what;
    std::vector<std::uint8_t> bytes;
    std::int32_t expected;
  } cases[] = {
      {"0x00012345 loses its high half", {0x45, 0x23, 0x01, 0x00}, 0x2345},
      {"-1 comes out zero-extended", {0xFF, 0xFF, 0xFF, 0xFF}, 0xFFFF},
      {"-2 likewise", {0xFE, 0xFF, 0xFF, 0xFF}, 0xFFFE},
  };
  for (const auto& c : cases) {
    std::vector<std::uint8_t> bytes = c.bytes;
    BufferReader reader(Split(bytes, {4}));
    EXPECT_EQ(reader.ReadSLong(), c.expected) << c.what;
    EXPECT_EQ(reader.Cursor(), 4u) << c.what;
  }
  std::vector<std::uint8_t> two = {0x01, 0x02};
  BufferReader shortReader(Split(two, {2}));
  EXPECT_EQ(FailureOf([&] { shortReader.ReadSLong(); }), kTooShort);
}

TEST(BufferReader, FloatAndDoubleCheckFourBytesThenTheFullCount) {
  std::vector<std::uint8_t> bytes = {0x00, 0x00, 0xC0, 0x3F, 0x77};  // 1.5f, then one more byte
  {
    BufferReader reader(Split(bytes, {5}));
    EXPECT_EQ(FailureOf([&] { reader.ReadDouble(8); }), kTooShort);  // passes the 4-byte check only
    EXPECT_EQ(reader.Cursor(), 0u);
    EXPECT_EQ(reader.ReadFloat(4), 1.5f);
    EXPECT_EQ(FailureOf([&] { reader.ReadFloat(1); }), kTooShort);  // 1 byte is there, 4 are asked for
  }
  {
    BufferReader reader(Split(bytes, {5}));
    reader.Skip(1);
    const double value = reader.ReadDouble(2);  // two bytes into a zeroed double
    double expected = 0;
    std::memcpy(&expected, bytes.data() + 1, 2);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(reader.Cursor(), 3u);
  }
}

TEST(BufferReader, StringStopsAtItsNulWhileTheCursorMovesByTheCount) {
  std::vector<std::uint8_t> bytes = {'A', 'B', 0, 'C', 'D', 'E'};
  BufferReader reader(Split(bytes, {2, 4}));
  EXPECT_EQ(reader.ReadString(0), "");
  EXPECT_EQ(reader.ReadString(5), "AB");
  EXPECT_EQ(reader.Cursor(), 5u);
  EXPECT_EQ(FailureOf([&] { reader.ReadString(2); }), kTooShort);
}

TEST(BufferReader, ReadBytesChecksItsArguments) {
  std::vector<std::uint8_t> bytes = Pattern(4);
  BufferReader reader(Split(bytes, {4}));
  EXPECT_EQ(FailureOf([&] { reader.ReadBytes(nullptr, 2); }), "The binary buffer to read into is empty.");
  std::uint8_t sentinel = 0;
  std::uint8_t* block = &sentinel;
  reader.ReadBytes(&block, 0);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(reader.Cursor(), 0u);
  EXPECT_EQ(FailureOf([&] { reader.ReadBytes(&block, 5); }), kTooShort);
  EXPECT_EQ(reader.Cursor(), 0u);
}

TEST(BufferReader, SubReadersShareChunksAndAdvanceEveryAncestor) {
  std::vector<std::uint8_t> bytes = Pattern(20);
  auto buffer = std::make_unique<MultiChunkBuffer>(Split(bytes, {6, 6, 8}));
  BufferReader root(*buffer);
  buffer.reset();  // the reader keeps the chunks alive
  EXPECT_EQ(FailureOf([&] { root.CreateSubReader(0xFFFFFFFE); }), kTooShort);  // a defined length
  root.Skip(4);
  EXPECT_EQ(FailureOf([&] { root.CreateSubReader(0xFFFFFFFE); }), kTooShort);  // wherever the cursor is

  const std::unique_ptr<BufferReader> item = root.CreateSubReader(0xFFFFFFFF);
  EXPECT_EQ(item->End(), 20u);
  EXPECT_EQ(item->Cursor(), 4u);
  EXPECT_EQ(item->Parent(), &root);

  const std::unique_ptr<BufferReader> inner = item->CreateSubReader(6);
  EXPECT_EQ(inner->End(), 10u);  // absolute, not relative to the item
  EXPECT_EQ(inner->ReadULong(), bytes[4] | bytes[5] << 8 | bytes[6] << 16 | std::uint32_t{bytes[7]} << 24);
  EXPECT_EQ(item->Cursor(), 8u);
  EXPECT_EQ(root.Cursor(), 8u);
  EXPECT_FALSE(inner->HasBytes(3));
  EXPECT_EQ(FailureOf([&] { inner->Skip(3); }), kTooShort);
  EXPECT_EQ(FailureOf([&] { item->CreateSubReader(13); }), kTooShort);
}

// Lengths near 2^32 from a damaged file must fail the bounds check, not wrap past it.
TEST(BufferReader, HugeCountsFailTheBoundsCheck) {
  std::vector<std::uint8_t> bytes = {'T', 'E', 'X', 'T', 'M', 'O', 'R', 'E'};
  BufferReader reader(Split(bytes, {3, 5}));
  reader.Skip(4);
  EXPECT_FALSE(reader.HasBytes(0xFFFFFFFC));
  EXPECT_TRUE(reader.HasBytes(4));
  EXPECT_EQ(FailureOf([&] { reader.ReadString(0xFFFFFFFD); }), kTooShort);
  EXPECT_EQ(FailureOf([&] { reader.Skip(0xFFFFFFFF); }), kTooShort);
  EXPECT_EQ(reader.Cursor(), 4u);
  EXPECT_EQ(reader.ReadString(4), "MORE");
}

TEST(BufferWriter, GrowsByTheStepOrByTheRequestWhenLarger) {
  BufferWriter writer;
  EXPECT_EQ(writer.Data(), nullptr);
  writer.WriteUShort(0x1234);
  EXPECT_EQ(writer.Capacity(), 1000000u);
  EXPECT_EQ(writer.Cursor(), 2u);

  writer.ResetBlock(10);
  const std::vector<std::uint8_t> eight(8, 0xAB);
  writer.WriteBytes(eight.data(), 8);
  EXPECT_EQ(writer.Capacity(), 10u);  // it fits
  writer.WriteULong(0x01020304);
  EXPECT_EQ(writer.Capacity(), 8u + 1000000u);
  EXPECT_EQ(writer.Data()[7], 0xAB);  // old bytes kept
  EXPECT_EQ(writer.Data()[8], 0x04);

  const std::vector<std::uint8_t> large(1000001, 0x5A);
  writer.ResetBlock(0);
  writer.WriteBytes(large.data(), 1000001);
  EXPECT_EQ(writer.Capacity(), 1000001u);
  writer.WriteBytes(large.data(), 1000000);  // not above the step
  EXPECT_EQ(writer.Capacity(), 1000001u + 1000000u);
  EXPECT_EQ(writer.Cursor(), 2000001u);
}

TEST(BufferWriter, WritesNumbersLittleEndianInTheirOwnWidth) {
  BufferWriter writer;
  writer.WriteUShort(0x1234);
  writer.WriteULong(0x89ABCDEF);
  writer.WriteFloat(1.5f, 4);
  writer.WriteDouble(1.5, 8);
  writer.WriteDouble(2.0, 0);
  writer.WriteFloat(2.0f, 0);
  writer.WriteFloat(-2.0f, 6);  // four bytes of float, two left as they stand
  const std::vector<std::uint8_t> expected = dicom_test::Bytes()
                                                 .raw({0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x89})
                                                 .raw({0x00, 0x00, 0xC0, 0x3F})
                                                 .raw({0, 0, 0, 0, 0, 0, 0xF8, 0x3F})
                                                 .raw({0x00, 0x00, 0x00, 0xC0, 0, 0})
                                                 .data();
  ASSERT_EQ(writer.Cursor(), expected.size());
  EXPECT_EQ(std::vector<std::uint8_t>(writer.Data(), writer.Data() + writer.Cursor()), expected);
}

TEST(BufferWriter, BytesWithoutDataTakeTwiceTheirLength) {
  BufferWriter writer;
  writer.WriteBytes(nullptr, 0);
  EXPECT_EQ(writer.Cursor(), 0u);
  writer.WriteBytes(nullptr, 3);
  EXPECT_EQ(writer.Cursor(), 6u);
  EXPECT_EQ(std::vector<std::uint8_t>(writer.Data(), writer.Data() + 6), std::vector<std::uint8_t>(6, 0));
}

TEST(BufferWriter, TextIsPaddedToEvenWithBlanksAndUidsToTheLengthWithNul) {
  using namespace std::string_literals;
  const struct {
    const char* what;
    bool uid;
    std::string text;
    std::uint32_t length;
    bool pad;
    std::string expected;
  } cases[] = {
      {"odd text padded to even", false, "AB", 3, true, "AB  "},
      {"no padding asked", false, "AB", 3, false, "AB"},
      {"length 0 writes nothing", false, "AB", 0, true, ""},
      {"text longer than its length goes whole", false, "ABC", 2, true, "ABC"},
      {"empty text of length 3 gives blanks", false, "", 3, true, "    "},
      {"text ends at its NUL", false, "A\0B"s, 4, true, "A   "},
      {"UID of odd length gets no padding", true, "1.2", 3, true, "1.2"},
      {"UID padded with one NUL", true, "1.2", 4, true, "1.2\0"s},
      {"UID padded only up to its length", true, "1.2", 5, true, "1.2\0\0"s},
      {"empty UID of length 2 gives NULs", true, "", 2, true, "\0\0"s},
  };
  for (const auto& c : cases) {
    BufferWriter writer;
    writer.ResetBlock(16);
    if (c.uid)
      writer.WriteUid(c.text, c.length, c.pad);
    else
      writer.WriteText(c.text, c.length, c.pad);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(writer.Data()), writer.Cursor()), c.expected) << c.what;
    EXPECT_EQ(writer.Capacity(), 16u) << c.what;
  }
}

TEST(BufferWriter, TextWritesNeverGrowTheBlock) {
  BufferWriter writer;
  writer.ResetBlock(4);
  EXPECT_EQ(FailureOf([&] { writer.WriteText("ABCDE", 5, true); }),
            "The text value does not fit in the buffer writer's block.");
  EXPECT_EQ(FailureOf([&] { writer.WriteUid("1.2.3", 5, true); }),
            "The text value does not fit in the buffer writer's block.");
  EXPECT_EQ(writer.Capacity(), 4u);
  EXPECT_EQ(writer.Cursor(), 0u);
  writer.WriteText("ABC", 3, true);  // exactly fills the block
  EXPECT_EQ(writer.Cursor(), 4u);
}

TEST(BufferWriter, CursorMovesAndPatchesAreCheckedAgainstTheCapacity) {
  BufferWriter writer;
  writer.ResetBlock(8);
  writer.WriteUShort(1);
  writer.MoveCursor(8);  // beyond what was written, within the block
  EXPECT_EQ(writer.Cursor(), 8u);
  EXPECT_EQ(FailureOf([&] { writer.MoveCursor(9); }),
            "Attempt to move the buffer writer cursor outside the buffer size.");
  writer.MoveCursor(2);
  writer.WriteUnsignedLongAtPosition(0x0A0B0C0D, 4);
  EXPECT_EQ(writer.Cursor(), 2u);
  EXPECT_EQ(writer.Data()[4], 0x0D);
  EXPECT_EQ(writer.Data()[7], 0x0A);
  EXPECT_EQ(FailureOf([&] { writer.WriteUnsignedLongAtPosition(1, 5); }), "WriteUnsignedLongAtPosition failed.");
}

TEST(BufferWriter, ItemsAndCommandsAreWrittenImplicitLittleEndian) {
  const SyntaxRecord explicitLittle{1, 2};
  const SyntaxRecord implicitLittle{1, 1};
  BufferWriter writer;
  EXPECT_EQ(writer.GetWriteSyntax(0x0008), SyntaxRecord{});
  writer.SetSyntax(explicitLittle);
  EXPECT_EQ(writer.GetWriteSyntax(0x0008), explicitLittle);
  EXPECT_EQ(writer.GetWriteSyntax(0xFFFE), implicitLittle);
  writer.SetCommand(true);
  EXPECT_EQ(writer.GetWriteSyntax(0x0008), implicitLittle);
}

}  // namespace
