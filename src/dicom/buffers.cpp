#include "dicom/buffers.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>

#include "foundation/exceptions.h"

namespace DicomEngine {

// Values are copied to and from memory as they stand: the engine's byte order is the machine's.
static_assert(std::endian::native == std::endian::little, "the DICOM engine reads and writes little-endian");

namespace {

constexpr std::uint64_t kGrowthStep = 1000000;
constexpr std::uint64_t kLargestBlock = std::numeric_limits<std::uint32_t>::max();

}  // namespace

// ---------------------------------------------------------------------------------------------------
// MultiChunkBuffer

ChunkSource::~ChunkSource() = default;

MultiChunkBuffer::~MultiChunkBuffer() = default;

void MultiChunkBuffer::AddSourceChunk(std::shared_ptr<ChunkSource> source, std::uint64_t offset, std::uint32_t size) {
  if (!source) return;
  Chunk chunk;
  chunk.size = size;
  chunk.source = std::move(source);
  chunk.sourceOffset = offset;
  chunks_.push_back(std::move(chunk));
}

void MultiChunkBuffer::AddChunk(ByteBlock bytes) {
  Chunk chunk;
  chunk.size = static_cast<std::uint32_t>(bytes.Size());
  // If making the shared pointer throws, it has already freed the bytes through its deleter.
  chunk.data = std::shared_ptr<std::uint8_t[]>(std::move(bytes).Release());
  chunks_.push_back(std::move(chunk));
}

std::uint32_t MultiChunkBuffer::TotalSize() const {
  std::uint32_t total = 0;
  for (const Chunk& chunk : chunks_) total += chunk.size;
  return total;
}

// ---------------------------------------------------------------------------------------------------
// BufferReader

BufferReader::BufferReader(const MultiChunkBuffer& buffer)
    : end_(buffer.TotalSize()), table_(), parent_(nullptr), cursor_(0) {
  auto table = std::make_shared<ChunkTable>();
  table->chunks = buffer.Chunks();
  table->loaded.resize(table->chunks.size());
  table->ends.reserve(table->chunks.size());
  std::uint64_t position = 0;
  for (const MultiChunkBuffer::Chunk& chunk : table->chunks) {
    position += chunk.size;
    table->ends.push_back(position);
  }
  table_ = std::move(table);
}

BufferReader::BufferReader(std::shared_ptr<const ChunkTable> table, std::uint32_t end, BufferReader* parent,
                           std::uint32_t cursor)
    : end_(end), table_(std::move(table)), parent_(parent), cursor_(cursor) {}

BufferReader::~BufferReader() = default;

bool BufferReader::HasBytes(std::uint32_t n) const {
  // In 64 bits: a 32-bit sum would wrap for lengths near 2^32 and let a damaged length pass.
  return std::uint64_t{end_} >= std::uint64_t{cursor_} + n;
}

void BufferReader::CheckBytes(std::uint32_t n) const {
  if (!HasBytes(n)) THROW_MY_EXCEPTION("The buffer is not long enough to perform the requested read operation.");
}

void BufferReader::Peek(void* target, std::uint32_t n) const { PeekPart(target, n, n); }

void BufferReader::PeekPart(void* target, std::uint32_t n, std::uint32_t count) const {
  if (n == 0) return;
  CheckBytes(n);
  const std::vector<std::uint64_t>& ends = table_->ends;
  // The chunk under the cursor is the first one that ends past it; empty chunks end where the chunk
  // before them ends, so they are never chosen.
  const auto found = std::upper_bound(ends.begin(), ends.end(), static_cast<std::uint64_t>(cursor_));
  if (found == ends.end()) THROW_MY_EXCEPTION("Cannot find the next memory chunk.");

  // If the chunks end before `count` bytes, the copy stops there.
  const std::uint64_t available = ends.back() - cursor_;
  table_->Copy(cursor_, static_cast<std::uint8_t*>(target),
               static_cast<std::uint32_t>(std::min<std::uint64_t>(count, available)));
}

const std::uint8_t* BufferReader::ChunkTable::BytesOf(std::size_t index) const {
  const MultiChunkBuffer::Chunk& chunk = chunks[index];
  if (!chunk.source) return chunk.data.get();
  if (!loaded[index]) {
    std::shared_ptr<std::uint8_t[]> bytes = std::make_shared_for_overwrite<std::uint8_t[]>(chunk.size);
    chunk.source->Read(chunk.sourceOffset, bytes.get(), chunk.size);
    loaded[index] = std::move(bytes);
  }
  return loaded[index].get();
}

void BufferReader::ChunkTable::Copy(std::uint64_t position, std::uint8_t* target, std::uint32_t count) const {
  std::size_t index = static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), position) - ends.begin());
  std::uint64_t offset = position - (ends[index] - chunks[index].size);
  std::uint32_t left = count;
  while (left > 0 && index < chunks.size()) {
    const MultiChunkBuffer::Chunk& chunk = chunks[index];
    const auto take = static_cast<std::uint32_t>(std::min<std::uint64_t>(left, chunk.size - offset));
    if (chunk.source && !loaded[index] && offset == 0 && take == chunk.size) {
      // Whole chunks not yet in memory: one read into the target for the run of them.
      std::uint32_t run = take;
      std::size_t next = index + 1;
      while (next < chunks.size() && left - run > 0 && chunks[next].source == chunk.source && !loaded[next] &&
             chunks[next].sourceOffset == chunk.sourceOffset + run && chunks[next].size <= left - run) {
        run += chunks[next].size;
        ++next;
      }
      chunk.source->Read(chunk.sourceOffset, target, run);
      target += run;
      left -= run;
      index = next;
      continue;
    }
    if (take > 0) std::memcpy(target, BytesOf(index) + offset, take);
    target += take;
    left -= take;
    offset = 0;
    ++index;
  }
}

