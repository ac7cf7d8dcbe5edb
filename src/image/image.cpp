#include "image/image.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/trace.h"
#include "foundation/user_preferences.h"
#include "ondrel/platform/system.h"

using namespace Gdiplus;
using namespace Gdiplus::DllExports;

namespace {

HWND g_selectedWindow = nullptr;

// A COLORREF (red in the low byte) as an opaque GDI+ colour.
ARGB OpaqueArgb(COLORREF colour) {
  const DWORD red = colour & 0xFF;
  const DWORD green = (colour >> 8) & 0xFF;
  const DWORD blue = (colour >> 16) & 0xFF;
  return 0xFF000000u | red << 16 | green << 8 | blue;
}

}  // namespace

HWND SelectedWindow() { return g_selectedWindow; }
void SetSelectedWindow(HWND window) { g_selectedWindow = window; }

Image::Image(const PixelBuffer& source, std::unique_ptr<ImageInfoStrategy> info, PresentationIntent* intent,
             bool alreadyConverted)
    : info_(std::move(info)), intent_(intent) {
  try {
    drawDib_.reset(DrawDibOpen());
    GpSolidFill* brush = nullptr;
    GdipCreateSolidFill(0xFF000000u, &brush);
    backgroundBrush_.reset(brush);
    GpPen* pen = nullptr;
    GdipCreatePen1(OpaqueArgb(Preferences().userImageSelectionColor), 3.0F, UnitWorld, &pen);
    selectionPen_.reset(pen);
    pen = nullptr;
    GdipCreatePen1(OpaqueArgb(Preferences().userImageSelectionColor), 1.0F, UnitWorld, &pen);
    tagPen_.reset(pen);
    if (tagPen_) GdipSetPenDashStyle(tagPen_.get(), DashStyleDot);
    ReadPhotometric();
    CopyPixelData(source, alreadyConverted);
    InitWindowLevel(false);
  } catch (...) {
    if (pixels_.owned) delete[] pixels_.data;
    RETHROW_MY_EXCEPTION("The Image constructor failed.");
  }
}

Image::~Image() {
  if (pixels_.owned) delete[] pixels_.data;
  if (capturedBitmap_ != nullptr) DeleteObject(capturedBitmap_);
}

// The interpretation is searched for, not compared, in an order that keeps YBR_FULL_422 from reading
// as YBR_FULL.
void Image::ReadPhotometric() {
  try {
    const ImageInfoStrategy::Text text = info_->GetPhotometricInterpretation();
    if (text.IsNull()) return;
    const std::string value = ToNarrow(std::u16string_view(text.Get(), text.Length()));
    const struct {
      const char* name;
      int code;
    } order[] = {{"MONOCHROME1", kPhotometricMonochrome1}, {"MONOCHROME2", kPhotometricMonochrome2},
                 {"RGB", kPhotometricRgb},                 {"YBR_FULL_422", kPhotometricYbrFull422},
                 {"YBR_RCT", kPhotometricYbrRct},          {"YBR_FULL", kPhotometricYbrFull}};
    for (const auto& entry : order) {
      if (value.find(entry.name) != std::string::npos) {
        photometric_ = entry.code;
        return;
      }
    }
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to retrieve the image photometric interpretation.");
  }
}

