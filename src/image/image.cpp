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

// Y, Cb, Cr to R, G, B, for the three samples (the last three planes with planar configuration 1),
// truncated to the sample width without a clamp, so that results wrap. Samples beyond the three stay
// zero; a sample past the end of `from` (a short file) reads as 0.
void ConvertYbrFullToRgb(const PixelLayout& layout, std::span<const BYTE> from, std::span<BYTE> to) {
  std::fill(to.begin(), to.end(), BYTE{0});
  const std::size_t sampleBytes = layout.ElementBytes();
  const auto samples = static_cast<std::size_t>(layout.samples);
  const std::size_t pixelsCount = layout.PlaneSize();
  const bool planar = layout.planarConfiguration == 1;
  const auto indexOf = [&](std::size_t pixel, std::size_t s) {
    return planar ? (s * pixelsCount + pixel) : (pixel * samples + s);
  };
  const auto sampleAt = [&](std::size_t pixel, std::size_t s) {
    const std::size_t index = indexOf(pixel, s);
    if ((index + 1) * sampleBytes > from.size()) return 0.0;
    return sampleBytes == 1 ? static_cast<double>(from[index])
                            : static_cast<double>(from[2 * index] | from[2 * index + 1] << 8);
  };
  const auto store = [&](std::size_t pixel, std::size_t s, double value) {
    const std::size_t index = indexOf(pixel, s);
    const auto truncated = static_cast<long long>(value);
    if (sampleBytes == 1) {
      to[index] = static_cast<BYTE>(truncated);
    } else {
      to[2 * index] = static_cast<BYTE>(truncated);
      to[2 * index + 1] = static_cast<BYTE>(truncated >> 8);
    }
  };
  const std::size_t first = planar ? samples - 3 : 0;
  for (std::size_t p = 0; p < pixelsCount; ++p) {
    const double y = sampleAt(p, first);
    const double cb = sampleAt(p, first + 1) - 128;
    const double cr = sampleAt(p, first + 2) - 128;
    store(p, first, cr * 1.402 + y);
    store(p, first + 1, y - cb * 0.34414 - cr * 0.71414);
    store(p, first + 2, cb * 1.772 + y);
  }
}

}  // namespace

HWND SelectedWindow() { return g_selectedWindow; }
void SetSelectedWindow(HWND window) { g_selectedWindow = window; }

Image::Image(const FramePixels& source, std::unique_ptr<ImageInfoStrategy> info, PresentationIntent* intent)
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
    CopyPixelData(source);
    InitWindowLevel(false);
  } catch (...) {
    RETHROW_MY_EXCEPTION("The Image constructor failed.");
  }
}

Image::~Image() {
  if (capturedBitmap_ != nullptr) DeleteObject(capturedBitmap_);
}

void Image::ReadPhotometric() {
  try {
    const ImageInfoStrategy::Text text = info_->GetPhotometricInterpretation();
    if (!text.IsNull()) photometric_ = PhotometricOf(ToNarrow(text.View()));
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to retrieve the image photometric interpretation.");
  }
}

