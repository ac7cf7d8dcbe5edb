#include "image/window_level.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "foundation/exceptions.h"
#include "image/lut_kernels.h"
#include "image/palettes.h"
#include "ondrel/platform/system.h"
#include "sources/image_info_strategy.h"

namespace {

// The width of the elements the LUT reads: the layout's, except that, kept as images of this
// workstation have always been read, YBR_FULL pixels take one byte only when exactly 8 bits are stored.
std::size_t LutElementBytes(const PixelLayout& layout) {
  if (layout.photometric == Photometric::YbrFull) return layout.bitsStored == 8 ? 1 : 2;
  return layout.ElementBytes();
}

std::int64_t ReadElement(const BYTE* pixels, std::size_t index, std::size_t bytes) {
  if (bytes == 1) return pixels[index];
  const BYTE* at = pixels + 2 * index;
  return static_cast<std::int64_t>(at[0] | (at[1] << 8));
}

// The sign bit, value range and mask of `bitsStored` bits. No bits stored means no sign, a range of one
// value and nothing masked, so a broken header can't make the shifts undefined.
//
// Every element is masked to its bits stored before its sign is tested. That changes nothing for data
// whose unused high bits are zero, the data this arithmetic was made for. But many scanners write
// signed values of fewer bits than allocated with the sign extended into the high bits: masked, a
// 12-bit -2048 stored as 0xF800 reads as the -2048 it is, where unmasked its sign would be extended a
// second time. And a masked value never indexes past a table of 1 << bits entries.
struct BitRange {
  std::int64_t signBit = 0;
  std::int64_t range = 1;
  std::int64_t mask = ~std::int64_t{0};
};

BitRange RangeOf(int bitsStored) {
  const int bits = std::clamp(bitsStored, 0, 32);
  if (bits == 0) return {};
  const std::int64_t range = std::int64_t{1} << bits;
  return {std::int64_t{1} << (bits - 1), range, range - 1};
}

std::size_t Padded(LONG size) { return (static_cast<std::size_t>(size) + 3) & ~std::size_t{3}; }

// Stored value to display byte: sign extension, rescale, window, inversion. The window's byte for a
// modality value is the entry a LUT of window + 1 bytes would hold for it, computed on the spot.
class ValueMapper {
 public:
  ValueMapper(const LutInput& input, bool invert) : invert_(invert) {
    const BitRange bits = RangeOf(input.layout.bitsStored);
    isSigned_ = input.isSigned;
    signBit_ = bits.signBit;
    range_ = bits.range;
    mask_ = bits.mask;
    slope_ = static_cast<float>(input.rescaleSlope == 0.0 ? 1.0 : input.rescaleSlope);
    intercept_ = input.rescaleIntercept;
    const WindowLevel& wl = input.windowLevel;
    hasWindow_ = wl.window != 0 || wl.level != 0;
    const std::int64_t half = wl.window / 2;
    low_ = wl.level - half;
    high_ = wl.level + half;
    lutFactor_ = 255.0 / static_cast<double>(hasWindow_ ? wl.window : range_);
    noWindowFactor_ = 255.0 / static_cast<double>(range_);
  }

  BYTE operator()(std::int64_t value) const {
    value &= mask_;
    if (isSigned_ && (value & signBit_) != 0) value -= range_;
    BYTE output;
    if (hasWindow_) {
      // Single-precision product, double sum: the rounding the displayed values have always had.
      const int modality = static_cast<int>(static_cast<double>(static_cast<float>(value) * slope_) + intercept_);
      if (modality <= low_)
        output = 0;
      else if (modality >= high_)
        output = 255;
      else
        output = static_cast<BYTE>(static_cast<int>(static_cast<double>(modality - low_) * lutFactor_));
    } else {
      // Without a window the stored value itself, not the modality value, is scaled.
      output = static_cast<BYTE>(static_cast<int>(static_cast<double>(value) * noWindowFactor_));
    }
    return invert_ ? static_cast<BYTE>(~output) : output;
  }

