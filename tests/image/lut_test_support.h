// What the window/level tests share: an input over a block of stored elements, and the display the
// LUT makes of it in a buffer first filled with a marker, so that any byte left unwritten shows.
#pragma once

#include <algorithm>
#include <vector>

#include "image/window_level.h"

namespace lut_test {

inline LutInput Input(const std::vector<BYTE>& pixels, LONG rows, LONG columns, int bits) {
  LutInput input;
  input.pixels = pixels;
  input.layout.rows = rows;
  input.layout.columns = columns;
  input.layout.bitsStored = bits;
  input.layout.photometric = Photometric::Monochrome2;
  return input;
}

// Through the fast paths, or with `plain` through the per-sample mapping alone.
inline std::vector<BYTE> Display(const LutInput& input, BYTE marker, bool plain = false) {
  DisplayBuffer buffer = DisplayBuffer::Uninitialised(DisplayBufferSize(input));
  std::fill_n(buffer.Data(), buffer.Size(), marker);
  if (plain)
    ApplyWindowLevelLutPlain(input, buffer);
  else
    ApplyWindowLevelLut(input, buffer);
  return {buffer.Data(), buffer.Data() + buffer.Size()};
}

}  // namespace lut_test
