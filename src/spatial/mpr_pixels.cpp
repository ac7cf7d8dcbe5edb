#include "spatial/mpr_pixels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "foundation/exceptions.h"
#include "foundation/parallel.h"
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

// Cuts the scan line of one slice: the tables of the slab and of the oblique image's trace are made
// once, for every slice of a call.
class ScanLineCutter {
 public:
  ScanLineCutter(const ScanGeometry& g, const SampleCoding& coding)
      : g_(g),
        coding_(coding),
        state_(Mpr()),
        flags_(state_.slabFlags),
        fold_(FoldOf(flags_)),
        start_(StartValue(flags_, coding.Wide() ? 16 : 8)),
        slabCos_(static_cast<std::int16_t>(TruncateToInt(state_.slabHalfWidth * g.cosA))),
        slabSin_(static_cast<std::int16_t>(TruncateToInt(state_.slabHalfWidth * g.sinA))),
        // The loop tests at its end: one sample at least.
        iterations_(std::max(TruncateToInt(state_.slabHalfWidth * 2.0), 1)) {
    for (int k = 0; k < iterations_; ++k) {
      stepRow_.push_back(static_cast<std::int16_t>(TruncateToInt(k * g.cosA)));
      stepColumn_.push_back(static_cast<std::int16_t>(TruncateToInt(k * g.sinA)));
    }
    // The oblique image's trace on the last slice, before each slice's shift.
    if (g.role == kMprObliqueRole) {
      for (int j = 0; j < g.outputColumns; ++j) {
        obliqueRow_.push_back(TruncateToInt(j * g.spacing2 / g.sourceSpacing2 * g.sinA + g.lineFrom.y));
        obliqueColumn_.push_back(TruncateToInt(j * g.spacing1 / g.sourceSpacing1 * g.cosA + g.lineFrom.x));
      }
    }
  }

  // Writes the scan line of the slice `entry`, whose samples are `pixels`, to `line`; `offsets` is
  // room for a column's sample place each. Reads only what the constructor took and its arguments, so
  // that slices can be cut on several threads at once.
  void Cut(const MprSliceEntry& entry, const std::uint8_t* pixels, std::uint16_t* line,
           std::vector<std::ptrdiff_t>& offsets) const {
    const std::uint16_t firstSample = static_cast<std::uint16_t>(coding_.Read(pixels, 0));
    const std::size_t sampleBytes = coding_.Wide() ? 2 : 1;
    // Both offsets divide by the second spacing, the columns' too.
    const auto rowOffset = static_cast<std::int16_t>(
        state_.rowsShift - TruncateToInt(entry.depth * std::cos(state_.rowsAngle) / g_.sourceSpacing2));
    const auto columnOffset = static_cast<std::int16_t>(
        state_.columnsShift - TruncateToInt(entry.depth * std::cos(state_.columnsAngle) / g_.sourceSpacing2));
    const int obliqueRowShift = TruncateToInt(rowOffset * std::fabs(g_.sinA));
    const int obliqueColumnShift = TruncateToInt(columnOffset * std::fabs(g_.cosA));

    std::int16_t rowBase = 0;
    std::int16_t columnBase = 0;
    for (int j = 0; j < g_.outputColumns; ++j) {
      switch (g_.role) {
        case kMprFirstOrthogonalRole:
          rowBase = static_cast<std::int16_t>(g_.position - rowOffset);
          columnBase = static_cast<std::int16_t>(j - columnOffset);
          break;
        case kMprSecondOrthogonalRole:
          rowBase = static_cast<std::int16_t>(j - rowOffset);
          columnBase = static_cast<std::int16_t>(g_.position - columnOffset);
          break;
        case kMprObliqueRole:
          rowBase = static_cast<std::int16_t>(obliqueRow_[j] - obliqueRowShift);
          columnBase = static_cast<std::int16_t>(obliqueColumn_[j] - obliqueColumnShift);
          break;
        default:
          break;  // another role keeps the place of the column before
      }
      // The samples lie beside the line, from + slabCos on: a plain reformat too takes the last
      // sample of the slab that falls on the slice.
      const auto offsetOf = [&](int k) -> std::ptrdiff_t {
        const auto row = static_cast<std::int16_t>(stepRow_[k] + rowBase + slabCos_);
        const auto column = static_cast<std::int16_t>(stepColumn_[k] + columnBase - slabSin_);
        if (row < 0 || row >= g_.sourceRows || column < 0 || column >= g_.sourceColumns) return -1;
        return static_cast<std::ptrdiff_t>(row) * g_.sourceColumns + column;
      };
      std::ptrdiff_t offset = -1;
      if (fold_ == Fold::Last) {
        // The last sample on the slice wins, so the slab is walked from its far end. The sample is
        // fetched now and read below: a slice's samples lie a row apart, mostly outside the caches,
        // and the fetches overlap where the reads alone would wait on each other.
        for (int k = iterations_ - 1; k >= 0 && offset < 0; --k) offset = offsetOf(k);
        offsets[j] = offset;
        if (offset >= 0) __builtin_prefetch(pixels + static_cast<std::size_t>(offset) * sampleBytes);
      } else if (fold_ == Fold::None) {
        for (int k = 0; k < iterations_ && offset < 0; ++k) offset = offsetOf(k);
        offsets[j] = offset;
      } else {
        bool found = false;
        int accumulator = start_;
        for (int k = 0; k < iterations_; ++k) {
          if ((offset = offsetOf(k)) < 0) continue;
          found = true;
          const int sample = coding_.ToSigned(coding_.Read(pixels, static_cast<std::size_t>(offset)));
          if ((flags_ & MIP_MODE_MAXIP) != 0 && sample > accumulator) {
            accumulator = sample;
          } else if ((flags_ & MIP_MODE_MINIP) != 0 && sample < accumulator) {
            accumulator = sample;
          }
        }
        // Nothing on the slice: its first sample, so that the outside of a slice looks like its corner.
        line[j] = found ? coding_.ToStored(accumulator) : firstSample;
      }
    }
    if (fold_ == Fold::Last) {
      for (int j = 0; j < g_.outputColumns; ++j)
        line[j] = offsets[j] < 0 ? firstSample
                                 : coding_.ToStored(coding_.ToSigned(coding_.Read(pixels, static_cast<std::size_t>(offsets[j]))));
    } else if (fold_ == Fold::None) {
      for (int j = 0; j < g_.outputColumns; ++j) line[j] = offsets[j] < 0 ? firstSample : coding_.ToStored(start_);
    }
  }

