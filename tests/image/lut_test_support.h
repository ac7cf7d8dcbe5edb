// What the window/level tests share: an input over a block of stored elements, and the display the
// LUT makes of it in a buffer first filled with a marker, so that any byte left unwritten shows.
#pragma once

#include <algorithm>
#include <vector>

#include "image/window_level.h"

namespace lut_test {

inline LutInput Input(const std::vector<BYTE>& pixels, LONG rows, LONG columns, int bits) {
  LutInput input;
  input.pixels = pixels.data();
  input.pixelBytes = pixels.size();
  input.rows = rows;
  input.columns = columns;
  input.bitsStored = bits;
  input.photometric = kPhotometricMonochrome2;
  return input;
}

// Through the fast paths, or with `plain` through the per-sample mapping alone.
inline std::vector<BYTE> Display(const LutInput& input, BYTE marker, bool plain = false) {
  DisplayBuffer buffer;
  buffer.size = DisplayBufferSize(input);
  buffer.bytes.reset(new BYTE[buffer.size]);
  std::fill_n(buffer.bytes.get(), buffer.size, marker);
  if (plain)
    ApplyWindowLevelLutPlain(input, buffer);
  else
    ApplyWindowLevelLut(input, buffer);
  return {buffer.bytes.get(), buffer.bytes.get() + buffer.size};
}

}  // namespace lut_test
