// A series of the workstation read into one volume: what GenerateVolume3D loads.
#pragma once

#include "ondrel/workstation.h"
#include "volume3d/volume.h"

namespace volume3d {

// The volume of the series `image` belongs to, with its bricks summarised. Each slice's samples become
// modality values (stored value times Rescale Slope plus Rescale Intercept, rounded and held within
// -32768..32767); slices are ordered by position along their normal and spaced by the mean distance
// between them. A slice's file is read, copied into the volume and let go before the next, so the
// volume is the only copy. Throws MyException: "The series has fewer than two slices.", "The slices of
// the series differ in size or orientation.", "A slice of the series has no position or orientation.",
// "The slices of the series share one position.", "The series is not greyscale.", "A slice of the series
// has no pixels.", and the failures of reading a file.
Volume LoadSeriesVolume(IImageInfoNW* image);

}  // namespace volume3d
