#include "image/presentation_intent.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "foundation/exceptions.h"

namespace {

const char* BoolText(BYTE flag) { return flag != 0 ? "true" : "false"; }

// Where sample `s` of pixel `p` lies: colour samples in their own plane (planar configuration 1) or
// slot, taken last to first as everywhere in the display path; grey images use the plain index.
class ElementIndex {
 public:
  ElementIndex(const PixelLayout& layout, std::size_t planeSize)
      : samples_(static_cast<std::size_t>(std::max(layout.samples, 1))),
        planeSize_(planeSize),
        colour_(layout.Colour()),
        planar_(layout.Colour() && layout.planarConfiguration == 1) {}

  // How many samples of a pixel travel on their own.
  std::size_t Samples() const { return colour_ ? samples_ : 1; }
  std::size_t Elements() const { return colour_ ? samples_ * planeSize_ : planeSize_; }

  std::size_t operator()(std::size_t p, std::size_t s) const {
    if (planar_) return (samples_ - s - 1) * planeSize_ + p;
    if (colour_) return (p + 1) * samples_ - s - 1;
    return p;
  }

 private:
  std::size_t samples_;
  std::size_t planeSize_;
  bool colour_;
  bool planar_;
};

void SwapElements(BYTE* data, std::size_t a, std::size_t b, std::size_t width) {
  std::swap_ranges(data + a * width, data + (a + 1) * width, data + b * width);
}

}  // namespace

void PresentationIntent::Reset() { *this = PresentationIntent{}; }

std::string PresentationIntent::ToTraceText() const {
  char wl[128] = "NULL";
  if (windowLevel)
    std::snprintf(wl, sizeof wl, "\tWindow=%d\tLevel=%d\tStep=%d", windowLevel->window, windowLevel->level,
                  windowLevel->step);
  char text[512];
  std::snprintf(text, sizeof text,
                "\r\nPresentation Intent:\r\n\tRotation=%d\tFlipX=%s\tFlipY=%s\tZoom=%d\tPanX=%d\tPanY=%d\tInvert=%s"
                "\r\n\tColorPalette=%d\r\n\tWL:%s\r\n\tImageFilter=%d\tThreshold=%d\r\n",
                rotation, BoolText(flipX), BoolText(flipY), static_cast<int>(zoom), panX, panY, BoolText(invert),
                palette, wl, filter, threshold);
  return text;
}

void PresentationIntent::UpdateRotationFlip(ImageRotationFlipEnum op) {
  switch (op) {
    case ROTATE_RIGHT:
      rotation = static_cast<SHORT>((rotation + 90) % 360);
      break;
    case ROTATE_LEFT: {
      int turned = (rotation - 90) % 360;
      if (turned < 0) turned += 360;
      rotation = static_cast<SHORT>(turned);
      break;
    }
    case FLIP_LR:
      flipX = flipX != 0 ? 0 : 1;
      break;
    case FLIP_UD:
      flipY = flipY != 0 ? 0 : 1;
      break;
    default:
      break;
  }
}

void PresentationIntent::ApplyUserRotationFlip(ImageRotationFlipEnum op) {
  UpdateRotationFlip(op);
  if (op == ROTATE_RIGHT || op == ROTATE_LEFT) std::swap(flipX, flipY);
}

bool RotateFlipPixels(PresentationIntent& intent, ByteBlock& pixels, const PixelLayout& layout,
                      ImageRotationFlipEnum op) {
  if (pixels.Empty() || op < ROTATE_RIGHT || op > FLIP_LR || layout.rows <= 0 || layout.columns <= 0)
    return false;
  std::size_t rows = static_cast<std::size_t>(layout.rows);
  std::size_t columns = static_cast<std::size_t>(layout.columns);
  if (intent.rotation % 180 != 0) std::swap(rows, columns);
  const std::size_t width = layout.ElementBytes();
  const ElementIndex index(layout, rows * columns);
  if (index.Elements() * width > pixels.Size())
    THROW_MY_EXCEPTION("The pixel data is smaller than the image it describes.");

  if (op == FLIP_UD || op == FLIP_LR) {
    intent.UpdateRotationFlip(op);
    if (op == FLIP_UD) {
      // An odd middle row stays where it is.
      for (std::size_t i = 0; i < rows / 2; ++i)
        for (std::size_t j = 0; j < columns; ++j)
          for (std::size_t s = 0; s < index.Samples(); ++s)
            SwapElements(pixels.Data(), index(i * columns + j, s), index((rows - 1 - i) * columns + j, s), width);
    } else {
      for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < columns / 2; ++j)
          for (std::size_t s = 0; s < index.Samples(); ++s)
            SwapElements(pixels.Data(), index(i * columns + j, s), index(i * columns + columns - 1 - j, s), width);
    }
    return true;
  }

  // The turned picture is `rows` wide and `columns` high; its plane has the same size.
  ByteBlock turned;
  try {
    turned = ByteBlock::Zeroed(pixels.Size());
  } catch (const std::bad_alloc&) {
    THROW_MY_EXCEPTION("Failed to allocate memory while turning the image pixels.");
  }
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) {
      const std::size_t from = i * columns + j;
      const std::size_t to = op == ROTATE_RIGHT ? j * rows + (rows - 1 - i) : (columns - 1 - j) * rows + i;
      for (std::size_t s = 0; s < index.Samples(); ++s)
        std::memcpy(turned.Data() + index(to, s) * width, pixels.Data() + index(from, s) * width, width);
    }
  }
  pixels = std::move(turned);
  intent.UpdateRotationFlip(op);
  return true;
}