void Image::CopyPixelData(FramePixels source) {
  try {
    // The old block is kept until the new size is known: a copy of the same size (the next frame, a
    // reload) reuses it, since touching fresh memory costs more than the copy on large images.
    ByteBlock previous = std::move(pixels_);
    pixels_ = ByteBlock();
    shutter_.reset();
    source_ = source;
    const std::span<const BYTE> from = source.Bytes();
    if (from.empty()) return;
    if (static_cast<SHORT>(info_->GetRows()) < 1) THROW_MY_EXCEPTION("Image rows is 0.");
    if (info_->GetSamplesPerPixel() == 0)
      Trace::Instance().Write("Image::CopyPixelData - The image samples per pixel is 0, assuming 1.", 2);
    const PixelLayout layout = Layout();
    // One sample (grey) or three (colour) is all the display knows; a header that says otherwise is
    // damaged, and taken at its word it could ask for gigabytes.
    if (layout.samples != 1 && layout.samples != 3)
      THROW_MY_EXCEPTION_F(128, "The image has %d samples per pixel; only 1 or 3 can be shown.", layout.samples);
    const std::size_t size = layout.CopyBytes();
    // The frame may hold fewer bytes than its header describes: a file cut short, or YBR_FULL_422
    // stored with two bytes a pixel. What it holds is shown, the rest padded with zeros. But a header
    // that asks for more than twice what the frame holds describes some other image, and is refused
    // before anything is allocated: so a damaged header never costs more than twice the file's pixels.
    if (size / 2 > from.size())
      THROW_MY_EXCEPTION_F(256, "The pixel data holds %zu bytes where the image's header needs %zu.", from.size(),
                           size);
    // An image without columns has no pixels to copy.
    if (size == 0) return;
    // Nothing is read past the source.
    const std::size_t available = std::min(size, from.size());
    if (previous.Size() == size) {
      pixels_ = std::move(previous);
    } else {
      try {
        pixels_ = ByteBlock::Uninitialised(size);
      } catch (const std::bad_alloc&) {
        return;  // no pixels; the draw shows nothing
      }
      AdviseLargeBlock(pixels_.Data(), size);
    }
    std::memset(pixels_.Data() + available, 0, size - available);

    if (photometric_ == Photometric::YbrFull && layout.samples >= 3 && !source.IsConverted()) {
      ConvertYbrFullToRgb(layout, from.first(available), pixels_.Span());
      // The loader's block takes the converted pixels, so that no image converts them twice.
      source.StoreConverted(pixels_.Span().first(available));
    } else {
      std::memcpy(pixels_.Data(), from.data(), available);
    }
    shutter_ = std::make_unique<Shutter>(std::move(source), info_.get(), photometric_ == Photometric::Monochrome1);
  } catch (const std::bad_alloc&) {
    RETHROW_MY_EXCEPTION("Failed to allocate memory while copying the image pixel data.");
  } catch (...) {
    RETHROW_MY_EXCEPTION("The Image copy pixel data failed.");
  }
}

void Image::InitWindowLevel(bool force) {
  if (intent_ == nullptr || (!force && intent_->windowLevel)) return;
  intent_->windowLevel = ::InitWindowLevel(*info_, pixels_.Span(), photometric_);
}

PixelLayout Image::Layout() const { return PixelLayout::Of(*info_, photometric_); }

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
  LutInput input;
  try {
    input.layout = Layout();
    input.isSigned = info_->GetPixelRepresentation() != 0;
    input.rescaleSlope = info_->GetRescaleSlope();
    input.rescaleIntercept = info_->GetRescaleIntercept();
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to apply the image window and level.");
  }
  input.pixels = pixels_.Span();
  // The pixels are already turned (ApplyPresentationToPixels), so their shape is the turned one.
  if (intent_->rotation % 180 != 0) std::swap(input.layout.rows, input.layout.columns);
  input.palette = intent_->palette;
  input.invert = intent_->invert != 0;
  input.filter = intent_->filter;
  input.threshold = intent_->threshold;
  // No interface fills the edge-detection set, so the filter finds none.
  input.edgePoints = nullptr;
  if (intent_->windowLevel) input.windowLevel = *intent_->windowLevel;
  ::ApplyWindowLevelLut(input, displayBuffer_);
  appliedWindowLevel_ = intent_->windowLevel;
}

void Image::PrepareAndDraw(HWND window, bool force, bool fast) {
  if (!IsWindow(window)) return;
  if (force || displayBuffer_.Empty()) {
    // On the raw copy, before it is turned: shutter shapes are given in raw image coordinates.
    if (shutter_) {
      try {
        shutter_->Apply(pixels_.Span());
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
    if (pixels_.Empty()) displayBuffer_ = DisplayBuffer{};
    ApplyWindowLevelLut();
  }
  Draw(window, fast);
}

void Image::ReloadPixels(HWND window, const FramePixels& source, bool fast) {
  CopyPixelData(source);
  PrepareAndDraw(window, true, fast);
}

void Image::ResetDisplay(HWND window, const FramePixels& source) {
  CopyPixelData(source);
  if (intent_ != nullptr) intent_->Reset();
  InitWindowLevel(true);
  PrepareAndDraw(window, true, false);
}
