// TIFF files through libtiff: the first page on reading, an LZW-compressed RGB(A) page on writing.
// libtiff works on the bytes in memory through client procedures, and its messages come to handlers
// registered for each file, so it never prints.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "picture/picture_codecs.h"

namespace ondrel::platform::picture {
namespace {

// The file libtiff reads (`input`) or writes (`output`), and the first error it reported.
struct MemoryFile {
  FileBytes input;
  std::vector<std::uint8_t>* output = nullptr;
  std::uint64_t at = 0;
  std::string message;

  std::uint64_t Size() const { return output != nullptr ? output->size() : input.size(); }
};

MemoryFile& FileOf(thandle_t handle) { return *static_cast<MemoryFile*>(handle); }

tmsize_t Read(thandle_t handle, void* buffer, tmsize_t count) {
  MemoryFile& file = FileOf(handle);
  const std::uint8_t* data = file.output != nullptr ? file.output->data() : file.input.data();
  if (count < 0 || file.at >= file.Size()) return 0;
  const auto n = std::min<std::uint64_t>(static_cast<std::uint64_t>(count), file.Size() - file.at);
  std::memcpy(buffer, data + file.at, n);
  file.at += n;
  return static_cast<tmsize_t>(n);
}

tmsize_t Write(thandle_t handle, void* buffer, tmsize_t count) {
  MemoryFile& file = FileOf(handle);
  if (file.output == nullptr || count < 0) return -1;
  try {
    const std::uint64_t end = file.at + static_cast<std::uint64_t>(count);
    if (end > file.output->size()) file.output->resize(end);
    std::memcpy(file.output->data() + file.at, buffer, static_cast<std::size_t>(count));
    file.at = end;
    return count;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

toff_t Seek(thandle_t handle, toff_t offset, int whence) {
  MemoryFile& file = FileOf(handle);
  const std::uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.at : file.Size();
  file.at = base + offset;
  return file.at;
}

int Close(thandle_t) { return 0; }
toff_t Size(thandle_t handle) { return FileOf(handle).Size(); }
int Map(thandle_t, void**, toff_t*) { return 0; }
void Unmap(thandle_t, void*, toff_t) {}

int OnError(TIFF*, void* handle, const char* module, const char* format, va_list arguments) {
  MemoryFile& file = FileOf(handle);
  if (file.message.empty()) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    file.message = module != nullptr && *module != '\0' ? std::string(module) + ": " + text : text;
  }
  return 1;  // handled: libtiff's process-wide handler, which prints, is not called
}

// Warnings name tags libtiff does not know or values it corrects; the reads that matter fail on their own.
int OnWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TiffHandle {
  TIFF* tiff = nullptr;
  ~TiffHandle() {
    if (tiff != nullptr) TIFFClose(tiff);
  }
};

TIFF* Open(MemoryFile& file, const char* mode) {
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (options == nullptr) return nullptr;
  TIFFOpenOptionsSetErrorHandlerExtR(options, OnError, &file);
  TIFFOpenOptionsSetWarningHandlerExtR(options, OnWarning, &file);
  TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kMaxPictureBytes));
  TIFF* tiff = TIFFClientOpenExt("picture", mode, &file, Read, Write, Seek, Close, Size, Map, Unmap, options);
  TIFFOpenOptionsFree(options);
  return tiff;
}

bool Fail(std::string& error, const std::string& reason) {
  error = "TIFF: " + reason;
  return false;
}

bool FailWith(std::string& error, const MemoryFile& file, const char* otherwise) {
  return Fail(error, file.message.empty() ? otherwise : file.message);
}

// Refuses a first directory that runs past the end of the file, or whose values do. libtiff would read
// such a directory and drop what is missing; a file cut short is damaged and is not shown.
bool DirectoryIsWhole(FileBytes file, std::string& error) {
  if (file.size() < 8) return Fail(error, "the file ends inside its header");
  const bool big = file[0] == 'M';
  const auto u16 = [&](std::uint64_t at) -> std::uint64_t {
    return big ? (file[at] << 8) | file[at + 1] : file[at] | (file[at + 1] << 8);
  };
  const auto u32 = [&](std::uint64_t at) { return big ? u16(at) << 16 | u16(at + 2) : u16(at) | u16(at + 2) << 16; };
  const std::uint64_t size = file.size();
  const std::uint64_t directory = u32(4);
  if (directory + 2 > size) return Fail(error, "the first directory lies outside the file");
  const std::uint64_t entries = u16(directory);
  if (directory + 2 + 12 * entries + 4 > size) return Fail(error, "the file ends inside its first directory");
  for (std::uint64_t i = 0; i < entries; ++i) {
    const std::uint64_t entry = directory + 2 + 12 * i;
    std::uint64_t typeSize = 0;
    switch (u16(entry + 2)) {
      case TIFF_BYTE:
      case TIFF_ASCII:
      case TIFF_SBYTE:
      case TIFF_UNDEFINED:
        typeSize = 1;
        break;
      case TIFF_SHORT:
      case TIFF_SSHORT:
        typeSize = 2;
        break;
      case TIFF_LONG:
      case TIFF_SLONG:
      case TIFF_FLOAT:
      case TIFF_IFD:
        typeSize = 4;
        break;
      case TIFF_RATIONAL:
      case TIFF_SRATIONAL:
      case TIFF_DOUBLE:
      case TIFF_LONG8:
      case TIFF_SLONG8:
      case TIFF_IFD8:
        typeSize = 8;
        break;
      default:
        break;  // a type libtiff skips
    }
    const std::uint64_t bytes = typeSize * u32(entry + 4);
    if (bytes > 4 && u32(entry + 8) + bytes > size)
      return Fail(error, "the values of tag " + std::to_string(u16(entry)) + " lie outside the file");
  }
  return true;
}

// The file's layout, and whether the rows can be copied into a GDI+ format sample by sample.
struct Layout {
  std::uint32_t width = 0, height = 0;
  std::uint16_t bits = 1, samples = 1, photometric = 0, planar = PLANARCONFIG_CONTIG, sampleFormat = SAMPLEFORMAT_UINT;
  std::uint16_t extraCount = 0;
  std::uint16_t* extraTypes = nullptr;
  std::uint32_t format = 0;  // 0: read through libtiff's RGBA reader
};

void ChooseFormat(TIFF* tiff, Layout& layout) {
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &layout.width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &layout.height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &layout.bits);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &layout.samples);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &layout.planar);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &layout.sampleFormat);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &layout.extraCount, &layout.extraTypes);
  if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &layout.photometric)) return;
  if (TIFFIsTiled(tiff) || layout.sampleFormat != SAMPLEFORMAT_UINT ||
      (layout.samples > 1 && layout.planar != PLANARCONFIG_CONTIG))
    return;
  const unsigned bits = layout.bits;
  const bool grey = layout.photometric == PHOTOMETRIC_MINISBLACK || layout.photometric == PHOTOMETRIC_MINISWHITE;
  if ((grey || layout.photometric == PHOTOMETRIC_PALETTE) && layout.samples == 1 &&
      (bits == 1 || bits == 2 || bits == 4 || bits == 8)) {
    layout.format = bits == 1 ? kFormat1bppIndexed : bits <= 4 ? kFormat4bppIndexed : kFormat8bppIndexed;
  } else if (grey && layout.samples == 1 && bits == 16) {
    layout.format = kFormat16bppGrayScale;
  } else if (layout.photometric == PHOTOMETRIC_RGB && (bits == 8 || bits == 16)) {
    if (layout.samples == 3) {
      layout.format = bits == 8 ? kFormat24bppRGB : kFormat48bppRGB;
    } else if (layout.samples == 4 && layout.extraCount == 1) {
      // Unspecified alpha is taken as premultiplied, as libtiff's own reader takes it.
      const bool premultiplied = layout.extraTypes[0] != EXTRASAMPLE_UNASSALPHA;
      layout.format = bits == 8 ? (premultiplied ? kFormat32bppPARGB : kFormat32bppARGB)
                                : (premultiplied ? kFormat64bppPARGB : kFormat64bppARGB);
    }
  }
}

