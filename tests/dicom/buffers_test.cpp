// The chunk buffer and its reader, the writer's block, reading a file into chunks, transfer syntaxes.
#include "dicom/buffers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <numeric>
#include <optional>

#include "foundation/file_utils.h"
#include "test_support.h"

namespace {

using namespace DicomEngine;
using dicom_test::FailureOf;

constexpr char kTooShort[] = "The buffer is not long enough to perform the requested read operation.";
constexpr int kNullChunk = -1;

// A buffer over copies of `bytes` cut into chunks of the given sizes (kNullChunk: no data, though the
// block claims 16 bytes).
MultiChunkBuffer Split(const std::vector<std::uint8_t>& bytes, const std::vector<int>& sizes) {
  MultiChunkBuffer buffer;
  const std::uint8_t* at = bytes.data();
  for (const int size : sizes) {
    if (size == kNullChunk) {
      buffer.AddChunk(ByteBlock(nullptr, 16));
      continue;
    }
    ByteBlock chunk = ByteBlock::Uninitialised(static_cast<std::size_t>(size));
    std::memcpy(chunk.Data(), at, chunk.Size());
    buffer.AddChunk(std::move(chunk));
    at += size;
  }
  return buffer;
}

// Bytes without NUL, so that text reads run their whole count.
std::vector<std::uint8_t> Pattern(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i % 251 + 1);
  return bytes;
}

TEST(BufferReader, ReadsAcrossChunksEqualReadsWithinOne) {
  const std::vector<int> splits[] = {
      {40}, {1, 39}, {3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 1}, {0, 5, kNullChunk, 0, 6, 29}, {17, 23, 0}};
  for (const std::vector<int>& sizes : splits) {
    SCOPED_TRACE(::testing::PrintToString(sizes));
    std::vector<std::uint8_t> bytes = Pattern(40);
    const std::uint8_t* b = bytes.data();
    BufferReader reader(Split(bytes, sizes));
    ASSERT_EQ(reader.End(), 40u);
    EXPECT_EQ(reader.ReadUShort(), b[0] | b[1] << 8);
    EXPECT_EQ(reader.ReadULong(), b[2] | b[3] << 8 | b[4] << 16 | std::uint32_t{b[5]} << 24);
    ByteBlock block;
    reader.ReadBytes(&block, 7);
    ASSERT_EQ(block.Size(), 7u);
    EXPECT_EQ(std::memcmp(block.Data(), b + 6, 7), 0);
    const double readDouble = reader.ReadDouble(8);
    EXPECT_EQ(std::memcmp(&readDouble, b + 13, 8), 0);
    const float readFloat = reader.ReadFloat(4);
    EXPECT_EQ(std::memcmp(&readFloat, b + 21, 4), 0);
    EXPECT_EQ(reader.ReadSLong(), b[25] | b[26] << 8);  // two bytes of four
    EXPECT_EQ(reader.ReadString(5), std::string(b + 29, b + 34));
    reader.Skip(6);
    EXPECT_FALSE(reader.HasBytes(1));
  }
}

// A source over bytes in memory that counts its reads, and fails from a given offset on.
struct CountingSource : ChunkSource {
  std::vector<std::uint8_t> bytes;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> reads;
  std::uint64_t failFrom = ~std::uint64_t{0};

  void Read(std::uint64_t offset, std::uint8_t* target, std::uint32_t n) override {
    reads.emplace_back(offset, n);
    if (offset + n > failFrom) THROW_MY_EXCEPTION("Failed to read the DICOM file data.");
    std::memcpy(target, bytes.data() + offset, n);
  }
};

// Chunks of 10 bytes over 40 bytes of a source, from its byte 2 on.
MultiChunkBuffer SourceChunks(const std::shared_ptr<CountingSource>& source) {
  source->bytes = Pattern(42);
  MultiChunkBuffer buffer;
  for (std::uint64_t offset = 2; offset < 42; offset += 10) buffer.AddSourceChunk(source, offset, 10);
  return buffer;
}

TEST(BufferReader, ChunksOfASourceAreReadOnceWhenFirstNeededAndWholeOnesStraightIntoTheTarget) {
  const auto source = std::make_shared<CountingSource>();
  BufferReader reader(SourceChunks(source));
  EXPECT_EQ(reader.End(), 40u);
  EXPECT_TRUE(source->reads.empty());

  EXPECT_EQ(reader.ReadUShort(), 3 | 4 << 8);  // source bytes 2 and 3
  EXPECT_EQ(reader.ReadUShort(), 5 | 6 << 8);  // the same chunk, not read again
  ASSERT_EQ(source->reads.size(), 1u);
  EXPECT_EQ(source->reads[0], std::make_pair(std::uint64_t{2}, 10u));

  reader.Skip(6);
  ByteBlock block;
  reader.ReadBytes(&block, 25);  // two whole chunks in one read, then part of the last one
  ASSERT_EQ(block.Size(), 25u);
  EXPECT_EQ(std::memcmp(block.Data(), source->bytes.data() + 12, 25), 0);
  ASSERT_EQ(source->reads.size(), 3u);
  EXPECT_EQ(source->reads[1], std::make_pair(std::uint64_t{12}, 20u));
  EXPECT_EQ(source->reads[2], std::make_pair(std::uint64_t{32}, 10u));
}

