// The window/level hot loops of the common images, kept apart from the plain per-sample mapping so
// that they can be compiled for the vector units the machine has. Each kernel gives exactly the bytes
// of the plain mapping for the inputs its parameters admit; window_level.cpp decides when they apply,
// and the tests compare both on random images.
#pragma once

#include <cstddef>
#include <cstdint>

#include <optional>

#include "image/window_level.h"
#include "ondrel/platform/wintypes.h"

// How a stored element becomes a value: masked to its bits stored, then, for signed data, its sign
// extended from the highest of them.
struct StoredBits {
  int bits = 16;  // 1 to 16
  bool isSigned = false;
};

// A grey window in the terms of the plain mapping: a stored element becomes a value v (StoredBits), made a modality value m (v + interceptInteger when `integralRescale`,
// else (int)((double)((float)v * slope) + intercept)), and shown as 0 when m - low <= 0, 255 when
// m - low >= span, else (int)((double)(m - low) * factor); the byte is then XORed with invertMask.
// Valid only when every intermediate stays within +-2^30 and span >= 0, which the caller checks.
struct GreyWindowKernel {
  StoredBits stored;
  bool integralRescale = true;
  std::int32_t interceptInteger = 0;
  float slope = 1.0F;
  double intercept = 0.0;
  std::int32_t low = 0;
  std::int32_t span = 0;
  double factor = 0.0;
  // When set, (int)((float)(m - low) * floatFactor) gives the same byte as the double product for every
  // m - low inside the window (checked where it is set), and is taken instead: twice the lanes.
  bool useFloatFactor = false;
  float floatFactor = 0.0F;
  BYTE invertMask = 0;
};

// Maps `count` elements of one row into `out`.
void MapGreyRow(const std::uint8_t* elements, BYTE* out, std::size_t count, const GreyWindowKernel& kernel);
void MapGreyRow(const std::uint16_t* elements, BYTE* out, std::size_t count, const GreyWindowKernel& kernel);

// The smallest and largest value of `count` elements. `count` must be at least 1.
void StoredExtremes(const std::uint8_t* elements, std::size_t count, StoredBits bits, std::int32_t& smallest,
                    std::int32_t& largest);
void StoredExtremes(const std::uint16_t* elements, std::size_t count, StoredBits bits, std::int32_t& smallest,
                    std::int32_t& largest);

// The grey kernel's parameters when it gives the plain mapping's bytes for `input`, else none: one
// sample per pixel, 1 to 16 bits stored, no filter, a positive window, and values that stay far inside
// 32 bits.
std::optional<GreyWindowKernel> GreyKernelFor(const LutInput& input);