std::vector<std::uint32_t> TiffPalette(TIFF* tiff, const Layout& layout) {
  const std::size_t count = std::size_t{1} << layout.bits;
  if (layout.photometric != PHOTOMETRIC_PALETTE) {
    auto palette = GreyPalette(static_cast<int>(count));
    if (layout.photometric == PHOTOMETRIC_MINISWHITE) std::reverse(palette.begin(), palette.end());
    return palette;
  }
  std::uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
  if (!TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue)) return {};
  // Old writers put 8-bit values in the 16-bit colour map; libtiff's reader makes the same guess.
  bool eightBit = true;
  for (std::size_t i = 0; i < count; ++i) eightBit = eightBit && red[i] < 256 && green[i] < 256 && blue[i] < 256;
  const int shift = eightBit ? 0 : 8;
  std::vector<std::uint32_t> palette;
  for (std::size_t i = 0; i < count; ++i)
    palette.push_back(0xFF000000u | ((red[i] >> shift) << 16) | ((green[i] >> shift) << 8) | (blue[i] >> shift));
  return palette;
}

std::uint16_t Sample16(const std::uint8_t* p) {
  std::uint16_t v;
  std::memcpy(&v, p, 2);  // libtiff hands out samples in the machine's order
  return v;
}

void Put16(std::uint8_t* out, unsigned v) {
  out[0] = static_cast<std::uint8_t>(v);
  out[1] = static_cast<std::uint8_t>(v >> 8);
}