TEST(BufferReader, SlicesReadNothingUntilCopiedAndASourceFailureComesThen) {
  const auto source = std::make_shared<CountingSource>();
  source->failFrom = 30;
  std::optional<BufferReader::Slice> slice;
  {
    BufferReader reader(SourceChunks(source));
    reader.Skip(4);
    slice = reader.TakeSlice(16);
    EXPECT_EQ(reader.Cursor(), 20u);
    EXPECT_EQ(FailureOf([&] { reader.TakeSlice(21); }), kTooShort);
  }
  EXPECT_TRUE(source->reads.empty());
  std::vector<std::uint8_t> copy(slice->Size());
  slice->CopyTo(copy.data());  // the slice keeps the chunks after its reader is gone
  EXPECT_EQ(std::memcmp(copy.data(), source->bytes.data() + 6, 16), 0);

  BufferReader reader(SourceChunks(source));
  reader.Skip(30);
  std::uint8_t target[4] = {};
  EXPECT_EQ(FailureOf([&] { reader.Peek(target, 4); }), "Failed to read the DICOM file data.");
}

TEST(BufferReader, NarrowReadsAndHugeCounts) {
  std::vector<std::uint8_t> bytes = {0xFE, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0xC0, 0x3F, 0x77};
  BufferReader reader(Split(bytes, {3, 6}));
  EXPECT_EQ(reader.ReadSLong(), 0xFFFE);  // the low 16 bits, zero-extended
  EXPECT_EQ(reader.Cursor(), 4u);
  EXPECT_EQ(FailureOf([&] { reader.ReadDouble(8); }), kTooShort);  // passes the 4-byte check, not Peek's
  EXPECT_EQ(reader.Cursor(), 4u);
  // Counts near 2^32 from a damaged file fail the bounds check instead of wrapping past it.
  EXPECT_FALSE(reader.HasBytes(0xFFFFFFFC));
  EXPECT_EQ(FailureOf([&] { reader.ReadString(0xFFFFFFFD); }), kTooShort);
  EXPECT_EQ(FailureOf([&] { reader.Skip(0xFFFFFFFF); }), kTooShort);
  ByteBlock block;
  EXPECT_EQ(FailureOf([&] { reader.ReadBytes(&block, 0xFFFFFFF0); }), kTooShort);
  EXPECT_EQ(reader.ReadFloat(4), 1.5f);
  EXPECT_EQ(FailureOf([&] { reader.ReadSLong(); }), kTooShort);  // 1 byte left of 4
}

TEST(BufferReader, SubReadersShareChunksAndAdvanceEveryAncestor) {
  std::vector<std::uint8_t> bytes = Pattern(20);
  auto buffer = std::make_unique<MultiChunkBuffer>(Split(bytes, {6, 6, 8}));
  BufferReader root(*buffer);
  buffer.reset();  // the reader keeps the chunks alive
  root.Skip(4);
  EXPECT_EQ(FailureOf([&] { root.CreateSubReader(0xFFFFFFFE); }), kTooShort);  // a defined length
  const std::unique_ptr<BufferReader> item = root.CreateSubReader(6);
  EXPECT_EQ(item->End(), 10u);  // absolute positions
  const std::unique_ptr<BufferReader> inner = item->CreateSubReader(kUndefinedLength);
  EXPECT_EQ(inner->End(), 10u);  // up to the parent's end
  EXPECT_EQ(inner->ReadULong(), bytes[4] | bytes[5] << 8 | bytes[6] << 16 | std::uint32_t{bytes[7]} << 24);
  EXPECT_EQ(item->Cursor(), 8u);
  EXPECT_EQ(root.Cursor(), 8u);
  EXPECT_EQ(FailureOf([&] { inner->Skip(3); }), kTooShort);
  EXPECT_EQ(FailureOf([&] { item->CreateSubReader(3); }), kTooShort);
}

TEST(BufferWriter, GrowsByTheStepOrByALargerRequestAndSkipsTwiceForNullBytes) {
  BufferWriter writer;
  writer.WriteUShort(0x1234);
  EXPECT_EQ(writer.Capacity(), 1000000u);
  writer.ResetBlock(10);
  const std::vector<std::uint8_t> large(1000001, 0xAB);
  writer.WriteBytes(large.data(), 8);
  EXPECT_EQ(writer.Capacity(), 10u);  // it fits
  writer.WriteULong(0x01020304);
  EXPECT_EQ(writer.Capacity(), 8u + 1000000u);
  EXPECT_EQ(writer.Data()[7], 0xAB);  // old bytes kept
  EXPECT_EQ(writer.Data()[8], 0x04);
  writer.ResetBlock(0);
  writer.WriteBytes(large.data(), 1000001);
  EXPECT_EQ(writer.Capacity(), 1000001u);
  writer.WriteBytes(large.data(), 1000000);  // not above the step
  EXPECT_EQ(writer.Capacity(), 2000001u);
  writer.ResetBlock(0);
  writer.WriteBytes(nullptr, 3);
  EXPECT_EQ(std::vector<std::uint8_t>(writer.Data(), writer.Data() + writer.Cursor()), std::vector<std::uint8_t>(6));
}

