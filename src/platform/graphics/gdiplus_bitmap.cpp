// GDI+ start-up, bitmaps (from DIBs, GDI bitmaps and files), locks on their bits, and the encoders.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "gdi_objects.h"
#include "gdiplus_objects.h"
#include "graphics_lock.h"
#include "ondrel/platform/system.h"
#include "window_table.h"

namespace ondrel::platform::graphics {

using namespace Gdiplus;

GdiplusRegistry& GdiplusRegistry::Get() {
  static auto* const registry = new GdiplusRegistry();
  return *registry;
}

bool GdiplusStarted() { return GdiplusRegistry::Get().startups > 0; }

namespace {

template <class T, class Base>
T* FindIn(const std::unordered_set<const void*>& live, Base* object) {
  return object != nullptr && live.count(object) != 0 ? static_cast<T*>(object) : nullptr;
}

}  // namespace

BitmapImage* FindImage(GpImage* image) { return FindIn<BitmapImage>(GdiplusRegistry::Get().images, image); }
GraphicsTarget* FindGraphics(GpGraphics* graphics) {
  return FindIn<GraphicsTarget>(GdiplusRegistry::Get().graphics, graphics);
}
RegionShape* FindRegion(GpRegion* region) { return FindIn<RegionShape>(GdiplusRegistry::Get().regions, region); }
SolidBrush* FindBrush(GpBrush* brush) { return FindIn<SolidBrush>(GdiplusRegistry::Get().brushes, brush); }
PenShape* FindPen(GpPen* pen) { return FindIn<PenShape>(GdiplusRegistry::Get().pens, pen); }

const Surface* SurfaceOf(const GraphicsTarget& target) {
  if (target.window != nullptr) {
    const Window* window = WindowTable::Get().Find(target.window);
    return window == nullptr ? nullptr : &window->pixels.surface;
  }
  const auto* dc = ObjectTable::Get().Find<DcObject>(target.dc);
  return dc == nullptr ? nullptr : SurfaceOf(*dc);
}

bool IsDirectFormat(std::uint32_t format) {
  return format == picture::kFormat8bppIndexed || format == picture::kFormat24bppRGB ||
         format == picture::kFormat32bppRGB || format == picture::kFormat32bppARGB ||
         format == picture::kFormat32bppPARGB;
}

const picture::Picture* ReadablePicture(BitmapImage& image) {
  if (IsDirectFormat(image.picture.pixelFormat)) return &image.picture;
  if (!image.converted) image.converted = picture::ConvertPicture(image.picture, picture::kFormat32bppARGB);
  return image.converted ? &*image.converted : nullptr;
}

std::uint32_t ReadArgb(const picture::Picture& picture, const std::uint8_t* row, int x) {
  switch (picture.pixelFormat) {
    case picture::kFormat8bppIndexed: {
      const std::uint8_t index = row[x];
      return index < picture.palette.size() ? picture.palette[index] : 0xFF000000u;
    }
    case picture::kFormat24bppRGB: {
      const std::uint8_t* p = row + 3 * x;
      return 0xFF000000u | static_cast<std::uint32_t>(p[2] << 16 | p[1] << 8 | p[0]);
    }
    default: {
      std::uint32_t value;
      std::memcpy(&value, row + 4 * x, 4);
      if (picture.pixelFormat == picture::kFormat32bppRGB) return value | 0xFF000000u;
      if (picture.pixelFormat == picture::kFormat32bppPARGB) {
        // Back to straight alpha.
        const std::uint32_t a = value >> 24;
        if (a == 0 || a == 255) return a == 0 ? 0 : value;
        const auto channel = [&](int shift) {
          return std::min<std::uint32_t>(255, ((value >> shift) & 0xFF) * 255 / a);
        };
        return (a << 24) | (channel(16) << 16) | (channel(8) << 8) | channel(0);
      }
      return value;
    }
  }
}

std::uint32_t Premultiply(std::uint32_t argb) {
  const std::uint32_t a = argb >> 24;
  if (a == 255) return argb;
  if (a == 0) return 0;
  const auto channel = [&](int shift) { return (((argb >> shift) & 0xFF) * a + 127) / 255; };
  return (a << 24) | (channel(16) << 16) | (channel(8) << 8) | channel(0);
}

}  // namespace ondrel::platform::graphics

using namespace ondrel::platform::graphics;
using namespace Gdiplus;