 private:
  const ScanGeometry& g_;
  const SampleCoding& coding_;
  const MprState& state_;
  std::uint16_t flags_;
  Fold fold_;
  int start_;
  std::int16_t slabCos_;
  std::int16_t slabSin_;
  int iterations_;
  std::vector<std::int16_t> stepRow_;
  std::vector<std::int16_t> stepColumn_;
  std::vector<int> obliqueRow_;
  std::vector<int> obliqueColumn_;
};

// Slices a thread takes at least: fewer don't pay for starting it.
constexpr std::size_t kLeastSlicesPerThread = 32;

// One scan line of every slice, in the order of the slice list.
std::vector<std::uint16_t> ScanSlices(const ScanGeometry& g, const SampleCoding& coding, ImageLoader& loader) {
  std::vector<MprSliceEntry>& slices = Mpr().sliceList;
  // Every slice is loaded before any is cut, on this thread (the loader is not shared between
  // threads), so that a failure is that of the first slice that fails. The cache keeps the one copy
  // of each slice; the entries only point into it.
  const std::size_t sliceBytes = static_cast<std::size_t>(g.sourceRows) * static_cast<std::size_t>(g.sourceColumns) *
                                 (coding.Wide() ? 2 : 1);
  for (MprSliceEntry& entry : slices) {
    if (entry.pixels.Empty()) {
      bool cached = false;
      entry.pixels = FramePixels::Of(loader.Load(entry.image, &cached), *entry.image);
    }
    // A slice smaller than the last one would be read past its end.
    if (entry.pixels.Empty() || entry.pixels.Bytes().size() < sliceBytes)
      THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
  }

  const ScanLineCutter cutter(g, coding);
  const std::size_t columns = static_cast<std::size_t>(g.outputColumns);
  std::vector<std::uint16_t> lines(slices.size() * columns);
  ParallelRanges(slices.size(), kLeastSlicesPerThread, [&](std::size_t begin, std::size_t end) {
    std::vector<std::ptrdiff_t> offsets(columns);
    for (std::size_t s = begin; s < end; ++s)
      cutter.Cut(slices[s], slices[s].pixels.Bytes().data(), lines.data() + s * columns, offsets);
  });
  return lines;
}

// Where an output row takes its samples from: the scan line of the slice at or above its depth, and
// the one below it with the weights of both when the row lies between them.
struct DepthRow {
  int lower = -1;  // none: the row is not reached by any slice
  int upper = -1;
  double weightLower = 0.0;
  double weightUpper = 0.0;
};