BufferReader::Slice BufferReader::TakeSlice(std::uint32_t n) {
  CheckBytes(n);
  Slice slice(table_, cursor_, n);
  Advance(n);
  return slice;
}

void BufferReader::Slice::CopyTo(std::uint8_t* target) const {
  if (size_ > 0) table_->Copy(start_, target, size_);
}

void BufferReader::Advance(std::uint32_t n) {
  for (BufferReader* reader = this; reader != nullptr; reader = reader->parent_) reader->cursor_ += n;
}

void BufferReader::Skip(std::uint32_t n) {
  CheckBytes(n);
  Advance(n);
}

void BufferReader::ReadBytes(ByteBlock* out, std::uint32_t n) {
  if (out == nullptr) THROW_MY_EXCEPTION("The binary buffer to read into is empty.");
  if (n == 0) {
    *out = ByteBlock();
    return;
  }
  // Checked before allocating, so that a length beyond the data asks for no memory.
  CheckBytes(n);
  ByteBlock block;
  try {
    block = ByteBlock::Uninitialised(n);
  } catch (const std::bad_alloc&) {
    THROW_MY_EXCEPTION("Memory allocation failure.");
  }
  Peek(block.Data(), n);
  Advance(n);
  *out = std::move(block);
}

std::uint16_t BufferReader::ReadUShort() {
  std::uint16_t value = 0;
  Peek(&value, sizeof value);
  Advance(sizeof value);
  return value;
}

std::uint32_t BufferReader::ReadULong() {
  std::uint32_t value = 0;
  Peek(&value, sizeof value);
  Advance(sizeof value);
  return value;
}

std::int32_t BufferReader::ReadSLong() {
  CheckBytes(4);
  std::int32_t value = 0;
  Peek(&value, 2);
  Advance(4);
  return value;
}

template <typename Real>
Real BufferReader::ReadReal(std::uint32_t n) {
  CheckBytes(4);
  Real value = 0;
  PeekPart(&value, n, std::min<std::uint32_t>(n, sizeof value));
  Advance(n);
  return value;
}

float BufferReader::ReadFloat(std::uint32_t n) { return ReadReal<float>(n); }

double BufferReader::ReadDouble(std::uint32_t n) { return ReadReal<double>(n); }

std::string BufferReader::ReadString(std::uint32_t n) {
  if (n == 0) return std::string();
  // Only the bytes the chunks hold past the cursor can be copied; a count that passed the wrapping
  // check can't make this allocate more than those.
  const std::uint64_t held = table_->ends.empty() ? 0 : table_->ends.back();
  const std::uint64_t available = held > cursor_ ? held - cursor_ : 0;
  std::string text(static_cast<std::size_t>(std::min<std::uint64_t>(n, available)), '\0');
  PeekPart(text.data(), n, static_cast<std::uint32_t>(text.size()));
  Advance(n);
  text.resize(std::strlen(text.c_str()));
  return text;
}

std::unique_ptr<BufferReader> BufferReader::CreateSubReader(std::uint32_t length) {
  if (length == kUndefinedLength) length = end_ - cursor_;
  CheckBytes(length);
  return std::unique_ptr<BufferReader>(new BufferReader(table_, cursor_ + length, this, cursor_));
}

// ---------------------------------------------------------------------------------------------------
// BufferWriter

namespace {

// The new capacity for `needed` bytes at `cursor` when `n` more are asked for.
std::uint32_t GrownCapacity(std::uint32_t cursor, std::uint64_t n) {
  const std::uint64_t needed = cursor + n;
  if (needed > kLargestBlock) throw std::bad_alloc();
  const std::uint64_t grown = n > kGrowthStep ? needed : cursor + kGrowthStep;
  return static_cast<std::uint32_t>(std::min(grown, kLargestBlock));
}

}  // namespace

