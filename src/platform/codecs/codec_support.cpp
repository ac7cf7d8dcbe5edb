// The decoded block, the error text and the search for code streams.
#include "codec_support.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <vector>

namespace ondrel::codecs {

namespace {

constexpr std::size_t kErrorTextCapacity = 1023;

bool StartsWith(ByteRange bytes, std::size_t offset, StreamStart start) {
  return bytes.size - offset >= start.size() && std::memcmp(bytes.data + offset, start.data(), start.size()) == 0;
}

bool StartsWithAny(ByteRange bytes, std::size_t offset, std::initializer_list<StreamStart> starts) {
  return std::any_of(starts.begin(), starts.end(),
                     [&](StreamStart start) { return StartsWith(bytes, offset, start); });
}

std::uint32_t ReadBigEndian16(const std::uint8_t* p) { return (std::uint32_t{p[0]} << 8) | p[1]; }

std::uint32_t ReadBigEndian32(const std::uint8_t* p) { return (ReadBigEndian16(p) << 16) | ReadBigEndian16(p + 2); }

std::uint64_t ReadBigEndian64(const std::uint8_t* p) {
  return (std::uint64_t{ReadBigEndian32(p)} << 32) | ReadBigEndian32(p + 4);
}

}  // namespace

void SetErrorText(char* errorText, std::string_view message) noexcept {
  if (errorText == nullptr) return;
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) message.remove_suffix(1);
  const std::size_t length = std::min(message.size(), kErrorTextCapacity);
  std::memcpy(errorText, message.data(), length);
  errorText[length] = '\0';
}

bool OutputBlock::Admits(std::uint64_t declared, char* errorText) const noexcept {
  if (declared <= limit_ - size_) return true;
  char message[256];
  if (size_ == 0) {
    std::snprintf(message, sizeof message,
                  "The code stream declares %llu bytes of samples, more than the %zu bytes the caller accepts.",
                  static_cast<unsigned long long>(declared), limit_);
  } else {
    std::snprintf(message, sizeof message,
                  "The code stream declares %llu bytes of samples, which after the %zu bytes of the frames "
                  "before it is more than the %zu bytes the caller accepts.",
                  static_cast<unsigned long long>(declared), size_, limit_);
  }
  SetErrorText(errorText, message);
  return false;
}

std::uint8_t* OutputBlock::Append(std::size_t count, char* errorText) noexcept {
  if (!Admits(count, errorText)) return nullptr;
  const std::size_t needed = size_ + count;
  if (needed > capacity_) {
    // The first frame gets exactly its size, so that a single frame is handed over without a copy;
    // further frames double the block, so that many frames are not copied over and over.
    const std::size_t capacity = capacity_ == 0 ? needed : std::min(std::max(needed, 2 * capacity_), limit_);
    std::unique_ptr<std::uint8_t[]> grown(new (std::nothrow) std::uint8_t[capacity]);
    if (!grown) {
      SetErrorText(errorText, "Out of memory for the decoded image.");
      return nullptr;
    }
    if (size_ > 0) std::memcpy(grown.get(), data_.get(), size_);
    data_ = std::move(grown);
    capacity_ = capacity;
  }
  std::uint8_t* start = data_.get() + size_;
  size_ = needed;
  return start;
}

std::uint8_t* OutputBlock::Release() noexcept {
  if (capacity_ != size_) {
    std::unique_ptr<std::uint8_t[]> exact(new (std::nothrow) std::uint8_t[size_]);
    if (exact) {
      std::memcpy(exact.get(), data_.get(), size_);
      data_ = std::move(exact);
    }
  }
  size_ = 0;
  capacity_ = 0;
  return data_.release();
}

