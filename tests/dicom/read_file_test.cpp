// ReadBinaryFileIntoBuffer lives with the foundation's file utilities but is a template over the
// engine's chunk buffer, so it is tested here, with that buffer.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "dicom/buffers.h"
#include "foundation/file_utils.h"

namespace {

namespace fs = std::filesystem;
using DicomEngine::BufferReader;
using DicomEngine::MultiChunkBuffer;

// A buffer that records what it is handed.
struct RecordingBuffer {
  struct Chunk {
    std::vector<std::uint8_t> bytes;
    bool owned;
  };
  std::vector<Chunk> chunks;

  void AddChunk(std::uint8_t* data, std::uint32_t size, bool owned) {
    chunks.push_back({std::vector<std::uint8_t>(data, data + size), owned});
    if (owned) delete[] data;
  }
};

class TempFile {
 public:
  explicit TempFile(const std::vector<std::uint8_t>& contents)
      : path_(fs::temp_directory_path() / ("ondrel_read_file_" + std::to_string(++counter_) + "_" +
                                           ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(contents.data()), static_cast<std::streamsize>(contents.size()));
  }
  ~TempFile() { fs::remove(path_); }
  std::FILE* Open(const char* mode) const { return std::fopen(path_.string().c_str(), mode); }

 private:
  static inline int counter_ = 0;
  fs::path path_;
};

// The files this process has open, to see that the reader closes what it is given.
std::size_t OpenDescriptorCount() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

std::vector<std::uint8_t> Pattern(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
  return bytes;
}

TEST(ReadBinaryFileIntoBuffer, CutsTheFileIntoOwnedChunksOf16384Bytes) {
  const struct {
    std::size_t fileSize;
    std::vector<std::uint32_t> chunkSizes;
  } cases[] = {
      {0, {0}},
      {1, {1}},
      {16383, {16383}},
      {16384, {16384, 0}},  // a size that is a multiple of the chunk ends with an empty chunk
      {16385, {16384, 1}},
      {3 * 16384 + 5, {16384, 16384, 16384, 5}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fileSize);
    const std::vector<std::uint8_t> contents = Pattern(c.fileSize);
    const TempFile file(contents);
    RecordingBuffer buffer;
    const std::size_t openBefore = OpenDescriptorCount();
    std::FILE* stream = file.Open("rb");
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(ReadBinaryFileIntoBuffer(stream, buffer));
    EXPECT_EQ(OpenDescriptorCount(), openBefore);

    std::vector<std::uint32_t> sizes;
    std::vector<std::uint8_t> joined;
    for (const auto& chunk : buffer.chunks) {
      EXPECT_TRUE(chunk.owned);
      sizes.push_back(static_cast<std::uint32_t>(chunk.bytes.size()));
      joined.insert(joined.end(), chunk.bytes.begin(), chunk.bytes.end());
    }
    EXPECT_EQ(sizes, c.chunkSizes);
    EXPECT_EQ(joined, contents);
  }
}

TEST(ReadBinaryFileIntoBuffer, ReadsTheRestOfTheFileIntoAChunkBuffer) {
  const std::vector<std::uint8_t> contents = Pattern(2 * 16384);
  const TempFile file(contents);
  std::FILE* stream = file.Open("rb");
  ASSERT_NE(stream, nullptr);
  ASSERT_EQ(std::fseek(stream, 132, SEEK_SET), 0);  // as after a preamble
  MultiChunkBuffer buffer;
  ASSERT_TRUE(ReadBinaryFileIntoBuffer(stream, buffer));
  EXPECT_EQ(buffer.Chunks().size(), 2u);
  BufferReader reader(buffer);
  ASSERT_EQ(reader.End(), contents.size() - 132);
  reader.Skip(16384 - 132 - 1);  // the read below crosses into the second chunk
  EXPECT_EQ(reader.ReadUShort(), contents[16383] | contents[16384] << 8);
}

TEST(ReadBinaryFileIntoBuffer, FailsForANullFileOrAStreamError) {
  RecordingBuffer buffer;
  EXPECT_FALSE(ReadBinaryFileIntoBuffer(nullptr, buffer));

  const TempFile file(Pattern(10));
  const std::size_t openBefore = OpenDescriptorCount();
  std::FILE* writeOnly = file.Open("ab");  // reading from it is a stream error
  ASSERT_NE(writeOnly, nullptr);
  EXPECT_FALSE(ReadBinaryFileIntoBuffer(writeOnly, buffer));
  EXPECT_TRUE(buffer.chunks.empty());
  EXPECT_EQ(OpenDescriptorCount(), openBefore);
}

}  // namespace
