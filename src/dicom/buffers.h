// The memory that carries DICOM bytes: a file held as a list of chunks, a reading cursor over those
// chunks, and a growing block into which a data set is written.
//
// A file is held in a MultiChunkBuffer of chunks of 16384 bytes, each read from the file when a
// reader first needs it (see ChunkSource and FileParser), or read all at once into separately allocated
// chunks (ReadBinaryFileIntoBuffer in foundation/file_utils.h); it is never copied into one block. A BufferReader
// walks those chunks as if they were one run of bytes; for each sequence item it hands out a sub-reader
// over the same chunks. A BufferWriter is the other direction: one contiguous block that grows as a data
// set is serialised into it. Multi-byte values are read and written in the machine's little-endian
// order; nothing here swaps bytes, whatever the transfer syntax says.
//
// Positions and sizes are unsigned 32-bit, as in the file formats they serve. Failures are MyException
// with the messages listed at each operation; allocation failures are std::bad_alloc unless stated.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "dicom/transfer_syntax.h"
#include "foundation/byte_block.h"

namespace DicomEngine {

// The length of a value or item whose end is marked by a delimiter instead.
inline constexpr std::uint32_t kUndefinedLength = 0xFFFFFFFF;

// Where the bytes of chunks that are not held in memory come from, a file say: read when first needed.
class ChunkSource {
 public:
  virtual ~ChunkSource();
  // Copies the `n` bytes at `offset` of the source into `target`. Throws MyException when they can't
  // all be read ("Failed to read the DICOM file data." for a file).
  virtual void Read(std::uint64_t offset, std::uint8_t* target, std::uint32_t n) = 0;
};

// A list of chunks of bytes that is read as one run. Copying a MultiChunkBuffer shares its chunks
// without copying any byte; a chunk's memory lives as long as any buffer or reader refers to it.
class MultiChunkBuffer {
 public:
  // One chunk: its bytes and their count. The shared pointer frees the bytes when the last reference
  // goes.
  struct Chunk {
    std::shared_ptr<std::uint8_t[]> data;
    std::uint32_t size = 0;
    // For a chunk read on demand: its source and where its bytes stand there; data stays null.
    std::shared_ptr<ChunkSource> source;
    std::uint64_t sourceOffset = 0;
  };

  MultiChunkBuffer() = default;
  virtual ~MultiChunkBuffer();
  MultiChunkBuffer(const MultiChunkBuffer&) = default;
  MultiChunkBuffer& operator=(const MultiChunkBuffer&) = default;
  MultiChunkBuffer(MultiChunkBuffer&&) = default;
  MultiChunkBuffer& operator=(MultiChunkBuffer&&) = default;

  // Appends the bytes of `chunk` as the last chunk, at most 2^32 - 1 of them. The chunk is shared from
  // then on by every buffer and reader made from this one, and freed when the last of them goes (or at
  // once if this call throws std::bad_alloc). An empty chunk is allowed and holds nothing.
  void AddChunk(ByteBlock chunk);

  // Appends a chunk of `size` bytes that stand at `offset` of `source`, read when a reader first needs
  // them. A null source does nothing.
  void AddSourceChunk(std::shared_ptr<ChunkSource> source, std::uint64_t offset, std::uint32_t size);
  // The sum of the sizes of the chunks, in 32-bit arithmetic (chunks with null data count 0).
  std::uint32_t TotalSize() const;

  const std::vector<Chunk>& Chunks() const { return chunks_; }

 private:
  std::vector<Chunk> chunks_;
};

// A cursor over the chunks of a MultiChunkBuffer, reading little-endian values.
//
// A reader stops at its end position. Positions are absolute within the whole chunk list: a sub-reader
// starts where its parent stands, ends where its item ends, and every byte it consumes also advances its
// parent and all the parent's ancestors, so a parent always stands just behind what its sub-readers
// have read. Peek moves nothing.
//
// The bounds check (HasBytes) never wraps: a count near 2^32 read from a damaged file fails the check
// instead of passing it and moving the cursor backwards, so every read and skip either consumes bytes
// or throws, and a parse always ends. Reads never touch memory outside the chunks.
class BufferReader {
 public:
  // A reader over all of `buffer`'s chunks, which it shares (they stay alive as long as the reader
  // does, whatever happens to `buffer`): end is buffer.TotalSize(), cursor 0, no parent.
  explicit BufferReader(const MultiChunkBuffer& buffer);
  virtual ~BufferReader();
  BufferReader(const BufferReader&) = delete;
  BufferReader& operator=(const BufferReader&) = delete;

