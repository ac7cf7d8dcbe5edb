// One image as one viewport shows it: a private working copy of the pixels of one frame, turned to the
// presentation intent's rotation and flips, and the 8-bit display buffer made from it through the
// window/level LUT. Every redraw that touches pixels runs the same chain: copy the source pixels,
// apply the shutter, replay rotation and flips, rebuild the bitmap header, make the display buffer, draw.
//
// An Image owns its image info strategy, its shutter, its pixel copy, its display buffer and the
// annotations attached to it (its measurements); it shares the loader's pixels it copies from (see
// FramePixels), and uses, without owning, its presentation intent.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "image/annotations.h"
#include "image/presentation_intent.h"
#include "image/shutter.h"
#include "image/window_level.h"
#include "ondrel/platform/drawdib.h"
#include "ondrel/platform/gdi.h"
#include "ondrel/platform/gdiplus.h"
#include "sources/image_info_strategy.h"
#include "sources/pixel_data.h"
#include "sources/pixel_layout.h"

// The window whose viewport frame is drawn as selected, process-wide; null at first.
HWND SelectedWindow();
void SetSelectedWindow(HWND window);

class Image {
 public:
  // Copies the pixels of `source` (see CopyPixelData) and sets the first window and level when the
  // intent has none. Throws MyException "The Image constructor failed." around any failure.
  Image(const FramePixels& source, std::unique_ptr<ImageInfoStrategy> info, PresentationIntent* intent);
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  ImageInfoStrategy* Info() const { return info_.get(); }
  // Takes a new strategy; the old one is destroyed.
  void ReplaceInfo(std::unique_ptr<ImageInfoStrategy> info) { info_ = std::move(info); }
  PresentationIntent* Intent() const { return intent_; }
  void SetIntent(PresentationIntent* intent) { intent_ = intent; }
  const RECT& DisplayRect() const { return displayRect_; }
  // The display rectangle made afresh from the window's client rectangle and the intent, as the next
  // draw will place the picture. Throws as CalculateDisplayRect does.
  void RecalculateDisplayRect(HWND window);

  // What is drawn over the picture after the overlays (see ImageAnnotations), owned from now on; the
  // one attached before goes. Temporary images (imports, exports) have none.
  void AttachAnnotations(std::unique_ptr<ImageAnnotations> annotations) { annotations_ = std::move(annotations); }
  ImageAnnotations* Annotations() const { return annotations_.get(); }
  // What the viewport draws over the picture before the annotations (see ViewportLines); not owned.
  void AttachViewportLines(ViewportLines* lines) { viewportLines_ = lines; }
  Photometric PhotometricInterpretation() const { return photometric_; }
  bool IsColour() const { return ::IsColour(photometric_); }
  // Rescaled values of every stored value, made at the first draw: entry i is (int)(i * slope +
  // intercept). Empty before, and for bits stored outside 1 to 16.
  const std::vector<int>& HuConverter() const { return huConverter_; }

  // Replaces the working copy with the source's pixels: rows x columns x samples, two bytes each when
  // bits stored exceed 8. The pixels of a YBR_FULL frame that no image has converted yet are converted
  // to RGB, and the result is written back over the source, the loader's block, which then records the
  // frame as converted: the next image made from it takes the colours as they are. A source with no
  // data leaves no pixels. Each copy comes with a new shutter over the source, which blanks the copy at
  // the next preparation while shutters are on. Throws "Image rows is 0." for an image without rows,
  // wrapped in "The Image copy pixel data failed.".
  void CopyPixelData(FramePixels source);
  // Sets the intent's window and level from the image (from the file, else from the pixels) when
  // `force` or when the intent has none.
  void InitWindowLevel(bool force);
  // Nothing for an invalid window. With `force`, or before the first draw: applies the shutter, replays
  // rotation and flips on the pixels, rebuilds the bitmap header and the display buffer. Then draws,
  // fast or full. A shutter failure is thrown as "Failed to apply the shutter." with the cause inside.
  void PrepareAndDraw(HWND window, bool force, bool fast);
  // CopyPixelData(source), then PrepareAndDraw(window, true, fast).
  void ReloadPixels(HWND window, const FramePixels& source, bool fast);
  // CopyPixelData(source), the intent reset to its defaults, window and level set anew, and a full
  // draw.
  void ResetDisplay(HWND window, const FramePixels& source);
  // Rebuilds the display buffer from the pixels under the intent's window, level, invert and palette.
  void ApplyWindowLevelLut();

