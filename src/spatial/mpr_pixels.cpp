#include "spatial/mpr_pixels.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "foundation/exceptions.h"
#include "sources/image_info_strategies.h"
#include "sources/pixel_data.h"
#include "spatial/mpr_generation.h"
#include "spatial/mpr_state.h"

namespace spatial {
namespace {

// Samples as stored and as compared. A signed sample with its sign bit (of bits stored) set counts as
// that value less 2^bitsStored, and a negative value is stored as that value plus 2^bitsStored.
// Samples are at most 16 bits wide, so bits stored beyond 16 count as 16.
class SampleCoding {
 public:
  SampleCoding(USHORT bitsStored, bool isSigned)
      : wide_(bitsStored > 8),
        signMask_(isSigned && bitsStored > 0 ? 1 << (std::min<int>(bitsStored, 16) - 1) : 0),
        range_(1 << std::min<int>(bitsStored, 16)),
        storedMask_(bitsStored > 8 ? 0xFFFF : 0xFF) {}

  bool Wide() const { return wide_; }
  int Read(const std::uint8_t* bytes, std::size_t index) const {
    return wide_ ? static_cast<int>(bytes[2 * index] | (bytes[2 * index + 1] << 8)) : static_cast<int>(bytes[index]);
  }
  // Without branches on the sample, which would keep the reads of memory from overlapping: the sign
  // bit, doubled, is 2^bitsStored; a negative value's sign, spread, selects the range.
  int ToSigned(int raw) const { return raw - ((raw & signMask_) << 1); }
  std::uint16_t ToStored(int value) const {
    return static_cast<std::uint16_t>((value + (range_ & (value >> 31))) & storedMask_);
  }

