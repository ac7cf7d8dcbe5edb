// BMP files (device-independent bitmaps), read and written without a library: the format is a header,
// an optional colour table and rows of pixels that already have GDI+'s memory layouts.
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "picture/picture_codecs.h"

namespace ondrel::platform::picture {
namespace {

constexpr std::uint32_t kBiRgb = 0;
constexpr std::uint32_t kBiRle8 = 1;
constexpr std::uint32_t kBiRle4 = 2;
constexpr std::uint32_t kBiBitfields = 3;
constexpr std::uint32_t kBiAlphaBitfields = 6;

constexpr std::size_t kFileHeaderSize = 14;
constexpr std::uint32_t kCoreHeaderSize = 12;  // OS/2 1.x: 16-bit sides, 3-byte colour table entries
constexpr std::uint32_t kInfoHeaderSize = 40;
constexpr std::uint32_t kV4HeaderSize = 108;
constexpr std::uint32_t kLcsSrgb = 0x73524742;  // 'sRGB'
constexpr std::int32_t kPixelsPerMetreAt96Dpi = 3780;

struct Masks {
  std::uint32_t red, green, blue, alpha;
  friend bool operator==(const Masks&, const Masks&) = default;
};

std::uint32_t U16(FileBytes file, std::size_t at) { return file[at] | (file[at + 1] << 8); }
std::uint32_t U32(FileBytes file, std::size_t at) { return U16(file, at) | (U16(file, at + 2) << 16); }

bool Fail(std::string& error, const std::string& reason) {
  error = "BMP: " + reason;
  return false;
}

// One channel of a bit-field pixel scaled to 8 bits; an empty mask reads as `absent`.
struct Channel {
  std::uint32_t mask = 0;
  int shift = 0;
  std::uint32_t maximum = 0;
  unsigned absent = 0;

