#include "entry/display_operations.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

// value + change, held at the ends of LONG: a drag or a pan from a window, level or offset near the
// ends (a file may give any width) stops there rather than wrapping to the other end.
LONG Moved(LONG value, std::int64_t change) {
  const std::int64_t moved = std::int64_t{value} + change;
  return static_cast<LONG>(std::clamp<std::int64_t>(moved, std::numeric_limits<LONG>::min(),
                                                    std::numeric_limits<LONG>::max()));
}

}  // namespace

void PanImage(Image& image, HWND window, LONG dx, LONG dy) {
  PresentationIntent& intent = *image.Intent();
  intent.panX = Moved(intent.panX, dx);
  intent.panY = Moved(intent.panY, dy);
  image.Draw(window, true);
}

void ZoomImage(Image& image, HWND window, ULONG zoom) {
  image.Intent()->zoom = zoom;
  image.Draw(window, false);
}

void ZoomImageDynamically(Image& image, HWND window, LONG dy) {
  ULONG& zoom = image.Intent()->zoom;
  const auto step = static_cast<ULONG>(std::trunc(static_cast<double>(static_cast<float>(zoom)) * 0.05));
  zoom = dy > 0 ? zoom - step : zoom + step;
  if (zoom < 100) zoom = 100;
  image.Draw(window, true);
}

ULONG CurrentZoom(const Image* image) {
  return image != nullptr && image->Intent() != nullptr ? image->Intent()->zoom : 100;
}

void WindowLevelImage(Image& image, HWND window, LONG dx, LONG dy) {
  PresentationIntent& intent = *image.Intent();
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
  image.ApplyWindowLevelLut();
  image.Draw(window, true);
}

void ApplyWindowLevelPreset(Image& image, HWND window, LONG width, LONG level) {
  PresentationIntent& intent = *image.Intent();
  if (!intent.windowLevel) intent.windowLevel = WindowLevel{};
  intent.windowLevel->window = width < 1 ? 1 : width;
  intent.windowLevel->level = level;
  intent.windowLevel->modified = 1;
  image.ApplyWindowLevelLut();
  image.Draw(window, false);
}

void InvertImage(Image& image, HWND window) {
  image.Intent()->invert = image.Intent()->invert != 0 ? 0 : 1;
  image.ApplyWindowLevelLut();
  image.Draw(window, false);
}

void ApplyColorPalette(Image& image, HWND window, LONG palette, const FramePixels& source) {
  image.Intent()->palette = palette;
  image.ReloadPixels(window, source, false);
}

LONG CurrentPalette(const Image* image) {
  return image != nullptr && image->Intent() != nullptr ? image->Intent()->palette : 0;
}

void RotateFlipImage(Image& image, HWND window, ImageRotationFlipEnum op, const FramePixels& source) {
  image.Intent()->ApplyUserRotationFlip(op);
  image.ReloadPixels(window, source, false);
}
