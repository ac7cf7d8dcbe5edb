// The gestures a user makes on a shown image: pan, zoom, window and level, invert, palette, rotation
// and flips, reset.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "entry/image_renderer.h"
#include "foundation/exceptions.h"

namespace {

// value + change, held at the ends of LONG: a drag or a pan from a window, level or offset near the
// ends (a file may give any width) stops there rather than wrapping to the other end.
LONG Moved(LONG value, std::int64_t change) {
  const std::int64_t moved = std::int64_t{value} + change;
  return static_cast<LONG>(std::clamp<std::int64_t>(moved, std::numeric_limits<LONG>::min(),
                                                    std::numeric_limits<LONG>::max()));
}

}  // namespace

Image* ImageRenderer::LiveImage(HWND window) const {
  if (!IsWindow(window)) return nullptr;
  Image* image = GetCurrentImage(window);
  return image != nullptr && image->Intent() != nullptr ? image : nullptr;
}

void ImageRenderer::PanImage(HWND window, LONG dx, LONG dy) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  image->Intent()->panX = Moved(image->Intent()->panX, dx);
  image->Intent()->panY = Moved(image->Intent()->panY, dy);
  image->Draw(window, true);
}

void ImageRenderer::ZoomImage(HWND window, ULONG zoom) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  image->Intent()->zoom = zoom;
  image->Draw(window, false);
}

// Only the sign of the drag counts: down shrinks by five percent of the zoom, anything else grows, and
// the picture never gets smaller than its fitted size.
void ImageRenderer::ZoomImageDynamically(HWND window, LONG dy) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  ULONG& zoom = image->Intent()->zoom;
  const auto step = static_cast<ULONG>(std::trunc(static_cast<double>(static_cast<float>(zoom)) * 0.05));
  zoom = dy > 0 ? zoom - step : zoom + step;
  if (zoom < 100) zoom = 100;
  image->Draw(window, true);
}

ULONG ImageRenderer::GetCurrentImageZoom(HWND window) const {
  const Image* image = GetCurrentImage(window);
  return image != nullptr && image->Intent() != nullptr ? image->Intent()->zoom : 100;
}

void ImageRenderer::WindowLevelImage(HWND window, LONG dx, LONG dy) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  PresentationIntent& intent = *image->Intent();
  if (!intent.windowLevel) intent.windowLevel = WindowLevel{};
  WindowLevel& values = *intent.windowLevel;
  if (intent.filter == 0) {
    values.window = Moved(values.window, std::int64_t{values.step} * dx);
    values.level = Moved(values.level, std::int64_t{values.step} * dy);
    if (values.window < 1) values.window = 1;
    values.modified = 1;
  } else {
    intent.threshold = Moved(intent.threshold, -std::int64_t{values.step} * dy);
  }
  image->ApplyWindowLevelLut();
  image->Draw(window, true);
}

void ImageRenderer::ApplyWindowLevelPreset(HWND window, LONG width, LONG level) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  PresentationIntent& intent = *image->Intent();
  if (!intent.windowLevel) intent.windowLevel = WindowLevel{};
  intent.windowLevel->window = width < 1 ? 1 : width;
  intent.windowLevel->level = level;
  intent.windowLevel->modified = 1;
  image->ApplyWindowLevelLut();
  image->Draw(window, false);
}

void ImageRenderer::InvertImage(HWND window) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  image->Intent()->invert = image->Intent()->invert != 0 ? 0 : 1;
  image->ApplyWindowLevelLut();
  image->Draw(window, false);
}

void ImageRenderer::ApplyColorPalette(HWND window, LONG palette, ImageLoader& loader) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  const PixelBuffer source = FetchPixelData(*image->Info(), loader);
  image->Intent()->palette = palette;
  image->ReloadPixels(window, source, false);
}

LONG ImageRenderer::GetColorPaletteMode(HWND window) const {
  const Image* image = GetCurrentImage(window);
  return image != nullptr && image->Intent() != nullptr ? image->Intent()->palette : 0;
}

void ImageRenderer::RotateFlipImage(HWND window, ImageRotationFlipEnum op, ImageLoader& loader) {
  Image* image = LiveImage(window);
  if (image == nullptr) return;
  const PixelBuffer source = FetchPixelData(*image->Info(), loader);
  image->Intent()->ApplyUserRotationFlip(op);
  image->ReloadPixels(window, source, false);
}

void ImageRenderer::EndInteractiveTool(HWND window) {
  Image* image = LiveImage(window);
  if (image != nullptr) image->Draw(window, false);
}

// The pixels come from the loader for `uid`, not for the image's own UID.
void ImageRenderer::ResetImage(const char16_t* uid, HWND window, ImageLoader& loader) {
  Image* image = GetCurrentImage(window);
  if (image == nullptr || image->Info() == nullptr) return;
  PixelBuffer buffer;
  loader.Find(uid, &buffer);
  if (buffer.data == nullptr) {
    bool cached = false;
    loader.Load(image->Info(), &buffer, &cached);
  }
  if (buffer.data == nullptr) THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
  image->ResetDisplay(window, FrameView(*image->Info(), buffer));
}
