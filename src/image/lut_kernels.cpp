// Compiled with -O3 -fno-trapping-math -ffp-contract=off (see CMakeLists.txt): the first two let
// GCC turn the loop into vector code (trapping maths keeps the conversions in branches), the third keeps
// every product rounded on its own, as the plain mapping rounds it. Each kernel is compiled for AVX-512,
// AVX2 and the x86-64 baseline, and the first call picks the one the processor runs.
#include "image/lut_kernels.h"

#include <algorithm>
#include <cstdint>

namespace {

// An element's value (StoredBits): unsigned, masked; signed, shifted up to bit 31 and arithmetically
// back, which masks and extends the sign in two steps. `shift` is 32 - bits, `mask` (1 << bits) - 1.
template <bool Signed>
[[gnu::always_inline]] inline std::int32_t ValueOf(std::int32_t element, std::int32_t mask, int shift) {
  if constexpr (Signed)
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(element) << shift) >> shift;
  else
    return element & mask;
}

// Inlined into each clone below, so that each is vectorised for its own instruction set.
template <typename Element, bool Signed, bool IntegralRescale, bool FloatFactor>
[[gnu::always_inline]] inline void MapRow(const Element* elements, BYTE* out, std::size_t count, const GreyWindowKernel& k) {
  const int shift = 32 - k.stored.bits;
  const std::int32_t mask = static_cast<std::int32_t>((std::uint32_t{1} << k.stored.bits) - 1);
  const std::int32_t interceptInteger = k.interceptInteger;
  const float slope = k.slope;
  const double intercept = k.intercept;
  const std::int32_t low = k.low;
  const std::int32_t span = k.span;
  const double factor = k.factor;
  const float floatFactor = k.floatFactor;
  const BYTE invertMask = k.invertMask;
  for (std::size_t i = 0; i < count; ++i) {
    const std::int32_t value = ValueOf<Signed>(elements[i], mask, shift);
    std::int32_t modality;
    if constexpr (IntegralRescale)
      modality = value + interceptInteger;
    else
      modality = static_cast<std::int32_t>(static_cast<double>(static_cast<float>(value) * slope) + intercept);
    const std::int32_t offset = modality - low;
    // The product is taken for every element, inside the window or not, so the loop has no branch.
    const std::int32_t inside = std::min(std::max(offset, 0), span);
    std::int32_t byte;
    if constexpr (FloatFactor)
      byte = static_cast<std::int32_t>(static_cast<float>(inside) * floatFactor);
    else
      byte = static_cast<std::int32_t>(static_cast<double>(inside) * factor);
    byte = offset >= span ? 255 : byte;
    byte = offset <= 0 ? 0 : byte;
    out[i] = static_cast<BYTE>(byte ^ invertMask);
  }
}

template <typename Element, bool Signed>
[[gnu::always_inline]] inline void DispatchRescale(const Element* elements, BYTE* out, std::size_t count,
                                                   const GreyWindowKernel& kernel) {
  if (kernel.integralRescale && kernel.useFloatFactor)
    MapRow<Element, Signed, true, true>(elements, out, count, kernel);
  else if (kernel.integralRescale)
    MapRow<Element, Signed, true, false>(elements, out, count, kernel);
  else if (kernel.useFloatFactor)
    MapRow<Element, Signed, false, true>(elements, out, count, kernel);
  else
    MapRow<Element, Signed, false, false>(elements, out, count, kernel);
}

template <typename Element>
[[gnu::always_inline]] inline void Dispatch(const Element* elements, BYTE* out, std::size_t count, const GreyWindowKernel& kernel) {
  if (kernel.stored.isSigned)
    DispatchRescale<Element, true>(elements, out, count, kernel);
  else
    DispatchRescale<Element, false>(elements, out, count, kernel);
}

template <bool Signed, typename Element>
[[gnu::always_inline]] inline void ExtremesOf(const Element* elements, std::size_t count, StoredBits bits,
                                              std::int32_t& smallest, std::int32_t& largest) {
  const int shift = 32 - bits.bits;
  const std::int32_t mask = static_cast<std::int32_t>((std::uint32_t{1} << bits.bits) - 1);
  std::int32_t low = INT32_MAX;
  std::int32_t high = INT32_MIN;
  for (std::size_t i = 0; i < count; ++i) {
    const std::int32_t value = ValueOf<Signed>(elements[i], mask, shift);
    low = std::min(low, value);
    high = std::max(high, value);
  }
  smallest = low;
  largest = high;
}