void ApplyPresentationToPixels(PresentationIntent& intent, ByteBlock& pixels, const PixelLayout& layout) {
  // Without pixels there is nothing to replay, and clearing the state first would lose it.
  if (pixels.Empty()) return;
  const PresentationIntent found = intent;
  try {
    switch (intent.rotation) {
      case 90:
        intent.rotation = 0;
        RotateFlipPixels(intent, pixels, layout, ROTATE_RIGHT);
        break;
      case 180:
        intent.rotation = 0;
        RotateFlipPixels(intent, pixels, layout, ROTATE_RIGHT);
        RotateFlipPixels(intent, pixels, layout, ROTATE_RIGHT);
        break;
      case 270:
        intent.rotation = 0;
        RotateFlipPixels(intent, pixels, layout, ROTATE_LEFT);
        break;
      default:
        break;
    }
    if (intent.flipX != 0) {
      intent.flipX = 0;
      RotateFlipPixels(intent, pixels, layout, FLIP_LR);
    }
    if (intent.flipY != 0) {
      intent.flipY = 0;
      RotateFlipPixels(intent, pixels, layout, FLIP_UD);
    }
  } catch (...) {
    // A replay cut short must not leave the viewport's state changed.
    intent.rotation = found.rotation;
    intent.flipX = found.flipX;
    intent.flipY = found.flipY;
    throw;
  }
}

RECT CalculateDisplayRect(const RECT& client, const PresentationIntent& intent, LONG rows, LONG columns) {
  LONG width = columns;
  LONG height = rows;
  if (intent.rotation % 180 != 0) std::swap(width, height);
  // Worked out in 64 bits and held at the ends of LONG at the end: an extreme zoom or pan from a host
  // puts the picture far off the window instead of overflowing.
  std::int64_t left = 0;
  std::int64_t top = 0;
  std::int64_t right = 0;
  std::int64_t bottom = 0;
  if (intent.zoom == 0) {
    left = client.left;
    top = client.top;
    right = std::int64_t{client.left} + width;
    bottom = std::int64_t{client.top} + height;
  } else {
    const LONG clientWidth = std::abs(client.right - client.left);
    const LONG clientHeight = std::abs(client.bottom - client.top);
    // An image without area fits at no size rather than dividing by zero.
    const float scale =
        width > 0 && height > 0
            ? std::min(static_cast<float>(clientWidth) / static_cast<float>(width),
                       static_cast<float>(clientHeight) / static_cast<float>(height))
            : 0.0f;
    const LONG w = static_cast<LONG>(static_cast<float>(width) * scale);
    const LONG h = static_cast<LONG>(static_cast<float>(height) * scale);
    left = client.left + (clientWidth - w) / 2;
    top = client.top + (clientHeight - h) / 2;
    right = left + w;
    bottom = top + h;
    const double z = intent.zoom / 100.0 - 1.0;
    const auto ex = static_cast<std::int64_t>(std::clamp(w * z * 0.5, -1e15, 1e15));
    const auto ey = static_cast<std::int64_t>(std::clamp(h * z * 0.5, -1e15, 1e15));
    left -= ex;
    right += ex;
    top -= ey;
    bottom += ey;
  }
  const auto held = [](std::int64_t value) {
    return static_cast<LONG>(
        std::clamp<std::int64_t>(value, std::numeric_limits<LONG>::min(), std::numeric_limits<LONG>::max()));
  };
  return RECT{held(left + intent.panX), held(top + intent.panY), held(right + intent.panX),
              held(bottom + intent.panY)};
}

RECT CalculateDisplayRect(HWND window, const PresentationIntent& intent, LONG rows, LONG columns, RECT& client) {
  try {
    if (!GetClientRect(window, &client)) THROW_MY_EXCEPTION("Cannot get the client rectangle.");
    return CalculateDisplayRect(client, intent, rows, columns);
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to calculate the display rectangle.");
  }
}