  // The working copy, turned as the intent says once prepared; empty without pixels.
  std::span<const BYTE> Pixels() const { return pixels_.Span(); }
  // The frame the working copy was last made from, as stored: neither turned nor shuttered.
  const FramePixels& Source() const { return source_; }
  // The layout of the raw image (rows and columns before any turn).
  PixelLayout Layout() const;
  // The shape of the display buffer: the raw image's rows and columns padded to multiples of 4
  // (`paddedRows`, `paddedColumns`), the buffer's width and height (the padded sizes, exchanged for a
  // quarter turn), and its bytes a pixel: 3 for a palette on a grey image, else the samples per pixel
  // (0 read as 1).
  struct DisplayShape {
    LONG paddedRows = 0;
    LONG paddedColumns = 0;
    LONG width = 0;
    LONG height = 0;
    int bytesPerPixel = 1;
  };
  DisplayShape Shape() const;
  // The 8-bit (grey) or 24-bit (palette, colour) display buffer, bottom-up with rows padded to a
  // multiple of 4 pixels; null before the first draw.
  const BYTE* DisplayBits() const { return displayBuffer_.Data(); }
  // The display buffer's bitmap header (with the grey table for an 8-bit header), made on first use.
  const BITMAPINFO* BitmapInfo() {
    if (bitmapInfo_.empty()) CreateBitmapInfo();
    return reinterpret_cast<const BITMAPINFO*>(bitmapInfo_.data());
  }
  // The last capture of the window (GetImageHBITMAP), owned until the host releases it or the image
  // goes.
  HBITMAP& CapturedBitmap() { return capturedBitmap_; }
  // The window and level the display buffer was made with; none before the first draw.
  const std::optional<WindowLevel>& AppliedWindowLevel() const { return appliedWindowLevel_; }

  // Puts the display buffer on the window: the full draw (background, picture, selection frame, tag
  // mark, overlays, annotations) through GDI+ and GDI, or the fast draw (background and picture)
  // through DrawDib. Nothing
  // before the display buffer exists. A failure of the full draw is thrown as "Failed to draw the
  // image." with the cause inside, the intent's text going to the trace.
  void Draw(HWND window, bool fast);
  // The fast draw of another buffer of the display buffer's shape (the magnifying glass).
  void FastDraw(HWND window, const BYTE* bits);

 private:
  void ReadPhotometric();
  void CreateBitmapInfo();
  void FullDraw(HWND window);
  void DrawTagMark(HWND window, Gdiplus::GpGraphics* graphics, const RECT& client);

  struct DrawDibCloser {
    void operator()(HDRAWDIB handle) const { DrawDibClose(handle); }
  };

  std::unique_ptr<ImageInfoStrategy> info_;
  std::unique_ptr<Shutter> shutter_;  // made with each pixel copy, over the source it copies
  ByteBlock pixels_;  // the working copy
  DisplayBuffer displayBuffer_;
  std::unique_ptr<std::remove_pointer_t<HDRAWDIB>, DrawDibCloser> drawDib_;
  std::vector<BYTE> bitmapInfo_;  // BITMAPINFOHEADER, with the grey table for an 8-bit header
  ondrel::platform::GdiplusPtr<Gdiplus::GpSolidFill> backgroundBrush_;
  ondrel::platform::GdiplusPtr<Gdiplus::GpPen> selectionPen_;
  ondrel::platform::GdiplusPtr<Gdiplus::GpPen> tagPen_;
  ondrel::platform::GdiplusPtr<Gdiplus::GpBitmap> tagStar_;
  RECT displayRect_{};
  std::vector<int> huConverter_;
  PresentationIntent* intent_ = nullptr;
  std::optional<WindowLevel> appliedWindowLevel_;
  Photometric photometric_ = Photometric::Unknown;
  HBITMAP capturedBitmap_ = nullptr;
  ViewportLines* viewportLines_ = nullptr;
  FramePixels source_;
  // Last, so that the measurements go before the strategy and the pixels they read.
  std::unique_ptr<ImageAnnotations> annotations_;
};