void Image::CopyPixelData(const PixelBuffer& source, bool alreadyConverted) {
  try {
    // The old block is kept until the new size is known: a copy of the same size (the next frame, a
    // reload) reuses it, since touching fresh memory costs more than the copy on large images.
    std::unique_ptr<BYTE[]> previous(pixels_.owned ? pixels_.data : nullptr);
    const std::size_t previousSize = pixels_.size;
    pixels_ = PixelBuffer{};
    shutter_.reset();
    if (source.data == nullptr || source.size == 0) return;
    const auto rows = static_cast<SHORT>(info_->GetRows());
    if (rows < 1) THROW_MY_EXCEPTION("Image rows is 0.");
    const auto columns = static_cast<SHORT>(info_->GetColumns());
    std::uint32_t samples = info_->GetSamplesPerPixel();
    if (samples == 0) {
      Trace::Instance().Write("Image::CopyPixelData - The image samples per pixel is 0, assuming 1.", 2);
      samples = 1;
    }
    const int bitsStored = info_->GetBitsStored();
    const std::size_t sampleBytes = bitsStored > 8 ? 2 : 1;
    const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns < 0 ? 0 : columns) *
                              samples;
    const std::size_t size = count * sampleBytes;
    // The frame view may hold fewer bytes than the shape (a short file): copy what there is, the rest
    // stays zero, and nothing is read past the source.
    const std::size_t available = std::min<std::size_t>(size, source.size);
    BYTE* copy = nullptr;
    if (previous != nullptr && previousSize == size) {
      copy = previous.release();
    } else {
      copy = new (std::nothrow) BYTE[size];
      if (copy == nullptr) return;  // no pixels; the draw shows nothing
      AdviseLargeBlock(copy, size);
    }
    pixels_ = PixelBuffer{copy, static_cast<std::uint32_t>(size), true};
    std::memset(copy + available, 0, size - available);

    if (!alreadyConverted && photometric_ == kPhotometricYbrFull && samples >= 3) {
      std::memset(copy, 0, size);  // samples beyond the three converted stay zero
      // Y, Cb, Cr to R, G, B, truncated to the sample width without a clamp, so that results wrap.
      const std::size_t pixelsCount = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
      const bool planar = info_->GetPlanarConfiguration() == 1;
      const auto sampleAt = [&](std::size_t pixel, std::uint32_t s) {
        const std::size_t index = planar ? (s * pixelsCount + pixel) : (pixel * samples + s);
        if ((index + 1) * sampleBytes > available) return 0.0;
        return sampleBytes == 1 ? static_cast<double>(source.data[index])
                                : static_cast<double>(source.data[2 * index] | source.data[2 * index + 1] << 8);
      };
      const auto store = [&](std::size_t pixel, std::uint32_t s, double value) {
        const std::size_t index = planar ? (s * pixelsCount + pixel) : (pixel * samples + s);
        const auto truncated = static_cast<long long>(value);
        if (sampleBytes == 1) {
          copy[index] = static_cast<BYTE>(truncated);
        } else {
          copy[2 * index] = static_cast<BYTE>(truncated);
          copy[2 * index + 1] = static_cast<BYTE>(truncated >> 8);
        }
      };
      const std::uint32_t first = planar ? samples - 3 : 0;
      for (std::size_t p = 0; p < pixelsCount; ++p) {
        const double y = sampleAt(p, first);
        const double cb = sampleAt(p, first + 1) - 128;
        const double cr = sampleAt(p, first + 2) - 128;
        store(p, first, cr * 1.402 + y);
        store(p, first + 1, y - cb * 0.34414 - cr * 0.71414);
        store(p, first + 2, cb * 1.772 + y);
      }
      // The loader's cache takes the converted pixels, so that no image converts them twice.
      std::memcpy(source.data, copy, available);
    } else {
      std::memcpy(copy, source.data, available);
    }
    shutter_ = std::make_unique<Shutter>(source, info_.get(), photometric_ == kPhotometricMonochrome1);
  } catch (const std::bad_alloc&) {
    RETHROW_MY_EXCEPTION("Failed to allocate memory while copying the image pixel data.");
  } catch (...) {
    RETHROW_MY_EXCEPTION("The Image copy pixel data failed.");
  }
}

void Image::InitWindowLevel(bool force) {
  if (intent_ == nullptr || (!force && intent_->windowLevel)) return;
  intent_->windowLevel = ::InitWindowLevel(*info_, pixels_, photometric_);
}

PixelLayout Image::Layout() const {
  PixelLayout layout;
  layout.rows = static_cast<SHORT>(info_->GetRows());
  layout.columns = static_cast<SHORT>(info_->GetColumns());
  layout.samples = info_->GetSamplesPerPixel() == 0 ? 1 : info_->GetSamplesPerPixel();
  layout.bitsStored = info_->GetBitsStored();
  layout.planarConfiguration = info_->GetPlanarConfiguration();
  layout.colour = IsColour();
  return layout;
}