  unsigned Read(std::uint32_t pixel) const {
    if (mask == 0) return absent;
    return static_cast<unsigned>(((pixel & mask) >> shift) * 255ull + maximum / 2) / maximum;
  }
};

bool MakeChannel(std::uint32_t mask, int bitsPerPixel, unsigned absent, Channel& channel) {
  channel.mask = mask;
  channel.absent = absent;
  if (mask == 0) return true;
  channel.shift = std::countr_zero(mask);
  channel.maximum = mask >> channel.shift;
  // A mask must be one run of bits inside the pixel.
  return (channel.maximum & (channel.maximum + 1)) == 0 && (bitsPerPixel == 32 || (mask >> bitsPerPixel) == 0);
}

// Bit-field pixels that have no GDI+ format of their own, converted to 24bppRGB or 32bppARGB.
bool ReadGeneralBitfields(const std::uint8_t* rows, std::int64_t fileStride, bool bottomUp, int bitsPerPixel,
                          const Masks& masks, Picture& picture, std::string& error) {
  Channel red, green, blue, alpha;
  if (!MakeChannel(masks.red, bitsPerPixel, 0, red) || !MakeChannel(masks.green, bitsPerPixel, 0, green) ||
      !MakeChannel(masks.blue, bitsPerPixel, 0, blue) || !MakeChannel(masks.alpha, bitsPerPixel, 255, alpha))
    return Fail(error, "a colour mask is not one run of bits inside the pixel");
  const int outBytes = masks.alpha != 0 ? 4 : 3;
  for (int y = 0; y < picture.height; ++y) {
    const std::uint8_t* in = rows + (bottomUp ? picture.height - 1 - y : y) * fileStride;
    std::uint8_t* out = picture.bits.data() + static_cast<std::size_t>(y) * picture.stride;
    for (int x = 0; x < picture.width; ++x) {
      std::uint32_t pixel = in[0] | (in[1] << 8);
      if (bitsPerPixel == 32)
        pixel |= static_cast<std::uint32_t>(in[2] << 16) | (static_cast<std::uint32_t>(in[3]) << 24);
      in += bitsPerPixel / 8;
      out[0] = static_cast<std::uint8_t>(blue.Read(pixel));
      out[1] = static_cast<std::uint8_t>(green.Read(pixel));
      out[2] = static_cast<std::uint8_t>(red.Read(pixel));
      if (outBytes == 4) out[3] = static_cast<std::uint8_t>(alpha.Read(pixel));
      out += outBytes;
    }
  }
  return true;
}

void PutU16(std::vector<std::uint8_t>& out, std::uint32_t v) {
  out.push_back(static_cast<std::uint8_t>(v));
  out.push_back(static_cast<std::uint8_t>(v >> 8));
}
void PutU32(std::vector<std::uint8_t>& out, std::uint32_t v) {
  PutU16(out, v & 0xFFFF);
  PutU16(out, v >> 16);
}

}  // namespace

bool DecodeBmp(FileBytes file, Picture& picture, std::string& error) {
  if (file.size() < kFileHeaderSize + 4) return Fail(error, "the file ends inside its header");
  const std::uint32_t pixelOffset = U32(file, 10);
  const std::uint32_t headerSize = U32(file, 14);
  const bool core = headerSize == kCoreHeaderSize;
  // OS/2 2.x headers (16 and 64 bytes) begin as the Windows one but number their compressions apart.
  const bool os2 = headerSize == 16 || headerSize == 64;
  if (!core && !os2 && headerSize != kInfoHeaderSize && headerSize != 52 && headerSize != 56 &&
      headerSize != kV4HeaderSize && headerSize != 124)
    return Fail(error, "unknown header size " + std::to_string(headerSize));
  if (file.size() < kFileHeaderSize + headerSize) return Fail(error, "the file ends inside its header");

  std::int64_t width, height;
  std::uint32_t bitsPerPixel, compression = kBiRgb, colorsUsed = 0;
  if (core) {
    width = U16(file, 18);
    height = U16(file, 20);
    bitsPerPixel = U16(file, 24);
  } else {
    width = static_cast<std::int32_t>(U32(file, 18));
    height = static_cast<std::int32_t>(U32(file, 22));
    bitsPerPixel = U16(file, 28);
    if (headerSize >= 20) compression = U32(file, 30);
    if (headerSize >= 36) colorsUsed = U32(file, 46);
  }
  const bool bottomUp = height > 0;
  height = height < 0 ? -height : height;
  if (width <= 0 || height == 0)
    return Fail(error, "the picture has no pixels (" + std::to_string(width) + " x " + std::to_string(height) + ")");
  if (bitsPerPixel != 1 && bitsPerPixel != 4 && bitsPerPixel != 8 && bitsPerPixel != 16 && bitsPerPixel != 24 &&
      bitsPerPixel != 32)
    return Fail(error, std::to_string(bitsPerPixel) + " bits per pixel are not supported");
  const bool bitfields = !os2 && (compression == kBiBitfields || compression == kBiAlphaBitfields);
  if (compression == kBiRle8 || compression == kBiRle4)
    return Fail(error, "run-length compressed bitmaps are not supported");
  if ((compression != kBiRgb && !bitfields) || (bitfields && bitsPerPixel != 16 && bitsPerPixel != 32))
    return Fail(error, "compression " + std::to_string(compression) + " is not supported for " +
                           std::to_string(bitsPerPixel) + " bits per pixel");

  std::size_t tableStart = kFileHeaderSize + headerSize;
  Masks masks{};
  if (bitsPerPixel == 16)
    masks = {0x7C00, 0x03E0, 0x001F, 0};
  else if (bitsPerPixel == 32)
    masks = {0x00FF0000, 0x0000FF00, 0x000000FF, 0};
  if (bitfields) {
    // A 40-byte header is followed by its masks; the larger headers hold them.
    const std::size_t count =
        headerSize == kInfoHeaderSize ? (compression == kBiAlphaBitfields ? 4 : 3) : (headerSize >= 56 ? 4 : 3);
    const std::size_t at = headerSize == kInfoHeaderSize ? tableStart : kFileHeaderSize + kInfoHeaderSize;
    if (file.size() < at + 4 * count) return Fail(error, "the file ends inside its colour masks");
    masks = {U32(file, at), U32(file, at + 4), U32(file, at + 8), count == 4 ? U32(file, at + 12) : 0};
    if (headerSize == kInfoHeaderSize) tableStart += 4 * count;
  }

  const std::int64_t fileStride = (width * bitsPerPixel + 31) / 32 * 4;
  if (pixelOffset < tableStart || pixelOffset > file.size())
    return Fail(error, "the pixel offset " + std::to_string(pixelOffset) + " lies outside the file");
  const std::int64_t pixelBytes = static_cast<std::int64_t>(file.size() - pixelOffset);
  if (fileStride > pixelBytes || height > pixelBytes / fileStride)
    return Fail(error, "the file ends inside its pixels");

  std::vector<std::uint32_t> palette;
  if (bitsPerPixel <= 8) {
    const std::size_t entrySize = core ? 3 : 4;
    std::size_t count = std::size_t{1} << bitsPerPixel;
    if (colorsUsed != 0 && colorsUsed < count) count = colorsUsed;
    // The table ends where the pixels begin, whatever the header claims.
    count = std::min(count, (pixelOffset - tableStart) / entrySize);
    if (count == 0) return Fail(error, "the bitmap has no colour table");
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = tableStart + i * entrySize;
      palette.push_back(0xFF000000u | (file[at + 2] << 16) | (file[at + 1] << 8) | file[at]);
    }
  }