BufferWriter::BufferWriter() = default;

BufferWriter::~BufferWriter() = default;

SyntaxRecord BufferWriter::GetWriteSyntax(std::uint16_t group) const {
  if (!command_ && group != 0xFFFE) return syntax_;
  return SyntaxRecord{kLittleEndian, kImplicitVR};
}

void BufferWriter::MakeRoom(std::uint32_t n) {
  if (capacity_ >= static_cast<std::uint64_t>(cursor_) + n) return;
  const std::uint32_t capacity = GrownCapacity(cursor_, n);
  auto block = std::make_unique<std::uint8_t[]>(capacity);
  if (data_) std::memcpy(block.get(), data_.get(), capacity_);
  data_ = std::move(block);
  capacity_ = capacity;
}

void BufferWriter::ResetBlock(std::uint32_t capacity) {
  data_ = std::make_unique<std::uint8_t[]>(capacity);
  capacity_ = capacity;
  cursor_ = 0;
}

void BufferWriter::WriteUShort(std::uint16_t value) {
  MakeRoom(sizeof value);
  std::memcpy(data_.get() + cursor_, &value, sizeof value);
  cursor_ += sizeof value;
}

void BufferWriter::WriteULong(std::uint32_t value) {
  MakeRoom(sizeof value);
  std::memcpy(data_.get() + cursor_, &value, sizeof value);
  cursor_ += sizeof value;
}

void BufferWriter::WriteDouble(double value, std::uint32_t n) {
  if (n == 0) return;
  MakeRoom(n);
  std::memcpy(data_.get() + cursor_, &value, std::min<std::uint32_t>(n, sizeof value));
  cursor_ += n;
}

void BufferWriter::WriteFloat(float value, std::uint32_t n) {
  if (n == 0) return;
  MakeRoom(n);
  std::memcpy(data_.get() + cursor_, &value, std::min<std::uint32_t>(n, sizeof value));
  cursor_ += n;
}

void BufferWriter::WriteBytes(const void* data, std::uint32_t n) {
  if (n == 0) return;
  if (data != nullptr) {
    MakeRoom(n);
    std::memcpy(data_.get() + cursor_, data, n);
    cursor_ += n;
    return;
  }
  // Room for the whole doubled step, so that the cursor never passes the capacity.
  const std::uint64_t doubled = 2 * static_cast<std::uint64_t>(n);
  if (doubled > kLargestBlock) throw std::bad_alloc();
  MakeRoom(static_cast<std::uint32_t>(doubled));
  cursor_ += static_cast<std::uint32_t>(doubled);
}

void BufferWriter::CheckTextRoom(std::uint64_t count) const {
  if (cursor_ + count > capacity_) THROW_MY_EXCEPTION("The text value does not fit in the buffer writer's block.");
}

void BufferWriter::WriteText(std::string_view text, std::uint32_t length, bool pad) {
  if (length == 0) return;
  text = text.substr(0, text.find('\0'));
  const std::uint64_t evenLength = static_cast<std::uint64_t>(length) + (length & 1);
  const std::uint64_t count = (pad && evenLength > text.size()) ? evenLength : text.size();
  if (count == 0) return;
  CheckTextRoom(count);
  std::uint8_t* at = data_.get() + cursor_;
  if (!text.empty()) std::memcpy(at, text.data(), text.size());
  std::memset(at + text.size(), ' ', count - text.size());
  cursor_ += static_cast<std::uint32_t>(count);
}

void BufferWriter::WriteUid(std::string_view text, std::uint32_t length, bool pad) {
  if (length == 0) return;
  text = text.substr(0, text.find('\0'));
  const std::uint64_t count = (pad && length > text.size()) ? length : text.size();
  if (count == 0) return;
  CheckTextRoom(count);
  std::uint8_t* at = data_.get() + cursor_;
  if (!text.empty()) std::memcpy(at, text.data(), text.size());
  std::memset(at + text.size(), 0, count - text.size());
  cursor_ += static_cast<std::uint32_t>(count);
}

void BufferWriter::WriteUnsignedLongAtPosition(std::uint32_t value, std::uint32_t position) {
  if (static_cast<std::uint64_t>(position) + sizeof value > capacity_)
    THROW_MY_EXCEPTION("WriteUnsignedLongAtPosition failed.");
  std::memcpy(data_.get() + position, &value, sizeof value);
}

void BufferWriter::MoveCursor(std::uint32_t position) {
  if (position > capacity_) THROW_MY_EXCEPTION("Attempt to move the buffer writer cursor outside the buffer size.");
  cursor_ = position;
}

}  // namespace DicomEngine
