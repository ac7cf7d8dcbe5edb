// Pictures in memory and in files: what the GDI+ bitmaps of the platform layer decode from and encode
// to. Private to the platform library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ondrel/platform/com.h"

namespace ondrel::platform::picture {

// GDI+ pixel format values (the bits encode index, alpha and size as in GDI+).
enum PixelFormat : std::uint32_t {
  kFormat1bppIndexed = 0x00030101,
  kFormat4bppIndexed = 0x00030402,
  kFormat8bppIndexed = 0x00030803,
  kFormat16bppGrayScale = 0x00101004,
  kFormat16bppRGB555 = 0x00021005,
  kFormat16bppRGB565 = 0x00021006,
  kFormat16bppARGB1555 = 0x00061007,
  kFormat24bppRGB = 0x00021808,
  kFormat32bppRGB = 0x00022009,
  kFormat32bppARGB = 0x0026200A,
  kFormat32bppPARGB = 0x000E200B,
  kFormat48bppRGB = 0x0010300C,
  kFormat64bppARGB = 0x0034400D,
  kFormat64bppPARGB = 0x001A400E,
};

// Bits per pixel of a format: bits 8 to 15 of its value.
constexpr int BitsPerPixel(std::uint32_t format) { return static_cast<int>((format >> 8) & 0xFF); }

// A picture with top-down rows in GDI+'s memory layouts: 24bppRGB is B,G,R bytes; 32bppARGB is B,G,R,A
// bytes; indexed formats pack the high bits first and index `palette`, whose entries are 0xAARRGGBB.
struct Picture {
  int width = 0;
  int height = 0;
  std::uint32_t pixelFormat = kFormat32bppARGB;
  int stride = 0;  // bytes per row, at least width * BitsPerPixel / 8 rounded up
  std::vector<std::uint8_t> bits;
  std::vector<std::uint32_t> palette;
};

enum class FileFormat { Bmp, Jpeg, Gif, Tiff, Png };

// One image encoder as GDI+ lists it.
struct EncoderInfo {
  FileFormat format;
  GUID clsid;
  std::u16string codecName;
  std::u16string formatDescription;
  std::u16string filenameExtension;  // e.g. u"*.BMP;*.DIB;*.RLE"
  std::u16string mimeType;           // e.g. u"image/bmp"
};

// The encoders in GDI+'s order: image/bmp, image/jpeg, image/gif, image/tiff, image/png.
const std::vector<EncoderInfo>& Encoders();

// The encoder whose class identifier is `clsid`, or none.
const EncoderInfo* FindEncoder(const GUID& clsid);

// Reads a BMP, JPEG, GIF (first frame), TIFF (first page) or PNG file, recognised by its signature and
// not by its name, into `picture` in the pixel format closest to the file's (a paletted PNG stays
// 8bppIndexed, a grey JPEG becomes 8bppIndexed with a grey palette, RGB becomes 24bppRGB, RGBA
// 32bppARGB). Returns false with a reason in `error` when the file is missing, unknown or corrupt.
// A file cut short is refused rather than shown in part, as is any damage the format lets a reader
// detect and a header that claims more pixels than its file can hold or than a gigabyte of bits.
// On failure `picture` is left as it was. An indexed picture has a palette entry for every index
// its bits use.
bool LoadPictureFile(const std::u16string& path, Picture& picture, std::string& error);

// Writes `picture` (any format ConvertPicture accepts) to `path` in `format`. Lossless formats keep every
// pixel; GIF keeps every pixel of a picture with at most 256 colours, and as it has one fully
// transparent colour only, a pixel of any other alpha is written opaque; JPEG drops alpha. Returns
// false with a reason in `error` when the file cannot be written. The file is written whole beside
// `path` and then renamed over it, so a failure leaves an existing file as it was and no partial file.
bool SavePictureFile(const Picture& picture, FileFormat format, const std::u16string& path, std::string& error);

// Converts any of the formats above to `targetFormat`, which is kFormat24bppRGB or kFormat32bppARGB.
// Returns none for a source format it does not know, or when the stride or bits are too short for the
// rows. Alpha is dropped, not composited, on the way to 24bppRGB.
std::optional<Picture> ConvertPicture(const Picture& picture, std::uint32_t targetFormat);

}  // namespace ondrel::platform::picture