namespace {

// Adds a new bitmap to the registry and hands it out.
GpStatus Register(std::unique_ptr<BitmapImage> image, GpBitmap** bitmap) {
  try {
    GdiplusRegistry::Get().images.insert(image.get());
  } catch (const std::bad_alloc&) {
    return OutOfMemory;
  }
  *bitmap = image.release();
  return Ok;
}

// A picture of width x height in `format` with rows padded to 4 bytes, its bits cleared.
picture::Picture NewPicture(int width, int height, std::uint32_t format) {
  picture::Picture made;
  made.width = width;
  made.height = height;
  made.pixelFormat = format;
  made.stride = static_cast<int>(DibStride(width, picture::BitsPerPixel(format)));
  const std::size_t size = static_cast<std::size_t>(made.stride) * static_cast<std::size_t>(height);
  made.bits.reserve(size);
  AdviseLargeBlock(made.bits.data(), size);
  made.bits.assign(size, 0);
  return made;
}

std::uint32_t ArgbOf(const RGBQUAD& quad) {
  return 0xFF000000u | static_cast<std::uint32_t>(quad.rgbRed << 16 | quad.rgbGreen << 8 | quad.rgbBlue);
}

// Copies a surface (8, 24 or 32 bits) into a new picture of the matching format.
picture::Picture PictureOf(const Surface& surface) {
  const std::uint32_t format = surface.bitsPerPixel == 8    ? picture::kFormat8bppIndexed
                               : surface.bitsPerPixel == 24 ? picture::kFormat24bppRGB
                                                            : picture::kFormat32bppRGB;
  picture::Picture made = NewPicture(surface.width, surface.height, format);
  const std::size_t rowBytes =
      static_cast<std::size_t>(surface.width) * static_cast<std::size_t>(surface.bitsPerPixel / 8);
  for (int y = 0; y < surface.height; ++y)
    std::memcpy(made.bits.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(made.stride), surface.Row(y),
                rowBytes);
  for (const RGBQUAD& quad : surface.colors) made.palette.push_back(ArgbOf(quad));
  return made;
}

// The pixels of a picture in a locked format (24bppRGB, 32bppRGB, 32bppARGB, 32bppPARGB), for a rectangle.
void ConvertRows(const picture::Picture& from, const Rect& rect, PixelFormat format, std::uint8_t* out, int stride) {
  for (int y = 0; y < rect.Height; ++y) {
    const std::uint8_t* row =
        from.bits.data() + static_cast<std::size_t>(rect.Y + y) * static_cast<std::size_t>(from.stride);
    std::uint8_t* target = out + static_cast<std::ptrdiff_t>(y) * stride;
    for (int x = 0; x < rect.Width; ++x) {
      std::uint32_t argb = ReadArgb(from, row, rect.X + x);
      if (format == PixelFormat24bppRGB) {
        target[3 * x] = static_cast<std::uint8_t>(argb);
        target[3 * x + 1] = static_cast<std::uint8_t>(argb >> 8);
        target[3 * x + 2] = static_cast<std::uint8_t>(argb >> 16);
        continue;
      }
      if (format == PixelFormat32bppRGB) argb |= 0xFF000000u;
      if (format == PixelFormat32bppPARGB) argb = Premultiply(argb);
      std::memcpy(target + 4 * x, &argb, 4);
    }
  }
}

// The texts and the array of the encoders, laid out in one buffer as GDI+ hands them out; returns the
// bytes needed, writing only when `out` is given.
UINT LayOutEncoders(ImageCodecInfo* out) {
  const auto& encoders = picture::Encoders();
  static const GUID formats[] = {
      MakeGuid("b96b3cab-0728-11d3-9d7b-0000f81ef32e"), MakeGuid("b96b3cae-0728-11d3-9d7b-0000f81ef32e"),
      MakeGuid("b96b3cb0-0728-11d3-9d7b-0000f81ef32e"), MakeGuid("b96b3cb1-0728-11d3-9d7b-0000f81ef32e"),
      MakeGuid("b96b3caf-0728-11d3-9d7b-0000f81ef32e")};
  std::size_t size = encoders.size() * sizeof(ImageCodecInfo);
  auto* text = reinterpret_cast<WCHAR*>(reinterpret_cast<std::uint8_t*>(out) + size);
  const auto place = [&](const std::u16string& value) -> const WCHAR* {
    size += (value.size() + 1) * sizeof(WCHAR);
    if (out == nullptr) return nullptr;
    WCHAR* start = text;
    std::copy(value.begin(), value.end(), text);
    text += value.size();
    *text++ = u'\0';
    return start;
  };
  for (std::size_t i = 0; i < encoders.size(); ++i) {
    const picture::EncoderInfo& encoder = encoders[i];
    ImageCodecInfo info{};
    info.Clsid = encoder.clsid;
    info.FormatID = formats[static_cast<std::size_t>(encoder.format)];
    info.CodecName = place(encoder.codecName);
    info.FormatDescription = place(encoder.formatDescription);
    info.FilenameExtension = place(encoder.filenameExtension);
    info.MimeType = place(encoder.mimeType);
    info.Flags =
        ImageCodecFlagsEncoder | ImageCodecFlagsDecoder | ImageCodecFlagsSupportBitmap | ImageCodecFlagsBuiltin;
    info.Version = 1;
    if (out != nullptr) out[i] = info;
  }
  return static_cast<UINT>(size);
}

}  // namespace