 private:
  bool invert_;
  bool isSigned_ = false;
  std::int64_t signBit_ = 0;
  std::int64_t range_ = 1;
  std::int64_t mask_ = ~std::int64_t{0};
  float slope_ = 1.0f;
  double intercept_ = 0.0;
  bool hasWindow_ = false;
  std::int64_t low_ = 0;
  std::int64_t high_ = 0;
  double lutFactor_ = 0.0;
  double noWindowFactor_ = 0.0;
};

// A filter value back in stored terms, wrapping as an unsigned 32-bit value would.
std::int64_t StoredFilterValue(LONG modality, double intercept, double slope) {
  const double stored = (static_cast<double>(modality) - intercept) / slope;
  return static_cast<std::int64_t>(static_cast<std::uint32_t>(static_cast<std::int64_t>(stored)));
}

// Without a filter a byte depends on the stored element alone, so a large image is mapped once per
// possible element value instead of once per sample. Empty when the image maps sample by sample.
std::size_t ValueTableSize(const LutInput& input, std::size_t samplesToMap) {
  const std::size_t possibleValues = std::size_t{1} << (8 * LutElementBytes(input.layout));
  return input.filter == 0 && samplesToMap >= possibleValues ? possibleValues : 0;
}

// The display byte of every possible element, for the images that map through a table.
void FillValueTable(const LutInput& input, std::vector<BYTE>& valueTable) {
  const bool invert = input.invert != (input.layout.photometric == Photometric::Monochrome1);
  const ValueMapper map(input, invert);
  for (std::size_t v = 0; v < valueTable.size(); ++v) valueTable[v] = map(static_cast<std::int64_t>(v));
}

// Three-sample colour without a palette or a filter, through a full value table: each sample looked
// up, written blue, green, red, as the plain mapping writes it.
template <typename Element>
void WriteColourThroughTable(const LutInput& input, const std::vector<BYTE>& table, BYTE* display) {
  const std::size_t rows = static_cast<std::size_t>(input.layout.rows);
  const std::size_t columns = static_cast<std::size_t>(input.layout.columns);
  const std::size_t paddedRows = Padded(input.layout.rows);
  const std::size_t rowBytes = Padded(input.layout.columns) * 3;
  const std::size_t planeSize = rows * columns;
  const auto* elements = reinterpret_cast<const Element*>(input.pixels.data());
  const BYTE* lookup = table.data();
  for (std::size_t r = 0; r < rows; ++r) {
    BYTE* out = display + (paddedRows - 1 - r) * rowBytes;
    if (input.layout.planarConfiguration == 1) {
      const Element* red = elements + r * columns;
      const Element* green = red + planeSize;
      const Element* blue = green + planeSize;
      for (std::size_t c = 0; c < columns; ++c) {
        out[3 * c] = lookup[blue[c]];
        out[3 * c + 1] = lookup[green[c]];
        out[3 * c + 2] = lookup[red[c]];
      }
    } else {
      const Element* pixel = elements + r * columns * 3;
      for (std::size_t c = 0; c < columns; ++c, pixel += 3) {
        out[3 * c] = lookup[pixel[2]];
        out[3 * c + 1] = lookup[pixel[1]];
        out[3 * c + 2] = lookup[pixel[0]];
      }
    }
  }
}

void WriteDisplay(const LutInput& input, std::vector<BYTE>& valueTable, BYTE* display) {
  const BYTE* pixels = input.pixels.data();
  const bool colour = IsColour(input.layout.photometric);
  const bool invert = input.invert != (input.layout.photometric == Photometric::Monochrome1);
  const ValueMapper map(input, invert);
  const std::size_t rows = static_cast<std::size_t>(input.layout.rows);
  const std::size_t columns = static_cast<std::size_t>(input.layout.columns);
  const std::size_t paddedRows = Padded(input.layout.rows);
  const std::size_t paddedColumns = Padded(input.layout.columns);
  const std::size_t samples = static_cast<std::size_t>(std::max(input.layout.samples, 1));
  const std::size_t planeSize = rows * columns;
  const bool planar = colour && input.layout.planarConfiguration == 1;
  const std::size_t elementBytes = LutElementBytes(input.layout);
  const PaletteTable* table = FindPalette(input.palette);
  const bool paletteOnGrey = input.palette != 0 && !colour;
  const std::size_t destinationSamples = paletteOnGrey ? 3 : samples;

  const double slope = input.rescaleSlope == 0.0 ? 1.0 : input.rescaleSlope;
  const bool thresholdFilter = (input.filter & 1) != 0;
  const bool edgeFilter = (input.filter & 2) != 0;
  std::int64_t filterLow = 0;
  std::int64_t filterHigh = 0;
  if (input.filter != 0) {
    const PixelRange range = CalculateMinMaxPixelValues(input.pixels, planeSize, input.layout.bitsStored,
                                                        input.isSigned, input.rescaleSlope, input.rescaleIntercept);
    filterLow = StoredFilterValue(range.min, input.rescaleIntercept, slope);
    filterHigh = StoredFilterValue(range.max, input.rescaleIntercept, slope);
  }
  const BitRange bits = RangeOf(input.layout.bitsStored);
  FillValueTable(input, valueTable);

  std::size_t rowOffset = (paddedRows - 1) * paddedColumns;
  for (std::size_t r = 0; r < rows; ++r, rowOffset -= paddedColumns) {
    const std::size_t rowStart = r * columns;
    for (std::size_t c = 0; c < columns; ++c) {
      const std::size_t pixelIndex = rowStart + c;
      const std::size_t destinationPixel = (rowOffset + c) * destinationSamples;
      for (std::size_t s = 0; s < samples; ++s) {
        // Samples are taken last to first, so RGB lands as blue, green, red.
        std::size_t source = pixelIndex;
        if (planar)
          source = (samples - s - 1) * planeSize + pixelIndex;
        else if (colour)
          source = (pixelIndex + 1) * samples - s - 1;
        const std::int64_t raw = ReadElement(pixels, source, elementBytes);

        BYTE output;
        if (!valueTable.empty()) {
          output = valueTable[static_cast<std::size_t>(raw)];
        } else {
          std::int64_t value = raw;
          if (thresholdFilter) {
            // The threshold is a stored value, so the sample is compared with its sign extended.
            const std::int64_t stored = raw & bits.mask;
            const std::int64_t signedRaw = input.isSigned && (stored & bits.signBit) != 0 ? stored - bits.range : stored;
            value = signedRaw <= input.threshold ? filterHigh : filterLow;
          } else if (edgeFilter) {
            const bool edge = input.edgePoints != nullptr &&
                              input.edgePoints->count({static_cast<LONG>(c), static_cast<LONG>(r)}) != 0;
            value = edge ? filterHigh : filterLow;
          }
          output = map(value);
        }

        BYTE* destination = display + destinationPixel + s;
        if (input.palette == 0) {
          *destination = output;
        } else if (!colour) {
          // A palette value outside the enumeration finds no table: the grey byte fills all three.
          const PaletteEntry entry = table != nullptr ? (*table)[output] : PaletteEntry{output, output, output};
          std::memcpy(destination, entry.data(), entry.size());
        } else if (s == 2 && table != nullptr) {
          const BYTE previous = destination[-1];
          const BYTE beforePrevious = destination[-2];
          const int lum = static_cast<int>(previous * 0.59 + output * 0.3 + beforePrevious * 0.11);
          const PaletteEntry& entry = (*table)[static_cast<std::size_t>(std::clamp(lum, 0, 255))];
          std::memcpy(destination - 2, entry.data(), entry.size());
        } else {
          *destination = output;
        }
      }
    }
  }
}

// The display rows of a grey image through the kernel, bottom-up; a palette turns each byte into its
// three-byte entry through a row of scratch.
void WriteGreyThroughKernel(const LutInput& input, const GreyWindowKernel& kernel, BYTE* display) {
  const std::size_t rows = static_cast<std::size_t>(input.layout.rows);
  const std::size_t columns = static_cast<std::size_t>(input.layout.columns);
  const std::size_t paddedColumns = Padded(input.layout.columns);
  const std::size_t paddedRows = Padded(input.layout.rows);
  const std::size_t elementBytes = input.layout.ElementBytes();
  const PaletteTable* table = FindPalette(input.palette);
  const bool palette = input.palette != 0;
  std::vector<BYTE> scratch(palette ? columns : 0);
  const std::size_t rowBytes = paddedColumns * (palette ? 3 : 1);
  for (std::size_t r = 0; r < rows; ++r) {
    const BYTE* source = input.pixels.data() + r * columns * elementBytes;
    BYTE* destination = display + (paddedRows - 1 - r) * rowBytes;
    BYTE* mapped = palette ? scratch.data() : destination;
    if (elementBytes == 1)
      MapGreyRow(source, mapped, columns, kernel);
    else
      MapGreyRow(reinterpret_cast<const std::uint16_t*>(source), mapped, columns, kernel);
    if (!palette) continue;
    for (std::size_t c = 0; c < columns; ++c) {
      const BYTE grey = scratch[c];
      // A palette value outside the enumeration finds no table: the grey byte fills all three.
      const PaletteEntry entry = table != nullptr ? (*table)[grey] : PaletteEntry{grey, grey, grey};
      std::memcpy(destination + 3 * c, entry.data(), entry.size());
    }
  }
}

// A float factor that gives, for every offset 1 .. span - 1 inside the window, the byte that the
// double factor gives; none if the candidates near it all differ somewhere. Both products are
// non-decreasing in the offset (the offset is exact as a float below 2^24, and rounding keeps order),
// so two step functions that agree on both sides of every step of the double one agree everywhere:
// about 2 x 255 offsets are checked, not the whole window.
std::optional<float> EquivalentFloatFactor(double factor, std::int32_t span) {
  if (span < 2 || span > (1 << 24)) return {};
  const auto exact = [factor](std::int32_t d) { return static_cast<std::int32_t>(static_cast<double>(d) * factor); };
  // The smallest offset from 1 whose byte is at least `k`; k lies between the bytes of 1 and span - 1.
  const auto firstReaching = [&](std::int32_t k) {
    auto d = static_cast<std::int32_t>(std::clamp(std::ceil(k / factor), 1.0, static_cast<double>(span - 1)));
    while (d > 1 && exact(d - 1) >= k) --d;
    while (exact(d) < k) ++d;
    return d;
  };
  const std::int32_t firstByte = exact(1);
  const std::int32_t lastByte = exact(span - 1);
  // The float nearest the factor, and its neighbours, since the nearest may round some step the
  // other way.
  const float nearest = static_cast<float>(factor);
  const float above = std::nextafter(nearest, 2.0F * nearest);
  const float below = std::nextafter(nearest, 0.0F);
  for (const float f : {nearest, above, below, std::nextafter(above, 2.0F * nearest), std::nextafter(below, 0.0F)}) {
    const auto approximate = [f](std::int32_t d) { return static_cast<std::int32_t>(static_cast<float>(d) * f); };
    bool same = approximate(1) == firstByte && approximate(span - 1) == lastByte;
    for (std::int32_t k = firstByte + 1; same && k <= lastByte; ++k) {
      const std::int32_t d = firstReaching(k);
      same = approximate(d) == exact(d) && approximate(d - 1) == exact(d - 1);
    }
    if (same) return f;
  }
  return {};
}

}  // namespace