template <typename Element>
[[gnu::always_inline]] inline void Extremes(const Element* elements, std::size_t count, StoredBits bits,
                                            std::int32_t& smallest, std::int32_t& largest) {
  if (bits.isSigned)
    ExtremesOf<true>(elements, count, bits, smallest, largest);
  else
    ExtremesOf<false>(elements, count, bits, smallest, largest);
}

// Each kernel once per instruction set, the widest the processor runs chosen at the first call. (GCC's
// target_clones would do the choosing, but other compilers do not export clones across files.)
enum class VectorLevel { kBaseline, kAvx2, kAvx512 };

VectorLevel ProcessorLevel() {
  static const VectorLevel level = [] {
    __builtin_cpu_init();
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
                        __builtin_cpu_supports("avx512cd");
    const bool avx2 = __builtin_cpu_supports("avx2") != 0;
    const bool v3 = avx2 && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
                    __builtin_cpu_supports("bmi2");
    if (avx512 && v3) return VectorLevel::kAvx512;
    return avx2 ? VectorLevel::kAvx2 : VectorLevel::kBaseline;
  }();
  return level;
}

template <typename Element>
void MapBaseline(const Element* elements, BYTE* out, std::size_t count, const GreyWindowKernel& kernel) {
  Dispatch(elements, out, count, kernel);
}
template <typename Element>
__attribute__((target("avx2"))) void MapAvx2(const Element* elements, BYTE* out, std::size_t count,
                                             const GreyWindowKernel& kernel) {
  Dispatch(elements, out, count, kernel);
}
template <typename Element>
__attribute__((target("arch=x86-64-v4"))) void MapAvx512(const Element* elements, BYTE* out, std::size_t count,
                                                          const GreyWindowKernel& kernel) {
  Dispatch(elements, out, count, kernel);
}

template <typename Element>
void ExtremesBaseline(const Element* elements, std::size_t count, StoredBits bits, std::int32_t& smallest,
                      std::int32_t& largest) {
  Extremes(elements, count, bits, smallest, largest);
}
template <typename Element>
__attribute__((target("avx2"))) void ExtremesAvx2(const Element* elements, std::size_t count, StoredBits bits,
                                                  std::int32_t& smallest, std::int32_t& largest) {
  Extremes(elements, count, bits, smallest, largest);
}
template <typename Element>
__attribute__((target("arch=x86-64-v4"))) void ExtremesAvx512(const Element* elements, std::size_t count,
                                                               StoredBits bits, std::int32_t& smallest,
                                                               std::int32_t& largest) {
  Extremes(elements, count, bits, smallest, largest);
}

template <typename Element>
void MapOnProcessor(const Element* elements, BYTE* out, std::size_t count, const GreyWindowKernel& kernel) {
  switch (ProcessorLevel()) {
    case VectorLevel::kAvx512:
      return MapAvx512(elements, out, count, kernel);
    case VectorLevel::kAvx2:
      return MapAvx2(elements, out, count, kernel);
    case VectorLevel::kBaseline:
      return MapBaseline(elements, out, count, kernel);
  }
}

template <typename Element>
void ExtremesOnProcessor(const Element* elements, std::size_t count, StoredBits bits, std::int32_t& smallest,
                         std::int32_t& largest) {
  switch (ProcessorLevel()) {
    case VectorLevel::kAvx512:
      return ExtremesAvx512(elements, count, bits, smallest, largest);
    case VectorLevel::kAvx2:
      return ExtremesAvx2(elements, count, bits, smallest, largest);
    case VectorLevel::kBaseline:
      return ExtremesBaseline(elements, count, bits, smallest, largest);
  }
}

}  // namespace

void MapGreyRow(const std::uint8_t* elements, BYTE* out, std::size_t count, const GreyWindowKernel& kernel) {
  MapOnProcessor(elements, out, count, kernel);
}

void MapGreyRow(const std::uint16_t* elements, BYTE* out, std::size_t count, const GreyWindowKernel& kernel) {
  MapOnProcessor(elements, out, count, kernel);
}

void StoredExtremes(const std::uint8_t* elements, std::size_t count, StoredBits bits, std::int32_t& smallest,
                    std::int32_t& largest) {
  ExtremesOnProcessor(elements, count, bits, smallest, largest);
}

void StoredExtremes(const std::uint16_t* elements, std::size_t count, StoredBits bits, std::int32_t& smallest,
                    std::int32_t& largest) {
  ExtremesOnProcessor(elements, count, bits, smallest, largest);
}