  std::uint32_t format = 0;
  switch (bitsPerPixel) {
    case 1:
      format = kFormat1bppIndexed;
      break;
    case 4:
      format = kFormat4bppIndexed;
      break;
    case 8:
      format = kFormat8bppIndexed;
      break;
    case 16:
      if (masks == Masks{0x7C00, 0x03E0, 0x001F, 0})
        format = kFormat16bppRGB555;
      else if (masks == Masks{0xF800, 0x07E0, 0x001F, 0})
        format = kFormat16bppRGB565;
      else if (masks == Masks{0x7C00, 0x03E0, 0x001F, 0x8000})
        format = kFormat16bppARGB1555;
      break;
    case 24:
      format = kFormat24bppRGB;
      break;
    case 32:
      // Without an alpha mask the fourth byte is padding, as GDI+ reads it.
      if (masks == Masks{0x00FF0000, 0x0000FF00, 0x000000FF, 0})
        format = kFormat32bppRGB;
      else if (masks == Masks{0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000})
        format = kFormat32bppARGB;
      break;
    default:
      break;
  }
  const std::uint8_t* rows = file.data() + pixelOffset;
  if (format == 0) {
    if (!AllocatePicture(picture, width, height, masks.alpha != 0 ? kFormat32bppARGB : kFormat24bppRGB, error))
      return Fail(error, error);
    return ReadGeneralBitfields(rows, fileStride, bottomUp, static_cast<int>(bitsPerPixel), masks, picture, error);
  }
  if (!AllocatePicture(picture, width, height, format, error)) return Fail(error, error);
  for (std::int64_t y = 0; y < height; ++y) {
    const std::uint8_t* in = rows + (bottomUp ? height - 1 - y : y) * fileStride;
    std::memcpy(picture.bits.data() + y * picture.stride, in, static_cast<std::size_t>(fileStride));
  }
  if (!palette.empty()) {
    picture.palette = std::move(palette);
    CoverIndices(picture);
  }
  return true;
}

bool EncodeBmp(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error) {
  const auto argb = ConvertPicture(picture, kFormat32bppARGB);
  // 24 bits a pixel unless some pixel is not opaque; then 32 bits with an alpha mask in a version 4
  // header, which is how readers learn that the fourth byte is alpha and not padding.
  const bool alpha = HasTransparency(*argb);
  const auto pixels = alpha ? argb : ConvertPicture(picture, kFormat24bppRGB);
  const std::uint32_t headerSize = alpha ? kV4HeaderSize : kInfoHeaderSize;
  const std::uint64_t imageSize =
      static_cast<std::uint64_t>(pixels->stride) * static_cast<std::uint64_t>(pixels->height);
  const std::uint64_t fileSize = kFileHeaderSize + headerSize + imageSize;
  if (fileSize > 0xFFFFFFFFu) return Fail(error, "the picture is too large for a bitmap file");

  file.clear();
  file.reserve(static_cast<std::size_t>(fileSize));
  file.push_back('B');
  file.push_back('M');
  PutU32(file, static_cast<std::uint32_t>(fileSize));
  PutU32(file, 0);
  PutU32(file, static_cast<std::uint32_t>(kFileHeaderSize + headerSize));
  PutU32(file, headerSize);
  PutU32(file, static_cast<std::uint32_t>(pixels->width));
  PutU32(file, static_cast<std::uint32_t>(pixels->height));  // positive: rows bottom-up
  PutU16(file, 1);
  PutU16(file, alpha ? 32 : 24);
  PutU32(file, alpha ? kBiBitfields : kBiRgb);
  PutU32(file, static_cast<std::uint32_t>(imageSize));
  PutU32(file, kPixelsPerMetreAt96Dpi);
  PutU32(file, kPixelsPerMetreAt96Dpi);
  PutU32(file, 0);
  PutU32(file, 0);
  if (alpha) {
    for (std::uint32_t mask : {0x00FF0000u, 0x0000FF00u, 0x000000FFu, 0xFF000000u}) PutU32(file, mask);
    PutU32(file, kLcsSrgb);
    file.resize(kFileHeaderSize + kV4HeaderSize, 0);  // end points and gammas, unused with sRGB
  }
  for (int y = pixels->height - 1; y >= 0; --y) {
    const auto* row = pixels->bits.data() + static_cast<std::size_t>(y) * pixels->stride;
    file.insert(file.end(), row, row + pixels->stride);
  }
  return true;
}

}  // namespace ondrel::platform::picture