 private:
  bool wide_;
  int signMask_;
  int range_;
  int storedMask_;
};

// The fold across the slab, by the slab flags: bit 0 keeps the largest sample, bit 1 the smallest
// (bit 0 first: with both set a sample that beats the largest is kept as such, another one below the
// smallest as that), no flag at all keeps the last. With the drag bit alone no sample changes the start
// value.
enum class Fold { Last, Extremes, None };

Fold FoldOf(std::uint16_t flags) {
  if (flags == 0) return Fold::Last;
  return (flags & (MIP_MODE_MAXIP | MIP_MODE_MINIP)) != 0 ? Fold::Extremes : Fold::None;
}

int StartValue(std::uint16_t flags, USHORT bitsStored) {
  if ((flags & MIP_MODE_MAXIP) != 0) return bitsStored < 9 ? -128 : -32768;
  if ((flags & MIP_MODE_MINIP) != 0) return bitsStored < 9 ? 127 : 32767;
  return 0;
}

struct ScanGeometry {
  LONG role = 0;
  int outputColumns = 0;
  double spacing1 = 0.0;
  double spacing2 = 0.0;
  double sourceSpacing1 = 0.0;
  double sourceSpacing2 = 0.0;
  int sourceRows = 0;
  int sourceColumns = 0;
  int position = 0;  // the derived image's place across its series, in source rows or columns
  double sinA = 0.0;
  double cosA = 0.0;
  PixelPoint lineFrom;
};

// One scan line of every slice, slice after slice in the order of the slice list.
std::vector<std::uint16_t> ScanSlices(const ScanGeometry& g, const SampleCoding& coding, ImageLoader& loader) {
  MprState& state = Mpr();
  const double halfWidth = state.slabHalfWidth;
  const std::uint16_t flags = state.slabFlags;
  const Fold fold = FoldOf(flags);
  const int start = StartValue(flags, coding.Wide() ? 16 : 8);
  const auto slabCos = static_cast<std::int16_t>(TruncateToInt(halfWidth * g.cosA));
  const auto slabSin = static_cast<std::int16_t>(TruncateToInt(halfWidth * g.sinA));
  const int sampleCount = TruncateToInt(halfWidth * 2.0);
  // The loop tests at its end: one sample at least.
  const int iterations = std::max(sampleCount, 1);
  std::vector<std::int16_t> stepRow(static_cast<std::size_t>(iterations));
  std::vector<std::int16_t> stepColumn(static_cast<std::size_t>(iterations));
  for (int k = 0; k < iterations; ++k) {
    stepRow[k] = static_cast<std::int16_t>(TruncateToInt(k * g.cosA));
    stepColumn[k] = static_cast<std::int16_t>(TruncateToInt(k * g.sinA));
  }
  // The oblique image's trace on the last slice, before each slice's shift.
  std::vector<int> obliqueRow;
  std::vector<int> obliqueColumn;
  if (g.role == kMprObliqueRole) {
    for (int j = 0; j < g.outputColumns; ++j) {
      obliqueRow.push_back(TruncateToInt(j * g.spacing2 / g.sourceSpacing2 * g.sinA + g.lineFrom.y));
      obliqueColumn.push_back(TruncateToInt(j * g.spacing1 / g.sourceSpacing1 * g.cosA + g.lineFrom.x));
    }
  }

  const std::size_t columns = static_cast<std::size_t>(g.outputColumns);
  std::vector<std::uint16_t> lines(state.sliceList.size() * columns);
  std::vector<std::ptrdiff_t> offsets(columns);
  const std::size_t sliceSamples = static_cast<std::size_t>(g.sourceRows) * static_cast<std::size_t>(g.sourceColumns);
  for (std::size_t s = 0; s < state.sliceList.size(); ++s) {
    const MprSliceEntry& entry = state.sliceList[s];
    bool cached = false;
    std::shared_ptr<PixelData> data = loader.Load(entry.image, &cached);
    const FramePixels frame = FramePixels::Of(std::move(data), *entry.image);
    // A slice smaller than the last one would be read past its end.
    if (frame.Empty() || frame.Bytes().size() < sliceSamples * (coding.Wide() ? 2 : 1))
      THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
    const std::uint8_t* pixels = frame.Bytes().data();
    const std::uint16_t firstSample = static_cast<std::uint16_t>(coding.Read(pixels, 0));

    // Both offsets divide by the second spacing, the columns' too.
    const auto rowOffset = static_cast<std::int16_t>(
        state.rowsShift - TruncateToInt(entry.depth * std::cos(state.rowsAngle) / g.sourceSpacing2));
    const auto columnOffset = static_cast<std::int16_t>(
        state.columnsShift - TruncateToInt(entry.depth * std::cos(state.columnsAngle) / g.sourceSpacing2));
    const int obliqueRowShift = TruncateToInt(rowOffset * std::fabs(g.sinA));
    const int obliqueColumnShift = TruncateToInt(columnOffset * std::fabs(g.cosA));

    std::uint16_t* line = lines.data() + s * columns;
    std::int16_t rowBase = 0;
    std::int16_t columnBase = 0;
    for (int j = 0; j < g.outputColumns; ++j) {
      switch (g.role) {
        case kMprFirstOrthogonalRole:
          rowBase = static_cast<std::int16_t>(g.position - rowOffset);
          columnBase = static_cast<std::int16_t>(j - columnOffset);
          break;
        case kMprSecondOrthogonalRole:
          rowBase = static_cast<std::int16_t>(j - rowOffset);
          columnBase = static_cast<std::int16_t>(g.position - columnOffset);
          break;
        case kMprObliqueRole:
          rowBase = static_cast<std::int16_t>(obliqueRow[j] - obliqueRowShift);
          columnBase = static_cast<std::int16_t>(obliqueColumn[j] - obliqueColumnShift);
          break;
        default:
          break;  // another role keeps the place of the column before
      }
      // The samples lie beside the line, from + slabCos on: a plain reformat too takes the last
      // sample of the slab that falls on the slice.
      const auto offsetOf = [&](int k) -> std::ptrdiff_t {
        const auto row = static_cast<std::int16_t>(stepRow[k] + rowBase + slabCos);
        const auto column = static_cast<std::int16_t>(stepColumn[k] + columnBase - slabSin);
        if (row < 0 || row >= g.sourceRows || column < 0 || column >= g.sourceColumns) return -1;
        return static_cast<std::ptrdiff_t>(row) * g.sourceColumns + column;
      };
      std::ptrdiff_t offset = -1;
      if (fold == Fold::Last) {
        // The last sample on the slice wins, so the slab is walked from its far end.
        for (int k = iterations - 1; k >= 0 && offset < 0; --k) offset = offsetOf(k);
        offsets[j] = offset;
      } else if (fold == Fold::None) {
        for (int k = 0; k < iterations && offset < 0; ++k) offset = offsetOf(k);
        offsets[j] = offset;
      } else {
        bool found = false;
        int accumulator = start;
        for (int k = 0; k < iterations; ++k) {
          if ((offset = offsetOf(k)) < 0) continue;
          found = true;
          const int sample = coding.ToSigned(coding.Read(pixels, static_cast<std::size_t>(offset)));
          if ((flags & MIP_MODE_MAXIP) != 0 && sample > accumulator) {
            accumulator = sample;
          } else if ((flags & MIP_MODE_MINIP) != 0 && sample < accumulator) {
            accumulator = sample;
          }
        }
        // Nothing on the slice: its first sample, so that the outside of a slice looks like its corner.
        line[j] = found ? coding.ToStored(accumulator) : firstSample;
      }
    }
    // The one sample of each column, read apart from the arithmetic that found it, so that the reads,
    // most of them to memory, overlap.
    if (fold == Fold::Last) {
      for (int j = 0; j < g.outputColumns; ++j)
        line[j] = offsets[j] < 0 ? firstSample
                                 : coding.ToStored(coding.ToSigned(coding.Read(pixels, static_cast<std::size_t>(offsets[j]))));
    } else if (fold == Fold::None) {
      for (int j = 0; j < g.outputColumns; ++j) line[j] = offsets[j] < 0 ? firstSample : coding.ToStored(start);
    }
  }
  return lines;
}

// Stacks the scan lines by depth: the first output row belongs to the deepest point, and rows
// between two slices' depths are interpolated between their scan lines.
ByteBlock InterpolateDepthRows(ImageInfoStrategy& derived, const std::vector<std::uint16_t>& lines,
                               const SampleCoding& coding) {
  const std::vector<MprSliceEntry>& slices = Mpr().sliceList;
  const int rows = derived.GetRows();
  const int columns = derived.GetColumns();
  double spacing1 = 0.0;
  double spacing2 = 0.0;
  derived.GetPixelSpacing(&spacing1, &spacing2);
  const std::size_t width = coding.Wide() ? 2 : 1;
  ByteBlock output = ByteBlock::Uninitialised(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns) * width);
  std::uint8_t* out = output.Data();
  const auto store = [&](std::size_t index, std::uint16_t value) {
    if (width == 2) {
      out[2 * index] = static_cast<std::uint8_t>(value & 0xFF);
      out[2 * index + 1] = static_cast<std::uint8_t>(value >> 8);
    } else {
      out[index] = static_cast<std::uint8_t>(value);
    }
  };
  for (int r = 0; r < rows; ++r) {
    const double targetDepth = (rows - r) * spacing2;
    int lower = -1;
    int upper = -1;
    for (std::size_t s = 0; s < slices.size(); ++s) {
      if (targetDepth - slices[s].depth > 1e-6) {
        lower = static_cast<int>(s);
        continue;
      }
      if (std::fabs(targetDepth - slices[s].depth) < 1e-6) {
        lower = static_cast<int>(s);
      } else {
        upper = static_cast<int>(s);
      }
      break;
    }
    const int lowerRow = lower >= 0 ? TruncateToInt(slices[lower].depth / spacing2) : 0;
    const int upperRow = upper >= 0 ? TruncateToInt(slices[upper].depth / spacing2) : 0;
    const int rowA = rows - lowerRow;
    const int rowB = rows - upperRow;
    const bool blend = upper >= 0 && rowA != rowB;
    const double weightLower = rowA != rowB ? static_cast<double>(rowB - r) / (rowB - rowA) : 0.0;
    const double weightUpper = rowA != rowB ? static_cast<double>(r - rowA) / (rowB - rowA) : 0.0;
    const std::size_t rowStart = static_cast<std::size_t>(r) * static_cast<std::size_t>(columns);
    if (lower < 0) {
      for (int j = 0; j < columns; ++j) store(rowStart + j, 0);
      continue;
    }
    const std::uint16_t* a = lines.data() + static_cast<std::size_t>(lower) * columns;
    const std::uint16_t* b = blend ? lines.data() + static_cast<std::size_t>(upper) * columns : nullptr;
    for (int j = 0; j < columns; ++j) {
      const int low = coding.ToSigned(a[j]);
      // Both weights lie between 0 and 1: the blend stays within the samples' range.
      const int value =
          blend ? static_cast<int>(low * weightLower + coding.ToSigned(b[j]) * weightUpper) : low;
      store(rowStart + j, coding.ToStored(value));
    }
  }
  return output;
}

}  // namespace

