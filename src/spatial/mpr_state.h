// The state of the multi-planar reformat (MPR), one for the process: only one MPR runs at a time.
//
// An MPR turns a stack of parallel slices into three derived series: two of orthogonal reformats and
// an oblique series of one image, cut along a line the user moves on the source images. Everything
// rests on the stack system, a plane of pixels large enough to hold every slice of the stack shifted
// by its tilt: the size of a source image plus `columnsShift` and `rowsShift`. The MPR line lives in
// that system; StackToImage and ImageToStack move points between it and one source image.
//
// The slab around the line (its half width and the maximum or minimum mode, `slabFlags`) is held here
// too: it shapes the oblique image.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "geometry/geometry.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"
#include "sources/image_info_strategy.h"
#include "sources/pixel_data.h"

namespace spatial {

// The derived roles of a series, as its MprType holds them.
inline constexpr LONG kMprSourceRole = 1;
inline constexpr LONG kMprFirstOrthogonalRole = 2;
inline constexpr LONG kMprSecondOrthogonalRole = 3;
inline constexpr LONG kMprObliqueRole = 4;

inline constexpr double kDefaultSlabHalfWidth = 20.0;
// Bit 4 of the slab flags: a slab line is being dragged.
inline constexpr std::uint16_t kSlabDragFlag = MIP_MODE_TRANSLATION;

// One source slice and its depth in the stack, in millimetres from the first slice.
struct MprSliceEntry {
  ImageInfoStrategy* image = nullptr;  // in sourceStack
  double depth = 0.0;
  // The slice's pixels once a derived image has read them: the oblique image is made afresh on every
  // move of the MPR line, and looking each slice up in the loader again cost a fifth of that. They
  // share the loader's block, never copy it.
  FramePixels pixels;
};

struct MprState {
  std::vector<std::unique_ptr<ImageInfoStrategy>> sourceStack;  // in series order
  ImageInfoStrategy* lastImage = nullptr;                       // the last of sourceStack
  double rowsAngle = 0.0;                                       // radians
  double columnsAngle = 0.0;
  std::int16_t rowsShift = 0;  // pixels
  std::int16_t columnsShift = 0;
  MprOperationsEnum mprMode = MPR_MODE_NONE;
  std::vector<PixelPoint> lineEnds;  // stack system
  std::optional<PixelPoint> lineCenter;
  std::optional<PixelPoint> lastPoint;  // during a drag only
  double slabHalfWidth = kDefaultSlabHalfWidth;
  std::uint16_t slabFlags = 0;  // MipOperationsEnum bits
  ondrel::platform::ComPtr<ISeriesInfoNW> seriesInfo1;
  ondrel::platform::ComPtr<ISeriesInfoNW> seriesInfo2;
  ondrel::platform::ComPtr<ISeriesInfoNW> seriesInfoOblique;
  std::vector<MprSliceEntry> sliceList;  // ascending depth
};

// The process's MPR state.
MprState& Mpr();

// Ends the MPR: releases the series and the stack, forgets the line, angles, shifts and slices, and
// puts the mode to MPR_MODE_NONE and the slab back to its first state. Removing the derived images
// from the viewports is the renderer's part.
void EndMpr();

// The distance between the positions of two images. Throws "Cannot get the source image patient
// position." when either has none.
double StackDistance(ImageInfoStrategy& a, ImageInfoStrategy& b);

// The angles at the origin of the last slice between its column edge (rowsAngle) and its row edge
// (columnsAngle) and the line to the origin of the first slice: both pi/2 in an untilted stack. Left
// as they are when a position or orientation can't be read. Throws "Cannot calculate the source stack
// rows angle." (or "columns angle.") when the stack has no extent: one image, or all at one place.
void CalculateStackAngles(ImageInfoStrategy& last, ImageInfoStrategy& first, double& rowsAngle,
                          double& columnsAngle);

// The width of the oblique image for the line `ends`: the line's length under the scales over the
// divisor, truncated and rounded up to a multiple of 4 in its low 16 bits. 0 unless there are
// exactly two ends.
std::int32_t ObliqueWidth(const std::vector<PixelPoint>& ends, double scaleX, double scaleY, double divisor);

// Rounds a size up to a multiple of 4 in its low 16 bits, the upper bits staying.
std::int32_t RoundUpToFour(std::int32_t value);

// Between the stack system and the pixels of one source image, whose place in the stack sets the
// shift. Throw as StackDistance does.
PixelPoint StackToImage(const PixelPoint& point, ImageInfoStrategy& image);
PixelPoint ImageToStack(const PixelPoint& point, ImageInfoStrategy& image);

}  // namespace spatial