std::vector<DepthRow> DepthRowsOf(int rows, double spacing2, const std::vector<MprSliceEntry>& slices) {
  std::vector<DepthRow> result(static_cast<std::size_t>(rows));
  for (int r = 0; r < rows; ++r) {
    const double targetDepth = (rows - r) * spacing2;
    // The first slice not above the depth by more than a micrometre (the list ascends in depth); the
    // one before it is the lower, and it is itself the lower when it lies at the depth, else the upper.
    const auto at = std::partition_point(slices.begin(), slices.end(), [&](const MprSliceEntry& entry) {
      return targetDepth - entry.depth > 1e-6;
    });
    DepthRow& row = result[static_cast<std::size_t>(r)];
    row.lower = static_cast<int>(at - slices.begin()) - 1;
    if (at != slices.end()) {
      if (std::fabs(targetDepth - at->depth) < 1e-6) {
        row.lower = static_cast<int>(at - slices.begin());
      } else {
        row.upper = static_cast<int>(at - slices.begin());
      }
    }
    const int lowerRow = row.lower >= 0 ? TruncateToInt(slices[row.lower].depth / spacing2) : 0;
    const int upperRow = row.upper >= 0 ? TruncateToInt(slices[row.upper].depth / spacing2) : 0;
    const int rowA = rows - lowerRow;
    const int rowB = rows - upperRow;
    if (rowA != rowB) {
      row.weightLower = static_cast<double>(rowB - r) / (rowB - rowA);
      row.weightUpper = static_cast<double>(r - rowA) / (rowB - rowA);
    }
    if (rowA == rowB) row.upper = -1;  // no blend: the lower slice's samples as they are
  }
  return result;
}

// Output rows a thread takes at least.
constexpr std::size_t kLeastRowsPerThread = 64;

// Stacks the scan lines by depth: the first output row belongs to the deepest point, and rows
// between two slices' depths are interpolated between their scan lines.
ByteBlock InterpolateDepthRows(ImageInfoStrategy& derived, const std::vector<std::uint16_t>& lines,
                               const SampleCoding& coding) {
  const int rows = derived.GetRows();
  const auto columns = static_cast<std::size_t>(derived.GetColumns());
  double spacing1 = 0.0;
  double spacing2 = 0.0;
  derived.GetPixelSpacing(&spacing1, &spacing2);
  const std::vector<DepthRow> depthRows = DepthRowsOf(rows, spacing2, Mpr().sliceList);
  const std::size_t width = coding.Wide() ? 2 : 1;
  ByteBlock output = ByteBlock::Uninitialised(static_cast<std::size_t>(rows) * columns * width);
  std::uint8_t* out = output.Data();
  ParallelRanges(depthRows.size(), kLeastRowsPerThread, [&](std::size_t begin, std::size_t end) {
    std::vector<std::uint16_t> samples(columns);
    for (std::size_t r = begin; r < end; ++r) {
      const DepthRow& row = depthRows[r];
      if (row.lower < 0) {
        std::fill(samples.begin(), samples.end(), 0);
      } else if (row.upper < 0) {
        const std::uint16_t* a = lines.data() + static_cast<std::size_t>(row.lower) * columns;
        for (std::size_t j = 0; j < columns; ++j) samples[j] = coding.ToStored(coding.ToSigned(a[j]));
      } else {
        const std::uint16_t* a = lines.data() + static_cast<std::size_t>(row.lower) * columns;
        const std::uint16_t* b = lines.data() + static_cast<std::size_t>(row.upper) * columns;
        // Both weights lie between 0 and 1: the blend stays within the samples' range.
        for (std::size_t j = 0; j < columns; ++j)
          samples[j] = coding.ToStored(static_cast<int>(coding.ToSigned(a[j]) * row.weightLower +
                                                        coding.ToSigned(b[j]) * row.weightUpper));
      }
      std::uint8_t* target = out + r * columns * width;
      if (width == 2) {
        for (std::size_t j = 0; j < columns; ++j) {
          target[2 * j] = static_cast<std::uint8_t>(samples[j] & 0xFF);
          target[2 * j + 1] = static_cast<std::uint8_t>(samples[j] >> 8);
        }
      } else {
        for (std::size_t j = 0; j < columns; ++j) target[j] = static_cast<std::uint8_t>(samples[j]);
      }
    }
  });
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