namespace Gdiplus {

Status GdiplusStartup(ULONG_PTR* token, const GdiplusStartupInput* input, GdiplusStartupOutput* output) {
  if (token == nullptr || input == nullptr) return InvalidParameter;
  if (input->GdiplusVersion != 1) return UnsupportedGdiplusVersion;
  if (input->SuppressBackgroundThread && output == nullptr) return InvalidParameter;
  if (output != nullptr) {
    // There is no background thread to hook: the hooks do nothing.
    output->NotificationHook = [](ULONG_PTR* hookToken) {
      if (hookToken != nullptr) *hookToken = 0;
      return Ok;
    };
    output->NotificationUnhook = [](ULONG_PTR) {};
  }
  const GraphicsLock lock(GraphicsMutex());
  GdiplusRegistry& registry = GdiplusRegistry::Get();
  *token = registry.nextToken++;
  registry.tokens.insert(*token);
  ++registry.startups;
  return Ok;
}

void GdiplusShutdown(ULONG_PTR token) {
  const GraphicsLock lock(GraphicsMutex());
  GdiplusRegistry& registry = GdiplusRegistry::Get();
  if (registry.tokens.erase(token) != 0) --registry.startups;
}

namespace DllExports {

GpStatus GdipCreateBitmapFromGdiDib(const BITMAPINFO* gdiBitmapInfo, void* gdiBitmapData, GpBitmap** bitmap) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (gdiBitmapInfo == nullptr || gdiBitmapData == nullptr || bitmap == nullptr) return InvalidParameter;
  const BITMAPINFOHEADER& header = gdiBitmapInfo->bmiHeader;
  const int bits = header.biBitCount;
  if (header.biSize < sizeof(BITMAPINFOHEADER) || header.biCompression != BI_RGB ||
      (bits != 8 && bits != 24 && bits != 32) || header.biWidth <= 0 || header.biHeight == 0 ||
      header.biHeight == INT32_MIN || header.biClrUsed > 256)
    return InvalidParameter;
  const int width = header.biWidth;
  const int height = header.biHeight > 0 ? header.biHeight : -header.biHeight;
  try {
    auto image = std::make_unique<BitmapImage>();
    const std::uint32_t format = bits == 8    ? picture::kFormat8bppIndexed
                                 : bits == 24 ? picture::kFormat24bppRGB
                                              : picture::kFormat32bppRGB;
    image->picture = NewPicture(width, height, format);
    const std::ptrdiff_t stride = DibStride(width, bits);
    const auto* memory = static_cast<const std::uint8_t*>(gdiBitmapData);
    for (int y = 0; y < height; ++y) {
      const int memoryRow = header.biHeight > 0 ? height - 1 - y : y;
      std::memcpy(image->picture.bits.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride),
                  memory + memoryRow * stride, static_cast<std::size_t>(stride));
    }
    if (bits == 8) {
      const auto* table =
          reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const BYTE*>(gdiBitmapInfo) + header.biSize);
      const std::size_t count = header.biClrUsed == 0 ? 256 : header.biClrUsed;
      for (std::size_t i = 0; i < count; ++i) image->picture.palette.push_back(ArgbOf(table[i]));
    }
    return Register(std::move(image), bitmap);
  } catch (const std::bad_alloc&) {
    return OutOfMemory;
  }
}

GpStatus GdipCreateBitmapFromHBITMAP(HBITMAP hbm, HPALETTE /*hpal*/, GpBitmap** bitmap) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const auto* source = ObjectTable::Get().Find<BitmapObject>(hbm);
  if (source == nullptr || bitmap == nullptr) return InvalidParameter;
  try {
    auto image = std::make_unique<BitmapImage>();
    image->picture = PictureOf(source->surface);
    return Register(std::move(image), bitmap);
  } catch (const std::bad_alloc&) {
    return OutOfMemory;
  }
}