std::optional<GreyWindowKernel> GreyKernelFor(const LutInput& input) {
  static_assert(std::endian::native == std::endian::little, "the kernels read two-byte elements in place");
  if (input.filter != 0 || IsColour(input.layout.photometric) || std::max(input.layout.samples, 1) != 1) return {};
  if (input.layout.bitsStored < 1 || input.layout.bitsStored > 16 || input.windowLevel.window <= 0) return {};
  constexpr double kLimit = 1 << 30;
  const WindowLevel& wl = input.windowLevel;
  const std::int64_t low = std::int64_t{wl.level} - wl.window / 2;
  const std::int64_t high = std::int64_t{wl.level} + wl.window / 2;
  if (std::abs(static_cast<double>(low)) >= kLimit || std::abs(static_cast<double>(high)) >= kLimit) return {};
  const float slope = static_cast<float>(input.rescaleSlope == 0.0 ? 1.0 : input.rescaleSlope);
  const double intercept = input.rescaleIntercept;
  // Elements are below 2^16 either way; the bound leaves room for the rounding of the product.
  if (!(std::abs(static_cast<double>(slope)) * 65536.0 + std::abs(intercept) < kLimit / 2)) return {};

  GreyWindowKernel kernel;
  kernel.stored = StoredBits{input.layout.bitsStored, input.isSigned};
  // With a slope of exactly 1 and a whole intercept, the float product and double sum are exact.
  kernel.integralRescale = slope == 1.0F && intercept == std::trunc(intercept);
  kernel.interceptInteger = static_cast<std::int32_t>(intercept);
  kernel.slope = slope;
  kernel.intercept = intercept;
  kernel.low = static_cast<std::int32_t>(low);
  kernel.span = static_cast<std::int32_t>(high - low);
  kernel.factor = 255.0 / static_cast<double>(wl.window);
  if (const std::optional<float> f = EquivalentFloatFactor(kernel.factor, kernel.span)) {
    kernel.useFloatFactor = true;
    kernel.floatFactor = *f;
  }
  const bool invert = input.invert != (input.layout.photometric == Photometric::Monochrome1);
  kernel.invertMask = invert ? 0xFF : 0x00;
  return kernel;
}

