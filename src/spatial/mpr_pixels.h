// The pixels of a derived MPR image, computed from the source slices whenever they are needed: when
// the image is shown, saved, or the MPR line or its slab moves.
//
// A derived image is thin in depth: each source slice gives one scan line of it (the samples under
// the image's trace on that slice, across the slab), and the rows between two slices' depths are
// interpolated between their scan lines. The slices are read through the loader, whose cache keeps
// the one copy of each; the result is a new block of the derived image's size only.
#pragma once

#include "foundation/byte_block.h"
#include "sources/image_info_strategy.h"
#include "sources/image_loader.h"

namespace spatial {

// The pixels of the derived image (role 2, 3 or 4 of the running MPR): rows x columns samples, one
// byte each for 8 bits stored or fewer, else two (little-endian). The oblique image's columns,
// position and orientation are written afresh first, since the line may have moved; so are the
// position and orientation of the others.
// Throws "Cannot calculate MPR alpha angle." when the MPR line is not two distinct ends (no MPR
// runs, or a second one was started without ending the first), "The Ondrel failed to load the image
// pixel data." for a slice without pixels, or with fewer than the last slice's rows and columns,
// "Invalid MPR type." for another role, and the loader's and strategies' failures.
ByteBlock GenerateMprPixels(ImageInfoStrategy& derived, ImageLoader& loader);

}  // namespace spatial