GpStatus GdipCreateBitmapFromFile(const WCHAR* filename, GpBitmap** bitmap) {
  if (bitmap == nullptr || filename == nullptr) return InvalidParameter;
  {
    const GraphicsLock lock(GraphicsMutex());
    if (!GdiplusStarted()) return GdiplusNotInitialized;
  }
  try {
    auto image = std::make_unique<BitmapImage>();
    std::string error;
    const std::u16string path(filename);
    if (!picture::LoadPictureFile(path, image->picture, error)) {
      // A file that cannot be opened is "not found"; one that opens was not a picture we read.
      const HANDLE file = CreateFileW(filename, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
      image->error = file == INVALID_HANDLE_VALUE ? FileNotFound : UnknownImageFormat;
      if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
      image->picture = picture::Picture{};
    }
    const GpStatus status = image->error;
    const GraphicsLock lock(GraphicsMutex());
    const GpStatus registered = Register(std::move(image), bitmap);
    return registered != Ok ? registered : status;
  } catch (const std::bad_alloc&) {
    return OutOfMemory;
  }
}

GpStatus GdipDisposeImage(GpImage* image) {
  const GraphicsLock lock(GraphicsMutex());
  BitmapImage* found = FindImage(image);
  if (found == nullptr) return InvalidParameter;
  GdiplusRegistry::Get().images.erase(found);
  delete found;
  return Ok;
}

GpStatus GdipGetImageWidth(GpImage* image, UINT* width) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const BitmapImage* found = FindImage(image);
  if (found == nullptr || width == nullptr) return InvalidParameter;
  if (found->error != Ok) return found->error;
  *width = static_cast<UINT>(found->picture.width);
  return Ok;
}

GpStatus GdipGetImageHeight(GpImage* image, UINT* height) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const BitmapImage* found = FindImage(image);
  if (found == nullptr || height == nullptr) return InvalidParameter;
  if (found->error != Ok) return found->error;
  *height = static_cast<UINT>(found->picture.height);
  return Ok;
}

GpStatus GdipGetImagePixelFormat(GpImage* image, PixelFormat* format) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  const BitmapImage* found = FindImage(image);
  if (found == nullptr || format == nullptr) return InvalidParameter;
  if (found->error != Ok) return found->error;
  *format = static_cast<PixelFormat>(found->picture.pixelFormat);
  return Ok;
}

GpStatus GdipBitmapLockBits(GpBitmap* bitmap, const GpRect* rect, UINT flags, PixelFormat format,
                            BitmapData* lockedBitmapData) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  BitmapImage* image = FindImage(bitmap);
  if (image == nullptr || lockedBitmapData == nullptr) return InvalidParameter;
  if (image->error != Ok) return image->error;
  if (image->locked) return WrongState;
  if ((flags & (ImageLockModeRead | ImageLockModeWrite)) == 0) return InvalidParameter;
  const picture::Picture& own = image->picture;
  const Rect area = rect != nullptr ? *rect : Rect(0, 0, own.width, own.height);
  if (area.X < 0 || area.Y < 0 || area.Width <= 0 || area.Height <= 0 || area.X > own.width - area.Width ||
      area.Y > own.height - area.Height)
    return InvalidParameter;
  const bool sameFormat = static_cast<std::uint32_t>(format) == own.pixelFormat;
  const bool converts = format == PixelFormat24bppRGB || format == PixelFormat32bppRGB ||
                        format == PixelFormat32bppARGB || format == PixelFormat32bppPARGB;
  if (!sameFormat && !converts) return InvalidParameter;
  if (!sameFormat && (flags & ImageLockModeWrite) != 0) return NotImplemented;
  const int bitsPerPixel = picture::BitsPerPixel(static_cast<std::uint32_t>(format));
  if (sameFormat && (static_cast<std::int64_t>(area.X) * bitsPerPixel) % 8 != 0) return InvalidParameter;
  const bool userBuffer = (flags & ImageLockModeUserInputBuf) != 0;
  const int stride = userBuffer ? lockedBitmapData->Stride : static_cast<int>(DibStride(area.Width, bitsPerPixel));
  try {
    std::uint8_t* out = nullptr;
    if (userBuffer) {
      out = static_cast<std::uint8_t*>(lockedBitmapData->Scan0);
      if (out == nullptr) return InvalidParameter;
    } else {
      image->lockBuffer.assign(static_cast<std::size_t>(stride) * static_cast<std::size_t>(area.Height), 0);
      out = image->lockBuffer.data();
    }
    if ((flags & ImageLockModeRead) != 0) {
      if (sameFormat) {
        const std::size_t offset = static_cast<std::size_t>(area.X) * static_cast<std::size_t>(bitsPerPixel) / 8;
        const std::size_t bytes =
            (static_cast<std::size_t>(area.Width) * static_cast<std::size_t>(bitsPerPixel) + 7) / 8;
        for (int y = 0; y < area.Height; ++y)
          std::memcpy(
              out + static_cast<std::ptrdiff_t>(y) * stride,
              own.bits.data() + static_cast<std::size_t>(area.Y + y) * static_cast<std::size_t>(own.stride) + offset,
              bytes);
      } else {
        const picture::Picture* readable = ReadablePicture(*image);
        if (readable == nullptr) return NotImplemented;
        ConvertRows(*readable, area, format, out, stride);
      }
    }
    *lockedBitmapData =
        BitmapData{static_cast<UINT>(area.Width), static_cast<UINT>(area.Height), stride, format, out, 0};
  } catch (const std::bad_alloc&) {
    return OutOfMemory;
  }
  image->locked = true;
  image->lockRect = area;
  image->lockFlags = flags;
  image->lockFormat = format;
  return Ok;
}

