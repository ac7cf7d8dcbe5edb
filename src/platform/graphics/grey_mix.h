// One row of a grey picture mixed across for the bilinear stretch: output i is
// (row[first] * (256 - weight) + row[second] * weight + 128) >> 8 of its tap. Where the processor has
// SSSE3, sixteen outputs whose taps lie within sixteen source pixels (any enlargement) are mixed at
// once with byte shuffles; the rest one by one. Both give the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ondrel::platform::graphics {

// The pair of source pixels a destination pixel mixes and the weight of the second, in 256ths.
struct Tap {
  int first;
  int second;
  std::uint32_t weight;
};

class GreyRowMixer {
 public:
  // `taps` (non-decreasing, as a stretch makes them) must outlive the mixer; each row given to Mix
  // holds `sourceWidth` readable bytes.
  GreyRowMixer(const std::vector<Tap>& taps, int sourceWidth);
  void Mix(const std::uint8_t* row, std::uint8_t* out) const;

 private:
  // Sixteen outputs whose taps all fall in row[base .. base + 15], as shuffle indices from base.
  struct Block {
    int base;
    std::uint8_t first[16];
    std::uint8_t second[16];
    std::uint8_t weight[16];
  };

  const std::vector<Tap>& taps_;
  std::vector<Block> blocks_;  // block k covers outputs 16k .. 16k + 15, or is absent (base -1)
  bool vector_ = false;
};

}  // namespace ondrel::platform::graphics