std::uint8_t* RunCodec(const unsigned char* source, int sourceLength, bool outputGiven, StreamDecoder decode,
                       int* outLength, char* errorText, int maxOutLength) noexcept {
  if (outLength != nullptr) *outLength = 0;
  if (!outputGiven || outLength == nullptr) {
    SetErrorText(errorText, "No place for the decoded image: a null output pointer was passed.");
    return nullptr;
  }
  if (source == nullptr) {
    SetErrorText(errorText, "No compressed data: the source pointer is null.");
    return nullptr;
  }
  if (sourceLength <= 0) {
    char message[64];
    std::snprintf(message, sizeof message, "No compressed data: the source length is %d.", sourceLength);
    SetErrorText(errorText, message);
    return nullptr;
  }
  if (maxOutLength <= 0) {
    char message[96];
    std::snprintf(message, sizeof message, "No room for the decoded samples: the caller accepts %d bytes.",
                  maxOutLength);
    SetErrorText(errorText, message);
    return nullptr;
  }
  try {
    OutputBlock out(static_cast<std::size_t>(maxOutLength));
    if (!decode({source, static_cast<std::size_t>(sourceLength)}, out, errorText)) return nullptr;
    if (out.Size() == 0) {
      SetErrorText(errorText, "The code stream holds no samples.");
      return nullptr;
    }
    *outLength = static_cast<int>(out.Size());
    return out.Release();
  } catch (const std::bad_alloc&) {
    SetErrorText(errorText, "Out of memory while decoding.");
  } catch (const std::exception& e) {
    SetErrorText(errorText, e.what());
  } catch (...) {
    SetErrorText(errorText, "The decoder failed with an unknown exception.");
  }
  return nullptr;
}

std::size_t FindFirstStream(ByteRange bytes, std::initializer_list<StreamStart> starts) {
  for (std::size_t offset = 0; offset < bytes.size; ++offset) {
    if (StartsWithAny(bytes, offset, starts)) return offset;
  }
  return kNotFound;
}

std::size_t FindNextStream(ByteRange bytes, std::size_t offset, std::initializer_list<StreamStart> starts,
                           bool skipFillBytes) {
  for (; offset < bytes.size; ++offset) {
    if (StartsWithAny(bytes, offset, starts)) return offset;
    const std::uint8_t byte = bytes.data[offset];
    if (byte != 0x00 && !(skipFillBytes && byte == 0xFF)) break;
  }
  return kNotFound;
}

namespace {

// The samples a frame's scans code, from the frame header's fields after Lf: P, Y, X, Nf, then for
// each component its id, H and V factors (4 bits each) and table. 0 when the fields are cut short or
// a factor is 0.
std::uint64_t CodedSamples(ByteRange fields) {
  if (fields.size < 6) return 0;
  const std::uint64_t height = ReadBigEndian16(fields.data + 1), width = ReadBigEndian16(fields.data + 3);
  const std::size_t components = fields.data[5];
  if (fields.size < 6 + 3 * components) return 0;
  std::uint64_t maxH = 0, maxV = 0;
  for (std::size_t c = 0; c < components; ++c) {
    const std::uint8_t factors = fields.data[6 + 3 * c + 1];
    if ((factors >> 4) == 0 || (factors & 0x0F) == 0) return 0;
    maxH = std::max<std::uint64_t>(maxH, factors >> 4);
    maxV = std::max<std::uint64_t>(maxV, factors & 0x0F);
  }
  std::uint64_t samples = 0;
  for (std::size_t c = 0; c < components; ++c) {
    const std::uint8_t factors = fields.data[6 + 3 * c + 1];
    samples += ((width * (factors >> 4) + maxH - 1) / maxH) * ((height * (factors & 0x0F) + maxV - 1) / maxV);
  }
  return samples;
}

}  // namespace

JpegFrameHeader ReadJpegFrameHeader(ByteRange stream) {
  std::size_t offset = 2;  // past SOI
  while (offset + 1 < stream.size) {
    if (stream.data[offset] != 0xFF) return {};
    const std::uint8_t marker = stream.data[offset + 1];
    if (marker == 0xFF) {  // a fill byte before the marker
      ++offset;
      continue;
    }
    // SOF0..SOF15 without DHT (C4), JPG (C8) and DAC (CC).
    if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) {
      if (offset + 4 >= stream.size) return {};
      JpegFrameHeader header{true, (marker & 0x03) == 0x03, (marker & 0x08) != 0, stream.data[offset + 4], 0};
      header.codedSamples = CodedSamples(stream.From(offset + 4));
      return header;
    }
    if (marker == 0xDA || marker == 0xD9) return {};  // a scan or the end before any frame header
    if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {  // TEM and RSTn stand alone
      offset += 2;
      continue;
    }
    if (offset + 3 >= stream.size) return {};
    offset += 2 + ReadBigEndian16(stream.data + offset + 2);
  }
  return {};
}