GpStatus GdipBitmapUnlockBits(GpBitmap* bitmap, BitmapData* lockedBitmapData) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  BitmapImage* image = FindImage(bitmap);
  if (image == nullptr || lockedBitmapData == nullptr) return InvalidParameter;
  if (!image->locked) return WrongState;
  if ((image->lockFlags & ImageLockModeWrite) != 0) {
    picture::Picture& own = image->picture;
    const int bitsPerPixel = picture::BitsPerPixel(own.pixelFormat);
    const std::size_t offset = static_cast<std::size_t>(image->lockRect.X) * static_cast<std::size_t>(bitsPerPixel) / 8;
    const std::size_t bytes =
        (static_cast<std::size_t>(image->lockRect.Width) * static_cast<std::size_t>(bitsPerPixel) + 7) / 8;
    const auto* in = static_cast<const std::uint8_t*>(lockedBitmapData->Scan0);
    for (int y = 0; y < image->lockRect.Height; ++y)
      std::memcpy(own.bits.data() +
                      static_cast<std::size_t>(image->lockRect.Y + y) * static_cast<std::size_t>(own.stride) + offset,
                  in + static_cast<std::ptrdiff_t>(y) * lockedBitmapData->Stride, bytes);
    image->converted.reset();
  }
  image->locked = false;
  image->lockBuffer.clear();
  image->lockBuffer.shrink_to_fit();
  return Ok;
}

GpStatus GdipGetImageEncodersSize(UINT* numEncoders, UINT* size) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (numEncoders == nullptr || size == nullptr) return InvalidParameter;
  *numEncoders = static_cast<UINT>(picture::Encoders().size());
  *size = LayOutEncoders(nullptr);
  return Ok;
}

GpStatus GdipGetImageEncoders(UINT numEncoders, UINT size, ImageCodecInfo* encoders) {
  const GraphicsLock lock(GraphicsMutex());
  if (!GdiplusStarted()) return GdiplusNotInitialized;
  if (encoders == nullptr) return InvalidParameter;
  if (numEncoders < picture::Encoders().size() || size < LayOutEncoders(nullptr)) return InsufficientBuffer;
  LayOutEncoders(encoders);
  return Ok;
}

GpStatus GdipSaveImageToFile(GpImage* image, const WCHAR* filename, const CLSID* clsidEncoder,
                             const EncoderParameters* /*encoderParams*/) {
  picture::Picture copy;
  picture::FileFormat format{};
  {
    const GraphicsLock lock(GraphicsMutex());
    if (!GdiplusStarted()) return GdiplusNotInitialized;
    BitmapImage* found = FindImage(image);
    if (found == nullptr || filename == nullptr || clsidEncoder == nullptr) return InvalidParameter;
    if (found->error != Ok) return found->error;
    const picture::EncoderInfo* encoder = picture::FindEncoder(*clsidEncoder);
    if (encoder == nullptr) return InvalidParameter;
    format = encoder->format;
    try {
      if (found->picture.pixelFormat == picture::kFormat32bppRGB) {
        // The fourth byte of a 32bppRGB pixel means nothing; the file must not take it for alpha.
        copy = NewPicture(found->picture.width, found->picture.height, picture::kFormat24bppRGB);
        ConvertRows(found->picture, Rect(0, 0, found->picture.width, found->picture.height), PixelFormat24bppRGB,
                    copy.bits.data(), copy.stride);
      } else {
        copy = found->picture;
      }
    } catch (const std::bad_alloc&) {
      return OutOfMemory;
    }
  }
  std::string error;
  return picture::SavePictureFile(copy, format, filename, error) ? Ok : Win32Error;
}

}  // namespace DllExports
}  // namespace Gdiplus