ByteBlock GenerateMprPixels(ImageInfoStrategy& derived, ImageLoader& loader) {
  MprState& state = Mpr();
  ScanGeometry g;
  g.role = derived.GetMprType();
  derived.GetPixelSpacing(&g.spacing1, &g.spacing2);
  double length = 0.0;
  if (state.lineEnds.size() != 2 || state.lastImage == nullptr ||
      !CalculateDirection2D({static_cast<double>(state.lineEnds[0].x), static_cast<double>(state.lineEnds[0].y)},
                            {static_cast<double>(state.lineEnds[1].x), static_cast<double>(state.lineEnds[1].y)},
                            length, g.sinA, g.cosA))
    THROW_MY_EXCEPTION("Cannot calculate MPR alpha angle.");
  ImageInfoStrategy& last = *state.lastImage;
  last.GetPixelSpacing(&g.sourceSpacing1, &g.sourceSpacing2);
  g.sourceRows = last.GetRows();
  g.sourceColumns = last.GetColumns();
  g.lineFrom = state.lineEnds[0];
  const LONG instance = derived.GetInstanceNumber();

  auto* workstation = dynamic_cast<ImageInfoWStationStrategy*>(&derived);
  if (g.role == kMprObliqueRole) {
    g.outputColumns = ObliqueWidth(state.lineEnds, g.spacing1, g.spacing1, g.spacing1);
    derived.SetColumns(static_cast<USHORT>(g.outputColumns));
  } else {
    g.outputColumns = derived.GetColumns();
  }
  if (workstation != nullptr) WriteDerivedPlacement(workstation->Image(), g.role);

  const USHORT bitsStored = derived.GetBitsStored();
  const SampleCoding coding(bitsStored, derived.GetPixelRepresentation() != 0);
  const double thickness = derived.GetSpacingBetweenSlices();
  g.position = TruncateToInt((instance - 1) * thickness / g.sourceSpacing2);
  return InterpolateDepthRows(derived, ScanSlices(g, coding, loader), coding);
}

}  // namespace spatial
