// Pixel layouts: conversions between GDI+ pixel formats and the layout helpers the codecs share.
#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "picture/picture.h"
#include "picture/picture_codecs.h"

namespace ondrel::platform::picture {
namespace {

constexpr std::uint32_t kOpaqueBlack = 0xFF000000u;

constexpr std::uint32_t Argb(unsigned a, unsigned r, unsigned g, unsigned b) {
  return (a << 24) | (r << 16) | (g << 8) | b;
}

// 5 or 6 bits to 8 by repeating the high bits in the low ones, so that full scale stays full scale.
constexpr unsigned Expand5(unsigned v) { return (v << 3) | (v >> 2); }
constexpr unsigned Expand6(unsigned v) { return (v << 2) | (v >> 4); }

unsigned Unpremultiply8(unsigned c, unsigned a) { return a == 0 ? 0 : std::min(255u, (c * 255 + a / 2) / a); }

// Un-premultiplied at full 16-bit precision first, so that dark translucent pixels keep their colour.
unsigned Unpremultiply16To8(unsigned c, unsigned a) {
  if (a == 0) return 0;
  const unsigned long long full = (static_cast<unsigned long long>(c) * 65535 + a / 2) / a;
  return static_cast<unsigned>(std::min<unsigned long long>(65535, full) >> 8);
}

unsigned Sample16(const std::uint8_t* p) { return static_cast<unsigned>(p[0] | (p[1] << 8)); }

std::uint32_t PaletteEntry(const std::vector<std::uint32_t>& palette, unsigned index) {
  return index < palette.size() ? palette[index] : kOpaqueBlack;
}

// One row of any known format as 0xAARRGGBB values.
void ReadRow(const Picture& picture, int y, std::uint32_t* out) {
  const std::uint8_t* row = picture.bits.data() + static_cast<std::size_t>(y) * picture.stride;
  const int width = picture.width;
  switch (picture.pixelFormat) {
    case kFormat1bppIndexed:
      for (int x = 0; x < width; ++x) out[x] = PaletteEntry(picture.palette, (row[x / 8] >> (7 - x % 8)) & 1);
      break;
    case kFormat4bppIndexed:
      for (int x = 0; x < width; ++x) out[x] = PaletteEntry(picture.palette, (row[x / 2] >> (x % 2 ? 0 : 4)) & 15);
      break;
    case kFormat8bppIndexed:
      for (int x = 0; x < width; ++x) out[x] = PaletteEntry(picture.palette, row[x]);
      break;
    case kFormat16bppGrayScale:
      for (int x = 0; x < width; ++x) {
        const unsigned v = Sample16(row + 2 * x) >> 8;
        out[x] = Argb(255, v, v, v);
      }
      break;
    case kFormat16bppRGB555:
    case kFormat16bppARGB1555:
      for (int x = 0; x < width; ++x) {
        const unsigned v = Sample16(row + 2 * x);
        const unsigned alpha = picture.pixelFormat == kFormat16bppRGB555 || (v & 0x8000) ? 255 : 0;
        out[x] = Argb(alpha, Expand5((v >> 10) & 31), Expand5((v >> 5) & 31), Expand5(v & 31));
      }
      break;
    case kFormat16bppRGB565:
      for (int x = 0; x < width; ++x) {
        const unsigned v = Sample16(row + 2 * x);
        out[x] = Argb(255, Expand5(v >> 11), Expand6((v >> 5) & 63), Expand5(v & 31));
      }
      break;
    case kFormat24bppRGB:
      for (int x = 0; x < width; ++x) out[x] = Argb(255, row[3 * x + 2], row[3 * x + 1], row[3 * x]);
      break;
    case kFormat32bppRGB:
    case kFormat32bppARGB:
      for (int x = 0; x < width; ++x) {
        const std::uint8_t* p = row + 4 * x;
        out[x] = Argb(picture.pixelFormat == kFormat32bppRGB ? 255 : p[3], p[2], p[1], p[0]);
      }
      break;
    case kFormat32bppPARGB:
      for (int x = 0; x < width; ++x) {
        const std::uint8_t* p = row + 4 * x;
        out[x] = Argb(p[3], Unpremultiply8(p[2], p[3]), Unpremultiply8(p[1], p[3]), Unpremultiply8(p[0], p[3]));
      }
      break;
    case kFormat48bppRGB:
      for (int x = 0; x < width; ++x) {
        const std::uint8_t* p = row + 6 * x;
        out[x] = Argb(255, p[5], p[3], p[1]);
      }
      break;
    case kFormat64bppARGB:
      for (int x = 0; x < width; ++x) {
        const std::uint8_t* p = row + 8 * x;
        out[x] = Argb(p[7], p[5], p[3], p[1]);
      }
      break;
    case kFormat64bppPARGB:
      for (int x = 0; x < width; ++x) {
        const std::uint8_t* p = row + 8 * x;
        const unsigned a = Sample16(p + 6);
        out[x] = Argb(a >> 8, Unpremultiply16To8(Sample16(p + 4), a), Unpremultiply16To8(Sample16(p + 2), a),
                      Unpremultiply16To8(Sample16(p), a));
      }
      break;
    default:
      break;
  }
}

bool IsKnownFormat(std::uint32_t format) {
  switch (format) {
    case kFormat1bppIndexed:
    case kFormat4bppIndexed:
    case kFormat8bppIndexed:
    case kFormat16bppGrayScale:
    case kFormat16bppRGB555:
    case kFormat16bppRGB565:
    case kFormat16bppARGB1555:
    case kFormat24bppRGB:
    case kFormat32bppRGB:
    case kFormat32bppARGB:
    case kFormat32bppPARGB:
    case kFormat48bppRGB:
    case kFormat64bppARGB:
    case kFormat64bppPARGB:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::int64_t StrideOf(std::int64_t width, std::uint32_t format) { return (width * BitsPerPixel(format) + 31) / 32 * 4; }

bool AllocatePicture(Picture& picture, std::int64_t width, std::int64_t height, std::uint32_t format,
                     std::string& error) {
  if (width <= 0 || height <= 0) {
    error = "the picture has no pixels (" + std::to_string(width) + " x " + std::to_string(height) + ")";
    return false;
  }
  // Each side is checked first so that the product cannot overflow.
  const std::int64_t stride = StrideOf(width, format);
  if (width > kMaxPictureBytes || height > kMaxPictureBytes || stride > kMaxPictureBytes / height) {
    error = "the picture is too large (" + std::to_string(width) + " x " + std::to_string(height) + " pixels)";
    return false;
  }
  picture.width = static_cast<int>(width);
  picture.height = static_cast<int>(height);
  picture.pixelFormat = format;
  picture.stride = static_cast<int>(stride);
  picture.bits.assign(static_cast<std::size_t>(stride * height), 0);
  picture.palette.clear();
  return true;
}

bool PixelsFitFile(std::int64_t width, std::int64_t height, std::size_t fileSize, std::int64_t pixelsPerByte,
                   std::string& error) {
  const std::int64_t budget = static_cast<std::int64_t>(fileSize) * pixelsPerByte;
  if (width > 0 && height > 0 && (width > budget || height > budget / width)) {
    error = "a file of " + std::to_string(fileSize) + " bytes cannot hold " + std::to_string(width) + " x " +
            std::to_string(height) + " pixels";
    return false;
  }
  return true;
}

std::vector<std::uint32_t> GreyPalette(int entries) {
  std::vector<std::uint32_t> palette(static_cast<std::size_t>(entries));
  for (int i = 0; i < entries; ++i) {
    const unsigned v = entries > 1 ? static_cast<unsigned>(i * 255 / (entries - 1)) : 0;
    palette[static_cast<std::size_t>(i)] = Argb(255, v, v, v);
  }
  return palette;
}

void PackIndices(const std::uint8_t* indices, int width, int height, Picture& picture) {
  const int bits = BitsPerPixel(picture.pixelFormat);
  const int perByte = 8 / bits;
  const unsigned mask = (1u << bits) - 1;
  for (int y = 0; y < height; ++y) {
    std::uint8_t* row = picture.bits.data() + static_cast<std::size_t>(y) * picture.stride;
    const std::uint8_t* in = indices + static_cast<std::size_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      const int shift = bits * (perByte - 1 - x % perByte);
      row[x / perByte] = static_cast<std::uint8_t>(row[x / perByte] | ((in[x] & mask) << shift));
    }
  }
}

void CoverIndices(Picture& picture) {
  const int bits = BitsPerPixel(picture.pixelFormat);
  const int perByte = 8 / bits;
  const unsigned mask = (1u << bits) - 1;
  unsigned highest = 0;
  for (int y = 0; y < picture.height; ++y) {
    const std::uint8_t* row = picture.bits.data() + static_cast<std::size_t>(y) * picture.stride;
    for (int x = 0; x < picture.width; ++x)
      highest = std::max(highest, (row[x / perByte] >> (bits * (perByte - 1 - x % perByte))) & mask);
  }
  if (picture.palette.size() <= highest) picture.palette.resize(highest + 1, kOpaqueBlack);
}

bool HasTransparency(const Picture& argb) {
  for (int y = 0; y < argb.height; ++y) {
    const std::uint8_t* row = argb.bits.data() + static_cast<std::size_t>(y) * argb.stride;
    for (int x = 0; x < argb.width; ++x)
      if (row[4 * x + 3] != 255) return true;
  }
  return false;
}

bool IsValidPicture(const Picture& picture) {
  return IsKnownFormat(picture.pixelFormat) && picture.width >= 0 && picture.height >= 0 &&
         picture.stride >= (std::int64_t{picture.width} * BitsPerPixel(picture.pixelFormat) + 7) / 8 &&
         picture.bits.size() >= static_cast<std::size_t>(picture.stride) * static_cast<std::size_t>(picture.height);
}

std::optional<Picture> ConvertPicture(const Picture& picture, std::uint32_t targetFormat) {
  if (!IsValidPicture(picture) || (targetFormat != kFormat24bppRGB && targetFormat != kFormat32bppARGB))
    return std::nullopt;

  Picture result;
  result.width = picture.width;
  result.height = picture.height;
  result.pixelFormat = targetFormat;
  result.stride = static_cast<int>(StrideOf(picture.width, targetFormat));
  result.bits.assign(static_cast<std::size_t>(result.stride) * static_cast<std::size_t>(result.height), 0);
  std::vector<std::uint32_t> argb(static_cast<std::size_t>(picture.width));
  for (int y = 0; y < picture.height; ++y) {
    ReadRow(picture, y, argb.data());
    std::uint8_t* out = result.bits.data() + static_cast<std::size_t>(y) * result.stride;
    if (targetFormat == kFormat32bppARGB) {
      for (int x = 0; x < picture.width; ++x) {
        const std::uint32_t v = argb[static_cast<std::size_t>(x)];
        out[4 * x] = static_cast<std::uint8_t>(v);
        out[4 * x + 1] = static_cast<std::uint8_t>(v >> 8);
        out[4 * x + 2] = static_cast<std::uint8_t>(v >> 16);
        out[4 * x + 3] = static_cast<std::uint8_t>(v >> 24);
      }
    } else {
      // Alpha is dropped, not composited: the colour a transparent pixel carries is kept as it is.
      for (int x = 0; x < picture.width; ++x) {
        const std::uint32_t v = argb[static_cast<std::size_t>(x)];
        out[3 * x] = static_cast<std::uint8_t>(v);
        out[3 * x + 1] = static_cast<std::uint8_t>(v >> 8);
        out[3 * x + 2] = static_cast<std::uint8_t>(v >> 16);
      }
    }
  }
  return result;
}

}  // namespace ondrel::platform::picture
