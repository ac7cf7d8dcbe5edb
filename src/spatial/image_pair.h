// What the reference lines and the synchronisation read of two images together: whether they share a
// frame of reference, and the geometry of both.
#pragma once

#include "geometry/geometry.h"
#include "sources/image_info_strategy.h"

// Whether the frames of reference of `a` and `b` (read in this order) are one: both non-empty once the
// blanks at their ends are cut, and equal but for the case of the letters A to Z. Throws what
// GetFrameOfReferenceUid throws (a media image has none to give).
bool SameFrameOfReference(ImageInfoStrategy& a, ImageInfoStrategy& b);

// Reads the pixel spacing of a and b, their positions, their orientations, then the rows and columns
// of both. False as soon as one of the first six is not available (rows and columns are then not
// read). Throws what GetRows and GetColumns throw.
bool ReadGeometries(ImageInfoStrategy& a, ImageInfoStrategy& b, ImageGeometry& first, ImageGeometry& second);