namespace {

// Tiles on the reference grid, from SIZ (Xsiz, Ysiz, XOsiz, YOsiz, XTsiz, YTsiz, XTOsiz, YTOsiz after
// Lsiz and Rsiz); 0 for a SIZ that does not make sense, which the decoder refuses in its own words.
std::uint32_t DeclaredTiles(ByteRange stream) {
  constexpr std::size_t kSiz = 2;  // SIZ follows SOC
  if (stream.size < kSiz + 40 || stream.data[kSiz] != 0xFF || stream.data[kSiz + 1] != 0x51) return 0;
  const std::uint8_t* fields = stream.data + kSiz + 6;
  const std::uint64_t width = ReadBigEndian32(fields), height = ReadBigEndian32(fields + 4);
  const std::uint64_t tileWidth = ReadBigEndian32(fields + 16), tileHeight = ReadBigEndian32(fields + 20);
  const std::uint64_t tileX = ReadBigEndian32(fields + 24), tileY = ReadBigEndian32(fields + 28);
  if (tileWidth == 0 || tileHeight == 0 || width <= tileX || height <= tileY) return 0;
  const std::uint64_t tiles =
      ((width - tileX + tileWidth - 1) / tileWidth) * ((height - tileY + tileHeight - 1) / tileHeight);
  constexpr std::uint64_t kMaximumTiles = 65535;  // Isot is 16 bits wide
  return tiles <= kMaximumTiles ? static_cast<std::uint32_t>(tiles) : 0;
}

}  // namespace

J2kStreamLayout ReadJ2kStreamLayout(ByteRange stream) {
  constexpr std::uint8_t kEoc = 0xD9;
  constexpr std::uint8_t kSot = 0x90;
  J2kStreamLayout layout{stream.size, DeclaredTiles(stream), 0};
  std::vector<bool> present(layout.tiles);
  std::size_t offset = 2;  // past SOC
  while (offset + 4 <= stream.size) {
    if (stream.data[offset] != 0xFF) return layout;
    const std::uint8_t marker = stream.data[offset + 1];
    if (marker == kEoc) {
      layout.length = offset + 2;
      return layout;
    }
    if (marker == kSot) {
      // Lsot (2), Isot (2), Psot (4): Psot is the tile-part's length from the SOT marker on; 0 means
      // "up to EOC", and the packet data never holds FF D9 (a byte FF is followed by at most 8F there).
      if (offset + 12 > stream.size) return layout;
      const std::uint32_t tile = ReadBigEndian16(stream.data + offset + 4);
      if (tile < layout.tiles && !present[tile]) {
        present[tile] = true;
        ++layout.tilesPresent;
      }
      const std::uint32_t tilePartLength = ReadBigEndian32(stream.data + offset + 6);
      if (tilePartLength == 0) {
        for (std::size_t i = offset + 12; i + 1 < stream.size; ++i) {
          if (stream.data[i] == 0xFF && stream.data[i + 1] == kEoc) {
            layout.length = i + 2;
            return layout;
          }
        }
        return layout;
      }
      if (tilePartLength < 14 || tilePartLength > stream.size - offset) return layout;
      offset += tilePartLength;
      continue;
    }
    const std::uint32_t segmentLength = ReadBigEndian16(stream.data + offset + 2);
    if (segmentLength < 2) return layout;
    offset += 2 + segmentLength;
  }
  return layout;
}

Jp2FileLayout ReadJp2FileLayout(ByteRange stream) {
  constexpr std::uint32_t kContiguousCodeStreamBox = 0x6A703263;  // 'jp2c'
  const Jp2FileLayout unknown{stream.size, 0, 0};
  std::size_t offset = 0;
  while (offset + 8 <= stream.size) {
    std::uint64_t boxLength = ReadBigEndian32(stream.data + offset);
    const std::uint32_t boxType = ReadBigEndian32(stream.data + offset + 4);
    std::uint64_t headerLength = 8;
    if (boxLength == 1) {  // the length follows as 64 bits
      if (offset + 16 > stream.size) return unknown;
      boxLength = ReadBigEndian64(stream.data + offset + 8);
      headerLength = 16;
    } else if (boxLength == 0) {  // the box runs to the end of the file
      boxLength = stream.size - offset;
    }
    if (boxLength < headerLength || boxLength > stream.size - offset) return unknown;
    if (boxType == kContiguousCodeStreamBox) {
      return {offset + boxLength, offset + headerLength, boxLength - headerLength};
    }
    offset += boxLength;
  }
  return unknown;
}

}  // namespace ondrel::codecs