TEST(ReadBinaryFileIntoBuffer, CutsTheFileIntoChunksOf16384BytesAndClosesIt) {
  const auto openFiles = [] {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  };
  const dicom_test::TempFolder folder;
  const std::vector<std::uint32_t> cases[] = {{0}, {16383}, {16384, 0}, {16384, 16384, 16384, 5}};
  for (const std::vector<std::uint32_t>& chunks : cases) {
    const std::vector<std::uint8_t> contents = Pattern(std::accumulate(chunks.begin(), chunks.end(), 0u));
    const std::string path = folder.Write("file", dicom_test::Bytes{contents});
    const auto openBefore = openFiles();
    MultiChunkBuffer buffer;
    EXPECT_TRUE(ReadBinaryFileIntoBuffer(std::fopen(path.c_str(), "rb"), buffer));
    EXPECT_EQ(openFiles(), openBefore);
    std::vector<std::uint32_t> sizes;
    std::vector<std::uint8_t> bytes;
    for (const MultiChunkBuffer::Chunk& chunk : buffer.Chunks()) {
      sizes.push_back(chunk.size);
      bytes.insert(bytes.end(), chunk.data.get(), chunk.data.get() + chunk.size);
    }
    EXPECT_EQ(sizes, chunks);  // a multiple of the chunk size ends with an empty chunk
    EXPECT_EQ(bytes, contents);
  }
  MultiChunkBuffer buffer;
  EXPECT_FALSE(ReadBinaryFileIntoBuffer(nullptr, buffer));
  EXPECT_FALSE(ReadBinaryFileIntoBuffer(std::fopen(folder.Path("file").c_str(), "ab"), buffer));  // can't read
}

TEST(TransferSyntax, FindTrimsBlanksAndGetUidNamesThePlainSyntaxes) {
  constexpr SyntaxRecord kImplicitLE{kLittleEndian, kImplicitVR}, kExplicitLE{kLittleEndian, kExplicitVR};
  constexpr SyntaxRecord kExplicitBE{kBigEndian, kExplicitVR}, kNone{};
  const struct {
    std::string uid;
    SyntaxRecord record;  // kNone: not found
  } rows[] = {
      {"1.2.840.10008.1.2", kImplicitLE},     {"1.2.840.10008.1.2.1", kExplicitLE},
      {"1.2.840.10008.1.2.2", kExplicitBE},   {"1.2.840.10008.1.2.5", kExplicitLE},  // deflated
      {"1.2.840.10008.1.2.4.50", kExplicitLE}, {"1.2.840.10008.1.2.4.66", kExplicitLE},  // JPEG .50 to .66
      {"1.2.840.10008.1.2.4.67", kNone},      {"1.2.840.10008.1.2.4.70", kExplicitLE},
      {"1.2.840.10008.1.2.4.80", kNone},      {"1.2.840.10008.1.2.4.90", kExplicitLE},  // JPEG-LS; JPEG 2000
      {"1.2.840.10008.1.2.4.91", kExplicitLE}, {"1.2.840.10008.1.2 ", kImplicitLE},      // a padding blank
      {"  1.2.840.10008.1.2.1  ", kExplicitLE}, {"", kNone},
      {"   ", kNone},                         {std::string("1.2.840.10008.1.2\0", 18), kNone},  // NUL stays
  };
  EXPECT_EQ(TransferSyntax::Instance().Size(), 24u);
  for (const auto& row : rows) {
    const SyntaxRecord* record = TransferSyntax::Instance().Find(row.uid);
    EXPECT_EQ(record != nullptr ? *record : kNone, row.record) << row.uid;
  }
  EXPECT_EQ(TransferSyntax::GetUid(kExplicitBE), "1.2.840.10008.1.2.2");
  EXPECT_EQ(TransferSyntax::GetUid(SyntaxRecord{kBigEndian, kImplicitVR}), "1.2.840.10008.1.2.2");  // order first
  EXPECT_EQ(TransferSyntax::GetUid(kExplicitLE), "1.2.840.10008.1.2.1");
  EXPECT_EQ(TransferSyntax::GetUid(kImplicitLE), "1.2.840.10008.1.2");
  EXPECT_EQ(TransferSyntax::GetUid(kNone), "1.2.840.10008.1.2");
}

}  // namespace