PixelRange CalculateMinMaxPixelValues(std::span<const BYTE> pixels, std::size_t count, int bitsStored, bool isSigned,
                                      double slope, double intercept) {
  try {
    PixelRange range;
    if (pixels.empty()) return range;
    const std::size_t elementBytes = bitsStored < 9 ? 1 : 2;
    const std::size_t available = pixels.size() / elementBytes;
    const std::size_t samples = std::min(count, available);
    if (samples == 0) return range;
    // The rescale keeps the order of the stored values (each rounding does), or reverses it for a
    // negative slope, so the extremes of the modality values are those of the extreme stored values,
    // found without a conversion per sample.
    // Elements are at most 16 bits wide, so more bits stored (or none, a broken header) mask nothing and
    // have no sign bit in them.
    const bool inElement = bitsStored >= 1 && bitsStored <= 16;
    const StoredBits stored{inElement ? bitsStored : 16, isSigned && inElement};
    std::int32_t smallest = 0;
    std::int32_t largest = 0;
    if (elementBytes == 1)
      StoredExtremes(pixels.data(), samples, stored, smallest, largest);
    else
      StoredExtremes(reinterpret_cast<const std::uint16_t*>(pixels.data()), samples, stored, smallest, largest);
    const auto modality = [&](std::int32_t sample) {
      return static_cast<LONG>(static_cast<double>(sample) * slope + intercept);
    };
    const LONG first = modality(smallest);
    const LONG last = modality(largest);
    range.min = std::min({range.min, first, last});
    range.max = std::max({range.max, first, last});
    return range;
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to calculate the image minimum and maximum pixel values.");
  }
}