void ConvertRow(const Layout& layout, const std::uint8_t* in, std::uint8_t* out) {
  const std::uint32_t width = layout.width;
  switch (layout.format) {
    case kFormat1bppIndexed:
    case kFormat8bppIndexed:
      std::memcpy(out, in, (width * layout.bits + 7) / 8);
      break;
    case kFormat4bppIndexed:
      if (layout.bits == 4) {
        std::memcpy(out, in, (width + 1) / 2);
      } else {  // 2 bits widened to 4
        for (std::uint32_t x = 0; x < width; ++x)
          out[x / 2] =
              static_cast<std::uint8_t>(out[x / 2] | (((in[x / 4] >> (6 - 2 * (x % 4))) & 3) << (x % 2 ? 0 : 4)));
      }
      break;
    case kFormat16bppGrayScale:
      for (std::uint32_t x = 0; x < width; ++x) {
        const unsigned v = Sample16(in + 2 * x);
        Put16(out + 2 * x, layout.photometric == PHOTOMETRIC_MINISWHITE ? 65535 - v : v);
      }
      break;
    default:
      // RGB(A) to B,G,R(,A), in 8 or 16 bits.
      for (std::uint32_t x = 0; x < width; ++x) {
        for (unsigned s = 0; s < layout.samples; ++s) {
          const unsigned to = s < 3 ? 2 - s : s;
          if (layout.bits == 8)
            out[layout.samples * x + to] = in[layout.samples * x + s];
          else
            Put16(out + 2 * (layout.samples * x + to), Sample16(in + 2 * (layout.samples * x + s)));
        }
      }
      break;
  }
}

bool ReadRows(TIFF* tiff, const MemoryFile& file, const Layout& layout, Picture& picture, std::string& error) {
  const tmsize_t lineSize = TIFFScanlineSize(tiff);
  if (lineSize < (static_cast<tmsize_t>(layout.width) * layout.samples * layout.bits + 7) / 8)
    return FailWith(error, file, "the row size is not valid");
  std::vector<std::uint8_t> line(static_cast<std::size_t>(lineSize));
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    if (TIFFReadScanline(tiff, line.data(), y, 0) < 0) return FailWith(error, file, "cannot read a row");
    ConvertRow(layout, line.data(), picture.bits.data() + static_cast<std::size_t>(y) * picture.stride);
  }
  if (BitsPerPixel(layout.format) <= 8) {
    picture.palette = TiffPalette(tiff, layout);
    if (picture.palette.empty()) return Fail(error, "the picture has no colour map");
    CoverIndices(picture);
  }
  return true;
}

// Every other layout (tiles, separate planes, YCbCr, CMYK, Lab, odd sample sizes) through libtiff's
// RGBA reader, which gives 8 bits a sample with alpha premultiplied.
bool ReadRgba(TIFF* tiff, const MemoryFile& file, const Layout& layout, Picture& picture, std::string& error) {
  char message[1024] = "";
  if (!TIFFRGBAImageOK(tiff, message)) return Fail(error, message);
  Picture rgba;
  if (!AllocatePicture(rgba, layout.width, layout.height, kFormat32bppPARGB, error)) return Fail(error, error);
  std::vector<std::uint32_t> raster(static_cast<std::size_t>(layout.width) * layout.height);
  TIFFRGBAImage image{};
  if (!TIFFRGBAImageBegin(&image, tiff, 1, message)) return Fail(error, message);
  // Rows in the order the file stores them, as the direct reads give them: orientation is not applied.
  image.req_orientation = image.orientation;
  const bool alpha = image.alpha != 0;
  const bool read = TIFFRGBAImageGet(&image, raster.data(), layout.width, layout.height) != 0;
  TIFFRGBAImageEnd(&image);
  if (!read) return FailWith(error, file, "cannot read the pixels");
  for (std::size_t i = 0; i < raster.size(); ++i) {
    const std::uint32_t p = raster[i];
    std::uint8_t* out = rgba.bits.data() + 4 * i;
    out[0] = static_cast<std::uint8_t>(TIFFGetB(p));
    out[1] = static_cast<std::uint8_t>(TIFFGetG(p));
    out[2] = static_cast<std::uint8_t>(TIFFGetR(p));
    out[3] = alpha ? static_cast<std::uint8_t>(TIFFGetA(p)) : 255;
  }
  picture = alpha ? std::move(rgba) : *ConvertPicture(rgba, kFormat24bppRGB);
  return true;
}

}  // namespace

