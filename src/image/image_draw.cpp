// Putting an image's display buffer on a window: the full draw through GDI+ and the fast draw through
// DrawDib.
#include <cstdio>

#include "foundation/exceptions.h"
#include "foundation/file_utils.h"
#include "foundation/trace.h"
#include "image/image.h"
#include "image/overlays.h"

using namespace Gdiplus;
using namespace Gdiplus::DllExports;

namespace {

constexpr int kTagSize = 20;

[[noreturn]] void ThrowStatus(const char* format, GpStatus status, const char* file, int line) {
  char text[256];
  std::snprintf(text, sizeof text, format, static_cast<int>(status));
  ThrowFormatted(text, file, line);
}
#define CHECK_STATUS(call, format)                                    \
  do {                                                                \
    const GpStatus checkedStatus_ = (call);                           \
    if (checkedStatus_ != Ok) ThrowStatus((format), checkedStatus_, __FILE__, __LINE__); \
  } while (false)

Rect ToRect(const RECT& r) { return Rect(r.left, r.top, r.right - r.left, r.bottom - r.top); }

}  // namespace

void Image::Draw(HWND window, bool fast) {
  if (displayBuffer_.Empty()) return;
  if (fast) {
    FastDraw(window, displayBuffer_.Data());
    return;
  }
  try {
    FullDraw(window);
  } catch (const MyException&) {
    Trace::Instance().Write(intent_ != nullptr ? intent_->ToTraceText() : "Presentation Intent object is NULL", 1);
    RETHROW_MY_EXCEPTION("Failed to draw the image.");
  } catch (...) {
    THROW_MY_EXCEPTION("Unknown exception while drawing the image.");
  }
}

void Image::FullDraw(HWND window) {
  RECT client{};
  displayRect_ = CalculateDisplayRect(window, *intent_, static_cast<SHORT>(info_->GetRows()),
                                      static_cast<SHORT>(info_->GetColumns()), client);
  if (client.bottom - client.top == 0 || client.right - client.left == 0) return;

  GpBitmap* made = nullptr;
  GdipCreateBitmapFromGdiDib(reinterpret_cast<const BITMAPINFO*>(bitmapInfo_.data()), displayBuffer_.Data(), &made);
  const ondrel::platform::GdiplusPtr<GpBitmap> bitmap(made);
  GpGraphics* graphicsMade = nullptr;
  GdipCreateFromHWND(window, &graphicsMade);
  const ondrel::platform::GdiplusPtr<GpGraphics> graphics(graphicsMade);
  if (!bitmap || !graphics) return;

  // Background: the client area outside the picture.
  GpRegion* regionMade = nullptr;
  const Rect clientRect = ToRect(client);
  const Rect pictureRect = ToRect(displayRect_);
  GdipCreateRegionRectI(&clientRect, &regionMade);
  const ondrel::platform::GdiplusPtr<GpRegion> region(regionMade);
  GdipCombineRegionRectI(region.get(), &pictureRect, CombineModeExclude);
  CHECK_STATUS(GdipFillRegion(graphics.get(), backgroundBrush_.get(), region.get()), "FillRegion() failed with status=%d.");

  // The picture, stretched by the graphics' default (bilinear), padding included.
  CHECK_STATUS(GdipDrawImageRectI(graphics.get(), bitmap.get(), pictureRect.X, pictureRect.Y, pictureRect.Width,
                                  pictureRect.Height),
               "DrawImage() failed with status=%d.");

  if (window == SelectedWindow()) {
    REAL width = 0;
    GdipGetPenWidth(selectionPen_.get(), &width);
    client.right -= static_cast<LONG>(width);
    client.bottom -= static_cast<LONG>(width);
    CHECK_STATUS(GdipDrawRectangleI(graphics.get(), selectionPen_.get(), client.left, client.top,
                                    client.right - client.left, client.bottom - client.top),
                 "DrawRectangle() failed with status=%d.");
  }
  DrawTagMark(window, graphics.get(), client);
  const WindowLevel applied = appliedWindowLevel_.value_or(WindowLevel{});
  Overlays(info_.get()).Draw(window, client, applied.window, applied.level, intent_->threshold, intent_->filter);
  if (annotations_ || viewportLines_ != nullptr) {
    struct WindowContext {
      HWND window;
      HDC dc;
      ~WindowContext() { ReleaseDC(window, dc); }
    } context{window, GetDC(window)};
    if (viewportLines_ != nullptr) viewportLines_->Draw(context.dc, *this);
    if (annotations_) {
      annotations_->DrawReferenceLines(context.dc, displayRect_);
      annotations_->Draw(context.dc, displayRect_);
    }
  }
}

void Image::RecalculateDisplayRect(HWND window) {
  RECT client{};
  displayRect_ = CalculateDisplayRect(window, *intent_, static_cast<SHORT>(info_->GetRows()),
                                      static_cast<SHORT>(info_->GetColumns()), client);
}

// A star in the corner of a tagged image; elsewhere a dotted square marks where it would stand.
void Image::DrawTagMark(HWND window, GpGraphics* graphics, const RECT& client) {
  const LONG x = client.right - kTagSize;
  const LONG y = client.bottom - kTagSize;
  const auto handle = static_cast<LONG>(reinterpret_cast<std::intptr_t>(window));
  if (info_->GetTaggedState(handle) == -1) {
    if (!tagStar_) {
      GpBitmap* star = nullptr;
      const std::u16string file = ModuleFolder() + u"star.png";
      GdipCreateBitmapFromFile(file.c_str(), &star);
      tagStar_.reset(star);
    }
    // A star that could not be loaded is a bitmap in an error state: drawing it reports why.
    const GpStatus status = GdipDrawImageRectI(graphics, tagStar_.get(), x, y, kTagSize, kTagSize);
    if (status == Ok) return;
    ThrowStatus("DrawImage() for tagged images failed with status=%d.", status, __FILE__, __LINE__);
  }
  CHECK_STATUS(GdipDrawRectangleI(graphics, tagPen_.get(), x, y, kTagSize, kTagSize),
               "FillRectangle() for tagged images failed with status=%d.");
}

void Image::FastDraw(HWND window, const BYTE* bits) {
  RECT client{};
  displayRect_ = CalculateDisplayRect(window, *intent_, static_cast<SHORT>(info_->GetRows()),
                                      static_cast<SHORT>(info_->GetColumns()), client);
  if (client.right - client.left <= 0 || client.bottom - client.top <= 0) return;
  const HDC dc = GetDC(window);
  const HRGN clientRegion = CreateRectRgn(client.left, client.top, client.right, client.bottom);
  const HRGN pictureRegion = CreateRectRgn(displayRect_.left, displayRect_.top, displayRect_.right, displayRect_.bottom);
  const HRGN background = CreateRectRgn(0, 0, 0, 0);
  CombineRgn(background, clientRegion, pictureRegion, RGN_DIFF);
  FillRgn(dc, background, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
  DrawDibDraw(drawDib_.get(), dc, displayRect_.left, displayRect_.top, displayRect_.right - displayRect_.left,
              displayRect_.bottom - displayRect_.top,
              reinterpret_cast<LPBITMAPINFOHEADER>(const_cast<BYTE*>(bitmapInfo_.data())), const_cast<BYTE*>(bits), 0,
              0, -1, -1, 0);
  DeleteObject(clientRegion);
  DeleteObject(pictureRegion);
  DeleteObject(background);
  ReleaseDC(window, dc);
}