PixelRange CalculateMinMaxPixelValues(ImageInfoStrategy& info, std::span<const BYTE> pixels) {
  try {
    const std::size_t count = static_cast<std::size_t>(info.GetRows()) * info.GetColumns();
    const int bitsStored = info.GetBitsStored();
    const bool isSigned = info.GetPixelRepresentation() != 0;
    const double slope = info.GetRescaleSlope();
    const double intercept = info.GetRescaleIntercept();
    return CalculateMinMaxPixelValues(pixels, count, bitsStored, isSigned, slope, intercept);
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to calculate the image minimum and maximum pixel values.");
  }
}

WindowLevel InitWindowLevel(ImageInfoStrategy& info, std::span<const BYTE> pixels, Photometric photometric) {
  WindowLevel result;
  const LONG level = info.GetWindowCenter();
  const LONG window = info.GetWindowWidth();
  if (level != 0 && window != 0) {
    result.window = window;
    result.level = level;
  } else if (!pixels.empty()) {
    if (IsColour(photometric)) {
      // A high bit past 30 is no real image; capping it keeps the window a positive 32-bit value.
      const int highBit = std::min<int>(info.GetHighBit(), 30);
      result.window = static_cast<LONG>((std::int64_t{2} << highBit) - 1);
      result.level = result.window / 2;
    } else {
      const PixelRange range = CalculateMinMaxPixelValues(info, pixels);
      result.window = static_cast<LONG>(std::int64_t{range.max} - range.min);
      result.level = static_cast<LONG>((std::int64_t{range.min} + range.max) / 2);
    }
  }
  // When one of the file's values is missing and there are no pixels, the window stays 0 and 0: the
  // picture then shows the stored values scaled to 0..255.
  result.step = result.window / 255;
  if (result.step == 0) result.step = 1;
  return result;
}

