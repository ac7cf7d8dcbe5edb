#include "spatial/mpr_pixels.h"

#include <algorithm>
#include <climits>
#include <utility>
#include <bit>
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

static_assert(std::endian::native == std::endian::little, "the gather reads two-byte samples in place");

// The 16-bit sample at `index`, in one load.
std::uint16_t LoadSample16(const std::uint8_t* bytes, std::ptrdiff_t index) {
  std::uint16_t value;
  std::memcpy(&value, bytes + 2 * index, sizeof value);
  return value;
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

// Where a slice's scan line lies in the slice: its offsets down the rows and across the columns,
// which a tilted stack shifts from slice to slice and an untilted one keeps.
struct SliceShift {
  std::int16_t rows = 0;
  std::int16_t columns = 0;
  bool operator==(const SliceShift&) const = default;
};

// The sample place of each column of a scan line (row x columns + column in the slice, -1 where the
// column finds no sample), kept by a thread for the next slice of the same shift.
struct ColumnPlaces {
  bool made = false;
  SliceShift shift;
  std::vector<std::ptrdiff_t> offsets;
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

  // Writes the scan line of the slice `entry`, whose samples are `pixels`, to `line`. `places` is the
  // calling thread's own: the columns' sample places of the slice before, reused when this slice
  // has the same shift. Reads only what the constructor took and its arguments, so that slices can
  // be cut on several threads at once.
  void Cut(const MprSliceEntry& entry, const std::uint8_t* pixels, std::uint16_t* line, ColumnPlaces& places) const {
    const std::uint16_t firstSample = static_cast<std::uint16_t>(coding_.Read(pixels, 0));
    // Both offsets divide by the second spacing, the columns' too.
    const SliceShift shift{
        static_cast<std::int16_t>(state_.rowsShift -
                                  TruncateToInt(entry.depth * std::cos(state_.rowsAngle) / g_.sourceSpacing2)),
        static_cast<std::int16_t>(state_.columnsShift -
                                  TruncateToInt(entry.depth * std::cos(state_.columnsAngle) / g_.sourceSpacing2))};
    if (fold_ == Fold::Extremes) {
      CutSlab(ShiftsOf(shift), pixels, line, firstSample);
      return;
    }
    if (!places.made || places.shift != shift) {
      const Shifts shifts = ShiftsOf(shift);
      places.offsets.resize(static_cast<std::size_t>(g_.outputColumns));
      for (int j = 0; j < g_.outputColumns; ++j) {
        const Base base = BaseOf(j, shifts);
        // A plain reformat takes the last of the slab's samples that falls on the slice, so the slab
        // is walked from its far end; with the drag bit alone any sample on the slice will do.
        std::ptrdiff_t offset = -1;
        if (fold_ == Fold::Last) {
          for (int k = iterations_ - 1; k >= 0 && offset < 0; --k) offset = OffsetOf(k, base);
        } else {
          for (int k = 0; k < iterations_ && offset < 0; ++k) offset = OffsetOf(k, base);
        }
        places.offsets[static_cast<std::size_t>(j)] = offset;
      }
      places.made = true;
      places.shift = shift;
    }
    const std::ptrdiff_t* offsets = places.offsets.data();
    const int count = g_.outputColumns;
    if (fold_ == Fold::Last) {
      // The samples lie a row apart, mostly outside the nearer caches. The gather alone, a few
      // instructions a sample and no branch, lets the processor have many of them on the way at once;
      // the samples are then read as values, and a column without one takes the first sample.
      if (coding_.Wide()) {
        for (int j = 0; j < count; ++j) line[j] = LoadSample16(pixels, std::max<std::ptrdiff_t>(offsets[j], 0));
      } else {
        for (int j = 0; j < count; ++j) line[j] = pixels[std::max<std::ptrdiff_t>(offsets[j], 0)];
      }
      const SampleCoding coding = coding_;
      for (int j = 0; j < count; ++j)
        line[j] = offsets[j] < 0 ? firstSample : coding.ToStored(coding.ToSigned(line[j]));
    } else {
      const std::uint16_t start = coding_.ToStored(start_);
      for (int j = 0; j < count; ++j) line[j] = offsets[j] < 0 ? firstSample : start;
    }
  }

 private:
  // Where column j's slab starts in the slice, before the slab's steps.
  struct Base {
    std::int16_t row = 0;
    std::int16_t column = 0;
  };

  // A slice's shift, and the part of it that moves the oblique image's trace.
  struct Shifts {
    SliceShift slice;
    int traceRows = 0;
    int traceColumns = 0;
  };

  Shifts ShiftsOf(const SliceShift& shift) const {
    return {shift, TruncateToInt(shift.rows * std::fabs(g_.sinA)), TruncateToInt(shift.columns * std::fabs(g_.cosA))};
  }

  Base BaseOf(int j, const Shifts& shifts) const {
    switch (g_.role) {
      case kMprFirstOrthogonalRole:
        return {static_cast<std::int16_t>(g_.position - shifts.slice.rows),
                static_cast<std::int16_t>(j - shifts.slice.columns)};
      case kMprSecondOrthogonalRole:
        return {static_cast<std::int16_t>(j - shifts.slice.rows),
                static_cast<std::int16_t>(g_.position - shifts.slice.columns)};
      case kMprObliqueRole:
        return {static_cast<std::int16_t>(obliqueRow_[j] - shifts.traceRows),
                static_cast<std::int16_t>(obliqueColumn_[j] - shifts.traceColumns)};
      default:
        return {};  // another role samples every column from the slice's first row and column
    }
  }

  // The place of the slab's k-th sample beside column j's base, -1 outside the slice. The samples lie
  // beside the line, from + slabCos on: a plain reformat too takes the last sample of the slab that
  // falls on the slice.
  std::ptrdiff_t OffsetOf(int k, const Base& base) const {
    const auto row = static_cast<std::int16_t>(stepRow_[k] + base.row + slabCos_);
    const auto column = static_cast<std::int16_t>(stepColumn_[k] + base.column - slabSin_);
    if (row < 0 || row >= g_.sourceRows || column < 0 || column >= g_.sourceColumns) return -1;
    return static_cast<std::ptrdiff_t>(row) * g_.sourceColumns + column;
  }

  // The largest or smallest sample across the slab, each column.
  void CutSlab(const Shifts& shifts, const std::uint8_t* pixels, std::uint16_t* line,
               std::uint16_t firstSample) const {
    for (int j = 0; j < g_.outputColumns; ++j) {
      const Base base = BaseOf(j, shifts);
      bool found = false;
      int accumulator = start_;
      for (int k = 0; k < iterations_; ++k) {
        const std::ptrdiff_t offset = OffsetOf(k, base);
        if (offset < 0) continue;
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

// Loads every slice of the list, on this thread (the loader is not shared between threads), before
// any is cut, so that a failure is that of the first slice that fails. The cache keeps the one copy of
// each slice; the entries only point into it.
void LoadSlices(const ScanGeometry& g, const SampleCoding& coding, ImageLoader& loader) {
  const std::size_t sliceBytes = static_cast<std::size_t>(g.sourceRows) * static_cast<std::size_t>(g.sourceColumns) *
                                 (coding.Wide() ? 2 : 1);
  for (MprSliceEntry& entry : Mpr().sliceList) {
    if (entry.pixels.Empty()) {
      bool cached = false;
      entry.pixels = FramePixels::Of(loader.Load(entry.image, &cached), *entry.image);
    }
    // A slice smaller than the last one would be read past its end.
    if (entry.pixels.Empty() || entry.pixels.Bytes().size() < sliceBytes)
      THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
  }
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

// The slices that output rows [begin, end) take their samples from, as [first, last): the rows run
// from the deepest point up, so their slices are one run of the list. Empty when no row reaches a slice.
std::pair<int, int> SlicesOfRows(const std::vector<DepthRow>& depthRows, std::size_t begin, std::size_t end) {
  int first = INT_MAX;
  int last = INT_MIN;
  for (std::size_t r = begin; r < end; ++r) {
    for (const int slice : {depthRows[r].lower, depthRows[r].upper}) {
      if (slice < 0) continue;
      first = std::min(first, slice);
      last = std::max(last, slice + 1);
    }
  }
  return first < last ? std::pair{first, last} : std::pair{0, 0};
}

// Writes output row `row` from the scan lines: those of its slices (`lines` holds the scan lines of
// the slices from `firstSlice` on), blended when the row lies between two slices' depths.
void WriteRow(const DepthRow& row, const std::uint16_t* lines, int firstSlice, std::size_t columns,
              const SampleCoding& coding, std::uint16_t* samples, std::uint8_t* target) {
  if (row.lower < 0) {
    std::fill(samples, samples + columns, 0);
  } else if (row.upper < 0) {
    const std::uint16_t* a = lines + static_cast<std::size_t>(row.lower - firstSlice) * columns;
    for (std::size_t j = 0; j < columns; ++j) samples[j] = coding.ToStored(coding.ToSigned(a[j]));
  } else {
    const std::uint16_t* a = lines + static_cast<std::size_t>(row.lower - firstSlice) * columns;
    const std::uint16_t* b = lines + static_cast<std::size_t>(row.upper - firstSlice) * columns;
    const double weightLower = row.weightLower;
    const double weightUpper = row.weightUpper;
    // Both weights lie between 0 and 1: the blend stays within the samples' range.
    for (std::size_t j = 0; j < columns; ++j)
      samples[j] = coding.ToStored(static_cast<int>(coding.ToSigned(a[j]) * weightLower +
                                                    coding.ToSigned(b[j]) * weightUpper));
  }
  if (coding.Wide()) {
    for (std::size_t j = 0; j < columns; ++j) {
      target[2 * j] = static_cast<std::uint8_t>(samples[j] & 0xFF);
      target[2 * j + 1] = static_cast<std::uint8_t>(samples[j] >> 8);
    }
  } else {
    for (std::size_t j = 0; j < columns; ++j) target[j] = static_cast<std::uint8_t>(samples[j]);
  }
}

// Output rows a thread takes at least: fewer don't pay for starting it.
constexpr std::size_t kLeastRowsPerThread = 64;

// The derived image's pixels: the scan line of each slice, stacked by depth. The first output row
// belongs to the deepest point, and rows between two slices' depths are interpolated between their
// scan lines. Each thread cuts the scan lines of its own rows' slices and writes those rows at once,
// while the lines are still in its caches; a slice at the border of two threads' rows is cut by both.
ByteBlock MakePixels(const ScanGeometry& g, const SampleCoding& coding, int rows) {
  const std::vector<MprSliceEntry>& slices = Mpr().sliceList;
  const std::vector<DepthRow> depthRows = DepthRowsOf(rows, g.spacing2, slices);
  const ScanLineCutter cutter(g, coding);
  const auto columns = static_cast<std::size_t>(g.outputColumns);
  const std::size_t width = coding.Wide() ? 2 : 1;
  ByteBlock output = ByteBlock::Uninitialised(static_cast<std::size_t>(rows) * columns * width);
  std::uint8_t* out = output.Data();
  ParallelRanges(depthRows.size(), kLeastRowsPerThread, [&](std::size_t begin, std::size_t end) {
    const auto [first, last] = SlicesOfRows(depthRows, begin, end);
    std::vector<std::uint16_t> lines(static_cast<std::size_t>(last - first) * columns);
    ColumnPlaces places;
    for (int s = first; s < last; ++s)
      cutter.Cut(slices[s], slices[s].pixels.Bytes().data(), lines.data() + static_cast<std::size_t>(s - first) * columns,
                 places);
    std::vector<std::uint16_t> samples(columns);
    for (std::size_t r = begin; r < end; ++r)
      WriteRow(depthRows[r], lines.data(), first, columns, coding, samples.data(), out + r * columns * width);
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
  LoadSlices(g, coding, loader);
  return MakePixels(g, coding, derived.GetRows());
}

}  // namespace spatial