bool DecodeTiff(FileBytes file, Picture& picture, std::string& error) {
  if (!DirectoryIsWhole(file, error)) return false;
  MemoryFile memory;
  memory.input = file;
  TiffHandle handle;
  handle.tiff = Open(memory, "rm");
  if (handle.tiff == nullptr) return FailWith(error, memory, "cannot open the file");
  Layout layout;
  ChooseFormat(handle.tiff, layout);
  // A header must not claim more pixels than its strips can hold: deflate, LZW, PackBits and JPEG
  // expand a byte as much as PNG's and GIF's codes at most, and a CCITT fax code spends at least a bit
  // on each row however wide.
  std::uint16_t compression = COMPRESSION_NONE;
  TIFFGetFieldDefaulted(handle.tiff, TIFFTAG_COMPRESSION, &compression);
  const bool fax = compression == COMPRESSION_CCITTRLE || compression == COMPRESSION_CCITTRLEW ||
                   compression == COMPRESSION_CCITTFAX3 || compression == COMPRESSION_CCITTFAX4;
  const std::int64_t pixelsPerByte = fax ? 8 * std::int64_t{layout.width} : kMaxLosslessPixelsPerFileByte;
  if (!PixelsFitFile(layout.width, layout.height, file.size(), pixelsPerByte, error)) return Fail(error, error);
  if (layout.format == 0) return ReadRgba(handle.tiff, memory, layout, picture, error);
  if (!AllocatePicture(picture, layout.width, layout.height, layout.format, error)) return Fail(error, error);
  return ReadRows(handle.tiff, memory, layout, picture, error);
}

// 8-bit RGB, LZW-compressed; a picture that is not opaque gets a fourth, unassociated alpha sample, so
// its colours are stored as they are and not multiplied by alpha.
bool EncodeTiff(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error) {
  auto pixels = ConvertPicture(picture, kFormat32bppARGB);
  const bool alpha = HasTransparency(*pixels);
  const unsigned samples = alpha ? 4 : 3;
  file.clear();
  MemoryFile memory;
  memory.output = &file;
  TiffHandle handle;
  handle.tiff = Open(memory, "w");
  TIFF* tiff = handle.tiff;
  if (tiff == nullptr) return FailWith(error, memory, "cannot start the file");
  const std::uint16_t extra[] = {EXTRASAMPLE_UNASSALPHA};
  bool ok = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(picture.width)) &&
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(picture.height)) &&
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8) && TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples) &&
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) &&
            TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW) &&
            TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) &&
            TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) && TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 96.0) &&
            TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 96.0) &&
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0)) &&
            (!alpha || TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, extra));
  if (!ok) return FailWith(error, memory, "cannot describe the picture");
  std::vector<std::uint8_t> line(static_cast<std::size_t>(picture.width) * samples);
  for (int y = 0; y < pixels->height; ++y) {
    const std::uint8_t* in = pixels->bits.data() + static_cast<std::size_t>(y) * pixels->stride;
    for (int x = 0; x < pixels->width; ++x, in += 4) {
      std::uint8_t* out = line.data() + static_cast<std::size_t>(x) * samples;
      out[0] = in[2];
      out[1] = in[1];
      out[2] = in[0];
      if (alpha) out[3] = in[3];
    }
    if (TIFFWriteScanline(tiff, line.data(), static_cast<std::uint32_t>(y), 0) < 0)
      return FailWith(error, memory, "cannot write a row");
  }
  if (!TIFFFlush(tiff)) return FailWith(error, memory, "cannot finish the file");
  return true;
}

}  // namespace ondrel::platform::picture