std::size_t DisplayBufferSize(const LutInput& input) {
  if (input.layout.rows <= 0 || input.layout.columns <= 0) return 0;
  // Samples may be 0 in a header; the pixel copy assumed 1 then, and so does the display.
  const std::size_t samples = static_cast<std::size_t>(std::max(input.layout.samples, 1));
  const bool paletteOnGrey = input.palette != 0 && !IsColour(input.layout.photometric);
  return samples * Padded(input.layout.columns) * Padded(input.layout.rows) * (paletteOnGrey ? 3 : 1);
}

namespace {

// Padding shows as black, whatever the block held before.
void ClearPadding(const LutInput& input, BYTE* display) {
  const std::size_t rows = static_cast<std::size_t>(input.layout.rows);
  const std::size_t paddedRows = Padded(input.layout.rows);
  const bool paletteOnGrey = input.palette != 0 && !IsColour(input.layout.photometric);
  const std::size_t samples = paletteOnGrey ? 3 : static_cast<std::size_t>(std::max(input.layout.samples, 1));
  const std::size_t used = static_cast<std::size_t>(input.layout.columns) * samples;
  const std::size_t rowBytes = Padded(input.layout.columns) * samples;
  std::memset(display, 0, (paddedRows - rows) * rowBytes);
  if (used == rowBytes) return;
  for (std::size_t r = paddedRows - rows; r < paddedRows; ++r) std::memset(display + r * rowBytes + used, 0, rowBytes - used);
}

void ApplyLut(const LutInput& input, DisplayBuffer& output, bool plainOnly) {
  if (input.pixels.empty() || input.layout.rows <= 0 || input.layout.columns <= 0) return;
  const bool colour = IsColour(input.layout.photometric);
  const std::size_t planeSize = static_cast<std::size_t>(input.layout.rows) * static_cast<std::size_t>(input.layout.columns);
  const std::size_t samples = static_cast<std::size_t>(std::max(input.layout.samples, 1));
  const std::optional<GreyWindowKernel> kernel = plainOnly ? std::nullopt : GreyKernelFor(input);
  std::vector<BYTE> valueTable;
  try {
    if (!kernel) valueTable.resize(ValueTableSize(input, planeSize * samples));
  } catch (const std::bad_alloc&) {
    THROW_MY_EXCEPTION("Failed to allocate memory while applying the LUT.");
  }
  try {
    // A grey image reads one element per pixel whatever its samples; a colour image reads them all.
    const std::size_t elements = colour ? planeSize * samples : planeSize;
    const std::size_t needed = elements * static_cast<std::size_t>(LutElementBytes(input.layout));
    if (needed > input.pixels.size()) THROW_MY_EXCEPTION("The pixel data is smaller than the image it describes.");

    const std::size_t size = DisplayBufferSize(input);
    if (output.Size() < size) {
      try {
        output = DisplayBuffer::Uninitialised(size);
      } catch (const std::bad_alloc&) {
        THROW_MY_EXCEPTION("Failed to allocate memory for pixel data.");
      }
      AdviseLargeBlock(output.Data(), size);
    }
    const bool colourThroughTable =
        !plainOnly && colour && samples == 3 && input.palette == 0 && !valueTable.empty();
    if (kernel) {
      WriteGreyThroughKernel(input, *kernel, output.Data());
    } else if (colourThroughTable) {
      FillValueTable(input, valueTable);
      if (valueTable.size() == 256)
        WriteColourThroughTable<std::uint8_t>(input, valueTable, output.Data());
      else
        WriteColourThroughTable<std::uint16_t>(input, valueTable, output.Data());
    } else {
      WriteDisplay(input, valueTable, output.Data());
    }
    ClearPadding(input, output.Data());
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to apply the image window and level.");
  }
}

}  // namespace

void ApplyWindowLevelLut(const LutInput& input, DisplayBuffer& output) { ApplyLut(input, output, false); }

void ApplyWindowLevelLutPlain(const LutInput& input, DisplayBuffer& output) { ApplyLut(input, output, true); }
