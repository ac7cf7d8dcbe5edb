// How the samples of an image lie in memory, as its header describes them, and what its photometric
// interpretation makes of them. One description for the loader, the renderer, the image and its
// window/level, so that the widths of elements and frames are worked out in one place.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "ondrel/platform/wintypes.h"

class ImageInfoStrategy;

// The photometric interpretations the display knows, in the order of their codes.
enum class Photometric {
  Unknown = -1,
  Monochrome1 = 0,
  Monochrome2 = 1,
  Rgb = 2,
  YbrFull = 3,
  YbrRct = 4,
  YbrFull422 = 5,
};

// Colour means RGB, YBR_FULL and YBR_RCT only: YBR_FULL_422 and unknown images are shown as grey.
constexpr bool IsColour(Photometric photometric) {
  return photometric == Photometric::Rgb || photometric == Photometric::YbrFull || photometric == Photometric::YbrRct;
}

// The interpretation a header's text names. The text is searched, not compared, in an order that keeps
// YBR_FULL_422 from reading as YBR_FULL; a text that names none is Unknown.
Photometric PhotometricOf(std::string_view text);

struct PixelLayout {
  LONG rows = 0;     // of the raw image
  LONG columns = 0;  // of the raw image
  int samples = 1;   // samples per pixel; a header's 0 is read as 1
  int bitsAllocated = 8;
  int bitsStored = 8;
  int planarConfiguration = 0;
  Photometric photometric = Photometric::Unknown;

  // The layout of the strategy's image with the given interpretation. Throws what the strategy throws.
  static PixelLayout Of(ImageInfoStrategy& info, Photometric photometric);

  bool Colour() const { return IsColour(photometric); }
  std::size_t PlaneSize() const {
    return static_cast<std::size_t>(std::max<LONG>(rows, 0)) * static_cast<std::size_t>(std::max<LONG>(columns, 0));
  }
  // Bytes of one element (one sample of one pixel) in an image's working copy and everything made
  // from it: one below 9 bits stored, else two.
  std::size_t ElementBytes() const { return bitsStored < 9 ? 1 : 2; }
  // Bytes of the working copy of one frame: every sample of every pixel.
  std::size_t CopyBytes() const { return PlaneSize() * static_cast<std::size_t>(samples) * ElementBytes(); }
  // Bytes of one frame in the loader's block, where the frames follow one another. Counted from bits
  // allocated, not stored: for 8 bits stored in 16 allocated the frames lie two bytes a sample apart,
  // while the copy of a frame takes one byte a sample. Both are kept as images have always been read.
  std::size_t FrameBytes() const {
    return PlaneSize() * static_cast<std::size_t>(samples) * (bitsAllocated > 8 ? 2 : 1);
  }
};