  std::uint32_t Cursor() const { return cursor_; }
  std::uint32_t End() const { return end_; }
  // The reader this one was made from, or null.
  const BufferReader* Parent() const { return parent_; }
  // end - cursor, or 0 when the cursor stands at or past the end. Never wraps.
  std::uint32_t Remaining() const { return cursor_ < end_ ? end_ - cursor_ : 0; }

  // True if end >= cursor + n, the sum taken without wrapping (see the class comment).
  bool HasBytes(std::uint32_t n) const;
  // Throws "The buffer is not long enough to perform the requested read operation." unless HasBytes(n).
  void CheckBytes(std::uint32_t n) const;

  // Copies n bytes at the cursor into `target` without moving the cursor; n of 0 does nothing. After
  // CheckBytes(n), throws "Cannot find the next memory chunk." if no chunk holds the cursor's byte. If
  // the chunks end before n bytes are copied the copy stops there quietly, leaving the rest of `target`
  // as it was.
  void Peek(void* target, std::uint32_t n) const;
  // CheckBytes(n), then advances this reader and every ancestor by n.
  void Skip(std::uint32_t n);

  // Reads n bytes into a new block that the caller owns. n of 0 sets *out to an empty block and reads
  // nothing. Throws "The binary buffer to read into is empty." for a null `out`,
  // "Memory allocation failure." when the block can't be had, and the failures of Peek.
  void ReadBytes(ByteBlock* out, std::uint32_t n);
  // Two bytes as an unsigned 16-bit value.
  std::uint16_t ReadUShort();
  // Four bytes as an unsigned 32-bit value.
  std::uint32_t ReadULong();
  // Kept as the engine has always read signed longs (the SL values): checks for 4 bytes, takes only the
  // first 2 into a zeroed 32-bit value and advances by 4. The result is the low 16 bits, zero-extended:
  // bytes 45 23 01 00 give 0x2345.
  std::int32_t ReadSLong();
  // Read n bytes into a zeroed float or double and advance by n. Both check first for 4 bytes only,
  // and then Peek checks for the full n: ReadFloat(2) with 3 bytes left fails, ReadDouble(8) with 5
  // left fails in Peek. Of more than the value's width, the bytes past the width are consumed but not
  // stored.
  float ReadFloat(std::uint32_t n);
  double ReadDouble(std::uint32_t n);
  // n bytes as text that ends at the first NUL, while the cursor still moves by all n: "AB\0CD" gives
  // "AB" and moves 5. n of 0 gives the empty string.
  std::string ReadString(std::uint32_t n);

  // Takes the next n bytes without copying them: the slice shares the chunks and copies the bytes out
  // when asked (chunks read on demand are then read straight into the target). Advances like Skip(n),
  // with its failure.
  class Slice;
  Slice TakeSlice(std::uint32_t n);

  // A reader for the next `length` bytes: it shares the chunks, its cursor is this cursor, its end is
  // cursor + length and its parent is this reader, which must outlive it. A length above 0xFFFFFFFE
  // (kUndefinedLength) means up to this reader's end. Throws the failure of CheckBytes(length);
  // never returns null.
  std::unique_ptr<BufferReader> CreateSubReader(std::uint32_t length);

 private:
  // The chunks of a reader and its sub-readers, with the position just past each chunk, so that the
  // chunk under the cursor is found by a binary search. Shared and never changed.
  struct ChunkTable {
    std::vector<MultiChunkBuffer::Chunk> chunks;
    std::vector<std::uint64_t> ends;
    // The chunks of a source read so far, by index; filled as readers need them.
    mutable std::vector<std::shared_ptr<std::uint8_t[]>> loaded;

    // Copies `count` bytes from `position` on into `target`; the bytes must be within the table.
    // Chunks of a source that are copied whole are read straight into the target, consecutive ones in
    // one read; a chunk copied in part is read into memory first and kept.
    void Copy(std::uint64_t position, std::uint8_t* target, std::uint32_t count) const;
    const std::uint8_t* BytesOf(std::size_t index) const;
  };

  BufferReader(std::shared_ptr<const ChunkTable> table, std::uint32_t end, BufferReader* parent,
               std::uint32_t cursor);
  // Copies up to `count` of the n bytes at the cursor, after the checks of Peek(target, n).
  void PeekPart(void* target, std::uint32_t n, std::uint32_t count) const;
  // ReadFloat and ReadDouble: checks 4 bytes, reads n, keeps at most the value's width.
  template <typename Real>
  Real ReadReal(std::uint32_t n);
  void Advance(std::uint32_t n);

  std::uint32_t end_;
  std::shared_ptr<const ChunkTable> table_;
  BufferReader* parent_;
  std::uint32_t cursor_;
};

// Bytes of a buffer taken by a reader, copied out only when needed. Copying a slice shares the chunks.
class BufferReader::Slice {
 public:
  Slice() = default;
  std::uint32_t Size() const { return size_; }
  // Copies the slice's bytes into `target`, which has room for Size() bytes. Throws the source's failure.
  void CopyTo(std::uint8_t* target) const;

