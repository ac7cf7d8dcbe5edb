// Window and level: how stored pixel values become the 8-bit samples of the display buffer.
//
// The window is linear: a stored sample is sign-extended, rescaled to modality values, mapped through
// the window [level - window / 2, level + window / 2] onto 0..255, inverted when asked, and written as
// grey or as a palette colour into a bottom-up buffer whose rows and columns are padded to multiples of
// 4. There is no modality or VOI table from the file. Everything here is a free function over explicit
// inputs, so the image that calls it keeps its state and these functions keep none.
#pragma once

#include <cstddef>
#include <set>
#include <span>
#include <utility>

#include "foundation/byte_block.h"
#include "ondrel/platform/wintypes.h"
#include "sources/pixel_layout.h"

class ImageInfoStrategy;

struct WindowLevel {
  LONG window = 0;    // width
  LONG level = 0;     // centre
  LONG step = 1;      // how far one mouse pixel moves window or level
  BYTE modified = 0;  // set once the user has changed the values

  friend bool operator==(const WindowLevel&, const WindowLevel&) = default;
};

// The smallest and largest modality values of an image; both start at 0, so the range holds 0.
struct PixelRange {
  LONG min = 0;
  LONG max = 0;
};

// Reads `count` samples from the start of `pixels` (one byte each for bitsStored below 9, else two,
// little-endian), never past its end. Each is sign-extended when `isSigned` and its bit
// bitsStored - 1 is set, then mapped as (int)(sample * slope + intercept) in double arithmetic; a slope
// of 0 is used as it is. Throws MyException "Failed to calculate the image minimum and maximum pixel
// values." around any failure.
PixelRange CalculateMinMaxPixelValues(std::span<const BYTE> pixels, std::size_t count, int bitsStored, bool isSigned,
                                      double slope, double intercept);
// The same over an image: GetRows * GetColumns samples, with the image's bits stored, pixel
// representation, rescale slope and intercept. Strategy failures come wrapped in the same message.
PixelRange CalculateMinMaxPixelValues(ImageInfoStrategy& info, std::span<const BYTE> pixels);

// The window and level an image first shows with: the file's centre and width when both are non-zero;
// otherwise, when there are pixels, a window over the whole range (for colour images the range that the
// high bit allows, for the others the modality range of CalculateMinMaxPixelValues); the step is
// window / 255, at least 1, and `modified` is false. Strategy failures propagate.
WindowLevel InitWindowLevel(ImageInfoStrategy& info, std::span<const BYTE> pixels, Photometric photometric);

// Points (column, row) of the displayed picture that the edge-detection filter shows as high.
using EdgePointSet = std::set<std::pair<LONG, LONG>>;

// Everything the LUT reads, explicitly. The layout's rows and columns are those of `pixels` as they
// stand, that is already swapped when the picture is turned by 90 or 270 degrees; the colour flag is
// derived from its photometric interpretation.
struct LutInput {
  std::span<const BYTE> pixels;
  PixelLayout layout;
  bool isSigned = false;           // pixel representation non-zero
  LONG palette = 0;                // ColorPaletteEnum value; one outside it finds no table
  bool invert = false;             // the user's flag; MONOCHROME1 is inverted once more here
  USHORT filter = 0;               // ImageFilterEnum bits
  LONG threshold = 0;
  const EdgePointSet* edgePoints = nullptr;  // null reads as an empty set
  double rescaleSlope = 1.0;       // as the image gives it; 0 is taken as 1.0 for the mapping
  double rescaleIntercept = 0.0;
  WindowLevel windowLevel;
};

// The display bytes of an image: empty until made.
using DisplayBuffer = ByteBlock;

// The byte size of the display buffer for this input: samples * paddedColumns * paddedRows, three times
// as much for a palette on a grey image.
std::size_t DisplayBufferSize(const LutInput& input);

// Writes the display bytes of `input` into `output`. An empty `output` (or one smaller than
// DisplayBufferSize) is replaced by a new uninitialised block of that size; a block that is large
// enough is written in place. Padding columns and rows are written black (0). Rows are stored bottom-up,
// 1 byte per pixel for plain grey, else 3 in blue, green, red order (samples are taken last to first,
// which turns RGB into that order). Nothing is written, and `output` is left as it is, when there are
// no pixels or no rows or columns. The caller copies the window and level it passed as the applied one.
// A stored value's byte is the one a LUT built for this window would hold; a large image maps through a
// table over every possible stored value instead, which gives the same bytes.
// Failures: MyException "Failed to apply the image window and level." wrapping the cause, which is
// "Failed to allocate memory for pixel data." when the display buffer can't be had, or a refusal when
// `pixels` holds fewer bytes than the shape needs; "Failed to allocate memory while applying the LUT."
// when the value table can't be had.
// Common images (grey, one sample, a positive window, no filter) go through vector kernels that give
// the same bytes.
void ApplyWindowLevelLut(const LutInput& input, DisplayBuffer& output);
// The same through the plain per-sample mapping alone: the reference the kernels are tested against.
void ApplyWindowLevelLutPlain(const LutInput& input, DisplayBuffer& output);
