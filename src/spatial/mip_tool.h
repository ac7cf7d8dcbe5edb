// The maximum intensity projection (MIP) of a whole stack: one derived series of one image, the
// projection of every slice along a fixed ray onto a plane outside the volume. The series is metadata
// when made; its image's pixels are computed when it is shown or saved. One MIP state for the process,
// apart from the MPR's (the slab of the MPR line is the MPR's).
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "foundation/byte_block.h"
#include "geometry/geometry.h"
#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"
#include "sources/image_info_strategy.h"
#include "sources/image_loader.h"

namespace spatial {

inline constexpr LONG kMipSourceRole = 1;
inline constexpr LONG kMipDerivedRole = 2;

struct MipState {
  std::vector<std::unique_ptr<ImageInfoStrategy>> sourceStack;  // in series order
  ondrel::platform::ComPtr<ISeriesInfoNW> seriesInfo;
  Point3D mipCenter;         // the mean of the stack's eight outer corners
  Point3D mipAxisA;          // the direction of the derived image's columns
  Point3D mipRayDirection;   // the direction of projection
  std::int32_t mipProjectionDistance = 0;
  double mipRotationAngle = 0.0;
  std::map<const ImageInfoStrategy*, PlaneEquation> sourcePlanes;
};

// The process's MIP state.
MipState& Mip();

// Makes the MIP series (number 1001, MipType 2, description "MIP") of the stack `image` belongs to,
// whose source series takes MipType 1, with its one image: sized and placed on the projection plane,
// which faces the ray that runs mostly along the patient's y axis. The series is handed out in `out`,
// with a reference for the caller, as soon as it is made. An input image without orientation leaves
// the image with a size of 0. Throws "Cannot calculate the source stack rows angle." (or "columns
// angle.") for a stack without extent, the failures of making the workstation objects and the COM
// failure idiom.
void GenerateMipSeries(IImageInfoNW* image, ISeriesInfoNW** out);

// The pixels of the MIP image: rows x columns samples (one byte each for 8 bits stored or fewer, else
// two), the largest sample that each slice projects onto each pixel, from 0. Empty when the image has
// no position or orientation. Throws "The Ondrel failed to load the image pixel data." for a slice
// without pixels, "The Ondrel failed to find the source image plan." for a slice that was not in the
// stack when the series was made, and the loader's failures.
ByteBlock GenerateMipPixels(ImageInfoStrategy& derived, ImageLoader& loader);

// Adds dx / 20 to the rotation angle of the MIP, which nothing reads yet.
void MipRotate(LONG dx);

}  // namespace spatial
