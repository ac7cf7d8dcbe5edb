// Reference lines: where the slice of one viewport's image cuts the image of another, drawn on the
// second one (the projectee) as ReferenceLineTools in its Measurements, in its image pixels.
//
// The calculation is arithmetic on the two images' geometry (frame of reference, pixel spacing,
// position, orientation, rows and columns) and needs no platform. A pair whose geometry can't be read,
// whose frames of reference differ or are empty, whose planes are parallel or whose images don't
// overlap gives no line and no failure.
#pragma once

#include <optional>

#include "geometry/geometry.h"
#include "image/image.h"
#include "sources/image_info_strategy.h"

// The ends of a reference line, in pixels of the image it is drawn on.
struct ReferenceLineEnds {
  PixelPoint first;
  PixelPoint second;
};

// Where the plane of `source` cuts the image of `target`. The crossing of the source's plane with the
// target's is walked in steps of whole target pixels along its steeper axis (a step that leaves the
// target's rows is skipped on a flatter line), and the line runs between the outermost steps whose
// points lie in the source's rectangle, each rounded to the nearest pixel: so it is not the whole
// crossing of the two planes, and two steps must hold (a crossing in one pixel gives no line).
// Nothing when the frames of reference differ or either is empty (blanks at the ends and the case of
// letters aside), when a fact of the geometry is not available, or when the planes are parallel or
// the images don't overlap. Throws what the strategies' getters throw.
std::optional<ReferenceLineEnds> ProjectImage(ImageInfoStrategy& source, ImageInfoStrategy& target);

// Replaces the reference lines of `projectee` with those of `projected` under the process's
// reference-line mode: the line of the projected image itself (REFERENCE_LINE_CURRENT_IMAGE), or one
// for every image of its series, in series order (REFERENCE_LINE_CURRENT_SERIES), each numbered with
// its instance number; none in any other mode. The projected image loses its own reference lines. A
// null projectee (a viewport without an image) does nothing; a null projected image only clears the
// projectee's lines. Nothing is drawn: the lines show at the next full draw. Throws what the
// strategies' getters throw.
void CalculateReferenceLines(Image* projected, Image* projectee);