Image::DisplayShape Image::Shape() const {
  DisplayShape shape;
  shape.paddedRows = (static_cast<SHORT>(info_->GetRows()) + 3) / 4 * 4;
  shape.paddedColumns = (static_cast<SHORT>(info_->GetColumns()) + 3) / 4 * 4;
  const bool turned = intent_ != nullptr && intent_->rotation % 180 != 0;
  shape.width = turned ? shape.paddedRows : shape.paddedColumns;
  shape.height = turned ? shape.paddedColumns : shape.paddedRows;
  const bool paletteOnGrey = intent_ != nullptr && intent_->palette != 0 && !IsColour();
  shape.bytesPerPixel = paletteOnGrey ? 3 : std::max<int>(info_->GetSamplesPerPixel(), 1);
  return shape;
}

void Image::CreateBitmapInfo() {
  try {
    // The header describes what the display buffer holds: 24 bits a pixel for three bytes or more (a
    // palette on grey, colour), else 8. An image that calls itself colour with fewer samples (a damaged
    // header) holds, and shows, one grey byte a pixel.
    const DisplayShape shape = Shape();
    const bool grey = shape.bytesPerPixel < 3;
    bitmapInfo_.assign(sizeof(BITMAPINFOHEADER) + (grey ? 256 * sizeof(RGBQUAD) : 0), 0);
    auto* header = reinterpret_cast<BITMAPINFOHEADER*>(bitmapInfo_.data());
    header->biSize = sizeof(BITMAPINFOHEADER);
    header->biWidth = shape.width;
    header->biHeight = shape.height;
    header->biPlanes = 1;
    header->biBitCount = grey ? 8 : 24;
    if (grey) {
      auto* table = reinterpret_cast<RGBQUAD*>(bitmapInfo_.data() + sizeof(BITMAPINFOHEADER));
      for (int i = 0; i < 256; ++i) table[i] = RGBQUAD{static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
    }
  } catch (const std::bad_alloc&) {
    RETHROW_MY_EXCEPTION("Failed to allocate memory while creating the bitmap info.");
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to create the image BITMAPINFO header.");
  }
}

void Image::ApplyWindowLevelLut() {
  if (intent_ == nullptr) return;
  ::ApplyWindowLevelLut(*info_, pixels_, photometric_, *intent_, nullptr, displayBuffer_);
  appliedWindowLevel_ = intent_->windowLevel;
}

void Image::PrepareAndDraw(HWND window, bool force, bool fast) {
  if (!IsWindow(window)) return;
  if (force || !displayBuffer_.bytes) {
    // On the raw copy, before it is turned: shutter shapes are given in raw image coordinates.
    if (shutter_) {
      try {
        shutter_->Apply(pixels_);
      } catch (...) {
        RETHROW_MY_EXCEPTION("Failed to apply the shutter.");
      }
    }
    if (intent_ != nullptr) ApplyPresentationToPixels(*intent_, pixels_, Layout());
    if (huConverter_.empty()) {
      const int bits = info_->GetBitsStored();
      if (bits >= 1 && bits <= 16) {
        const double slope = info_->GetRescaleSlope();
        const double intercept = info_->GetRescaleIntercept();
        huConverter_.resize(std::size_t{1} << bits);
        for (std::size_t i = 0; i < huConverter_.size(); ++i)
          huConverter_[i] = static_cast<int>(static_cast<double>(i) * slope + intercept);
      }
    }
    CreateBitmapInfo();
    // The display buffer is kept, and the LUT writes over it when it is large enough; without pixels
    // there is nothing to show.
    if (pixels_.data == nullptr) displayBuffer_ = DisplayBuffer{};
    ApplyWindowLevelLut();
  }
  Draw(window, fast);
}

void Image::ReloadPixels(HWND window, const PixelBuffer& source, bool fast) {
  CopyPixelData(source, true);
  PrepareAndDraw(window, true, fast);
}

void Image::ResetDisplay(HWND window, const PixelBuffer& source) {
  CopyPixelData(source, true);
  if (intent_ != nullptr) intent_->Reset();
  InitWindowLevel(true);
  PrepareAndDraw(window, true, false);
}