 private:
  friend class BufferReader;
  Slice(std::shared_ptr<const ChunkTable> table, std::uint32_t start, std::uint32_t size)
      : table_(std::move(table)), start_(start), size_(size) {}

  std::shared_ptr<const ChunkTable> table_;
  std::uint32_t start_ = 0;
  std::uint32_t size_ = 0;
};

// A contiguous block, owned, into which a data set is serialised, with a write cursor.
//
// Writes that grow the block follow one rule: room for n bytes at cursor s is there if the capacity
// is at least s + n; otherwise the block is reallocated to s + n bytes if n is above 1,000,000, else to
// s + 1,000,000, the old bytes copied and the new room zero-filled. A block that would pass 2^32 - 1
// bytes throws std::bad_alloc. The text writes (WriteText, WriteUid) never grow the block: whoever
// calls them makes room first (MakeRoom). The cursor never stands beyond the capacity.
//
// A derived writer (the file writer) sets the syntax and the command flag, and may choose another
// syntax per group by overriding GetWriteSyntax.
class BufferWriter {
 public:
  // No block, capacity 0, cursor 0, unset syntax, not a command.
  BufferWriter();
  virtual ~BufferWriter();
  BufferWriter(const BufferWriter&) = delete;
  BufferWriter& operator=(const BufferWriter&) = delete;

  // The syntax that elements of `group` are written in: the writer's syntax when the object written
  // is not a command and the group isn't 0xFFFE (items and delimiters); otherwise implicit VR
  // little-endian.
  virtual SyntaxRecord GetWriteSyntax(std::uint16_t group) const;

  // Append 2 or 4 bytes at the cursor, growing if needed.
  void WriteUShort(std::uint16_t value);
  void WriteULong(std::uint32_t value);
  // With n of 0 nothing is written. Otherwise makes room for n bytes, stores the value at the cursor
  // (at most its own width; bytes past it stay as they were) and advances by n.
  void WriteDouble(double value, std::uint32_t n);
  void WriteFloat(float value, std::uint32_t n);
  // n of 0 does nothing. Non-null data: makes room, copies n bytes, advances by n. Null data: advances
  // by 2n over bytes left as they stand (zero in a fresh block), the doubled step being how the engine
  // has always written a value without bytes; room is made for all 2n.
  void WriteBytes(const void* data, std::uint32_t n);
  // Text value: length 0 does nothing. Copies `text` up to its first NUL; if `pad` is set and `length`
  // rounded up to even is more than that, fills the rest up to the even length with blanks (0x20).
  // Does not grow: throws "The text value does not fit in the buffer writer's block." if the bytes
  // would pass the capacity.
  void WriteText(std::string_view text, std::uint32_t length, bool pad);
  // As WriteText, but pads with NUL and only up to `length` itself.
  void WriteUid(std::string_view text, std::uint32_t length, bool pad);
  // Stores 4 bytes at `position`, leaving the cursor. Throws "WriteUnsignedLongAtPosition failed." if
  // position + 4 is beyond the capacity (not the written size).
  void WriteUnsignedLongAtPosition(std::uint32_t value, std::uint32_t position);
  // Sets the cursor. Throws "Attempt to move the buffer writer cursor outside the buffer size." if the
  // position is beyond the capacity (not the written size).
  void MoveCursor(std::uint32_t position);

  // Makes room for n bytes at the cursor by the growth rule above.
  void MakeRoom(std::uint32_t n);
  // Replaces the block by a zero-filled one of `capacity` bytes and puts the cursor at 0.
  void ResetBlock(std::uint32_t capacity);

  // The block (null before the first write or ResetBlock), its capacity, and the cursor, which is the
  // count of bytes written when the cursor has only moved forward.
  const std::uint8_t* Data() const { return data_.get(); }
  std::uint32_t Capacity() const { return capacity_; }
  std::uint32_t Cursor() const { return cursor_; }

  const SyntaxRecord& Syntax() const { return syntax_; }
  void SetSyntax(const SyntaxRecord& syntax) { syntax_ = syntax; }
  // True while the object being written is a DicomCommand.
  bool IsCommand() const { return command_; }
  void SetCommand(bool command) { command_ = command; }

 private:
  // Checks that `count` bytes fit at the cursor without growing.
  void CheckTextRoom(std::uint64_t count) const;

  bool command_ = false;
  std::unique_ptr<std::uint8_t[]> data_;
  std::uint32_t capacity_ = 0;
  SyntaxRecord syntax_;
  std::uint32_t cursor_ = 0;
};

}  // namespace DicomEngine
