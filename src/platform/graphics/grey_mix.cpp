#include "grey_mix.h"

#include <immintrin.h>

#include <cstring>

namespace ondrel::platform::graphics {

namespace {

std::uint8_t MixOne(const std::uint8_t* row, const Tap& tap) {
  return static_cast<std::uint8_t>((row[tap.first] * (256 - tap.weight) + row[tap.second] * tap.weight + 128) >> 8);
}

// Products and sums stay below 2^16 (a weighted mean of bytes times 256, plus 128), so 16-bit lanes
// hold them exactly.
__attribute__((target("ssse3"))) __m128i MixHalf(__m128i a, __m128i b, __m128i weight) {
  const __m128i inverse = _mm_sub_epi16(_mm_set1_epi16(256), weight);
  const __m128i sum = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(a, inverse), _mm_mullo_epi16(b, weight)),
                                    _mm_set1_epi16(128));
  return _mm_srli_epi16(sum, 8);
}

__attribute__((target("ssse3"))) void MixBlock(const std::uint8_t* window, const std::uint8_t* first,
                                               const std::uint8_t* second, const std::uint8_t* weight,
                                               std::uint8_t* out) {
  const __m128i source = _mm_loadu_si128(reinterpret_cast<const __m128i*>(window));
  const __m128i a = _mm_shuffle_epi8(source, _mm_loadu_si128(reinterpret_cast<const __m128i*>(first)));
  const __m128i b = _mm_shuffle_epi8(source, _mm_loadu_si128(reinterpret_cast<const __m128i*>(second)));
  const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weight));
  const __m128i zero = _mm_setzero_si128();
  const __m128i low = MixHalf(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero), _mm_unpacklo_epi8(w, zero));
  const __m128i high = MixHalf(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero), _mm_unpackhi_epi8(w, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(low, high));
}

}  // namespace

GreyRowMixer::GreyRowMixer(const std::vector<Tap>& taps, int sourceWidth) : taps_(taps) {
  vector_ = __builtin_cpu_supports("ssse3") != 0;
  if (!vector_) return;
  blocks_.resize(taps.size() / 16);
  for (std::size_t k = 0; k < blocks_.size(); ++k) {
    Block& block = blocks_[k];
    const Tap* tap = &taps[16 * k];
    block.base = tap[0].first;
    // The sixteen bytes from base must lie in the row, and every tap among them.
    if (block.base + 16 > sourceWidth || tap[15].second - block.base > 15 || tap[15].first - block.base > 15) {
      block.base = -1;
      continue;
    }
    for (int i = 0; i < 16; ++i) {
      block.first[i] = static_cast<std::uint8_t>(tap[i].first - block.base);
      block.second[i] = static_cast<std::uint8_t>(tap[i].second - block.base);
      block.weight[i] = static_cast<std::uint8_t>(tap[i].weight);
    }
  }
}

void GreyRowMixer::Mix(const std::uint8_t* row, std::uint8_t* out) const {
  const Tap* taps = taps_.data();
  const std::size_t count = taps_.size();
  std::size_t done = 0;
  for (const Block& block : blocks_) {
    if (block.base >= 0) {
      MixBlock(row + block.base, block.first, block.second, block.weight, out + done);
    } else {
      for (std::size_t i = done; i < done + 16; ++i) out[i] = MixOne(row, taps[i]);
    }
    done += 16;
  }
  for (std::size_t i = done; i < count; ++i) out[i] = MixOne(row, taps[i]);
}

}  // namespace ondrel::platform::graphics
