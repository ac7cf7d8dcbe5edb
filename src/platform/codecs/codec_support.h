// What the four codec functions share: the caller's bytes, the decoded block under construction, the
// error text, and the search for code streams in the pixel data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>

namespace ondrel::codecs {

// Bytes of the caller's buffer, read only.
struct ByteRange {
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;

  ByteRange From(std::size_t offset) const { return {data + offset, size - offset}; }
};

// Copies `message` into the caller's 1024-byte error buffer, cut at 1023 characters and without
// trailing line breaks (OpenJPEG ends its messages with one). A null buffer is left alone.
void SetErrorText(char* errorText, std::string_view message) noexcept;

// The decoded samples of every frame, one frame after the other, in a block that is finally handed to
// the caller. The block is allocated with new std::uint8_t[], as the caller frees it, and never grows
// past the caller's limit.
class OutputBlock {
 public:
  // `limit`: the most bytes the caller accepts, at most INT_MAX (the caller's length is an int).
  explicit OutputBlock(std::size_t limit) : limit_(limit) {}

  // Whether a frame that declares `declared` bytes of samples fits after the frames already decoded.
  // Asked before the frame is decoded, so that a damaged header that declares a huge image fails
  // before anything of its size is allocated; false with the declared size and the limit in errorText.
  bool Admits(std::uint64_t declared, char* errorText) const noexcept;
  // Room for `count` more bytes at the end; returns where they start. Null when the total would pass
  // the limit or memory runs out, with the reason in errorText.
  std::uint8_t* Append(std::size_t count, char* errorText) noexcept;
  std::size_t Size() const { return size_; }
  // Hands the block over and leaves this one empty. Its first Size() bytes are the samples; it is
  // exactly that long unless several frames made it grow and a last shrinking copy found no memory.
  std::uint8_t* Release() noexcept;

 private:
  std::unique_ptr<std::uint8_t[]> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  std::size_t limit_;
};

// a * b, or the largest value when that overflows: sizes declared by damaged headers stay comparable.
constexpr std::uint64_t SaturatingProduct(std::uint64_t a, std::uint64_t b) {
  return b != 0 && a > UINT64_MAX / b ? UINT64_MAX : a * b;
}

// Decodes every code stream of the caller's data into `out`; false with a message in errorText.
using StreamDecoder = bool (*)(ByteRange data, OutputBlock& out, char* errorText);

// The frame of the four codec functions: checks the arguments, runs `decode` into a block of at most
// `maxOutLength` bytes and returns the decoded block with its length in *outLength. A failure, or an
// exception out of `decode`, gives null with *outLength 0 and a message in errorText. `outputGiven`
// says whether the caller gave an out pointer (without one there is nowhere to hand the block to).
// outLength and errorText may be null.
std::uint8_t* RunCodec(const unsigned char* source, int sourceLength, bool outputGiven, StreamDecoder decode,
                       int* outLength, char* errorText, int maxOutLength) noexcept;

// A byte pattern that opens a code stream of some kind.
using StreamStart = std::span<const std::uint8_t>;

// SOI and the first byte of the next marker. The marker prefix after FF D8 makes a false start inside
// a Basic Offset Table (a little-endian offset holding FF D8) unlikely.
inline constexpr std::uint8_t kJpegStartBytes[] = {0xFF, 0xD8, 0xFF};
// SOC followed by SIZ, which the JPEG 2000 code stream syntax puts first.
inline constexpr std::uint8_t kJ2kStartBytes[] = {0xFF, 0x4F, 0xFF, 0x51};
// The JP2 signature box: length 12, type 'jP  ', content 0D 0A 87 0A.
inline constexpr std::uint8_t kJp2StartBytes[] = {0x00, 0x00, 0x00, 0x0C, 0x6A, 0x50,
                                                  0x20, 0x20, 0x0D, 0x0A, 0x87, 0x0A};
inline constexpr StreamStart kJpegStart{kJpegStartBytes};
inline constexpr StreamStart kJ2kStart{kJ2kStartBytes};
inline constexpr StreamStart kJp2Start{kJp2StartBytes};

inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// Offset of the first place in `bytes` where one of `starts` begins, or kNotFound. This is how the
// first code stream is found behind whatever precedes it (an offset table, an empty fragment).
std::size_t FindFirstStream(ByteRange bytes, std::initializer_list<StreamStart> starts);

// Where the next code stream begins after one has ended at `offset`: only padding may stand between
// frames, so 0x00 bytes (and 0xFF bytes, JPEG's fill, when `skipFillBytes`) are stepped over until one
// of `starts` begins. kNotFound when the data ends or something else comes first; what follows the last
// frame is not decoded.
std::size_t FindNextStream(ByteRange bytes, std::size_t offset, std::initializer_list<StreamStart> starts,
                           bool skipFillBytes);

// The frame header (SOFn) of a JPEG code stream that starts with SOI, as far as choosing a library and
// bounding what the stream can hold need.
struct JpegFrameHeader {
  bool found = false;
  bool lossless = false;  // process 14 or its relatives (SOF3, SOF7, SOF11, SOF15)
  bool arithmetic = false;  // arithmetic rather than Huffman coding (SOF9 to SOF15)
  int precision = 0;
  // The samples the scans code: for each component, the image's size scaled by its sampling factors
  // (ceil(X * H / Hmax) times ceil(Y * V / Vmax)), summed. 0 when the header is cut short.
  std::uint64_t codedSamples = 0;
};
JpegFrameHeader ReadJpegFrameHeader(ByteRange stream);

// What walking the marker segments and tile-parts of a JPEG 2000 code stream finds.
struct J2kStreamLayout {
  // Through EOC; the whole range when the walk runs off the end or meets something malformed (the
  // decoder then reports what is wrong).
  std::size_t length = 0;
  std::uint32_t tiles = 0;  // as SIZ declares them; 0 when SIZ cannot be read
  std::uint32_t tilesPresent = 0;  // tiles with at least one tile-part
};
// The layout of the code stream that starts with SOC at the start of `stream`.
J2kStreamLayout ReadJ2kStreamLayout(ByteRange stream);

// Where the contiguous code stream box of a JP2 file that starts with the signature box at the start
// of `stream` holds its code stream, and where the file ends (just after that box). When the boxes do
// not say, the file runs to the end of `stream` and the code stream is empty.
struct Jp2FileLayout {
  std::size_t length = 0;
  std::size_t codeStreamOffset = 0;
  std::size_t codeStreamLength = 0;
};
Jp2FileLayout ReadJp2FileLayout(ByteRange stream);

}  // namespace ondrel::codecs
