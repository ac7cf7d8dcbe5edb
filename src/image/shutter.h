// A display shutter: the part of an image outside a shape stored with the image is blanked with the
// image's shutter presentation value. A shape text may name several shapes ("RECTANGULAR\CIRCULAR"),
// and each one it names is applied, circle, then rectangle, then polygon.
//
// The shutter works on the image's working copy straight after it is copied from the loader's pixels,
// before rotation and flips are replayed, so shape coordinates are those of the raw image: x a column,
// y a row. One process-wide switch turns every shutter on or off; an image makes a new Shutter on each
// copy of its pixels, so that the fresh copy is blanked again while the switch is on.
//
// Elements are one byte for bits stored below 9, else two bytes, little-endian. Only the first
// rows x columns elements are blanked: for colour that is the first plane, or the first third of the
// interleaved samples.
#pragma once

#include <span>

#include "ondrel/platform/wintypes.h"
#include "sources/image_info_strategy.h"
#include "sources/pixel_data.h"

// Whether shutters are shown, process-wide; true at first.
bool ShutterApplied();
void SetShutterApplied(bool applied);

class Shutter {
 public:
  // Reads rows, columns, bits stored and the presentation value from `info`, which must outlive the
  // shutter (a null `info` makes a shutter that blanks nothing). `source` is the frame of the raw
  // pixels the working copy was made from; the shutter shares it, to restore from it. For MONOCHROME1
  // a presentation value of 0 becomes the largest stored value, so that the blank shows black once
  // the display inverts the image. Throws what the strategy throws.
  Shutter(FramePixels source, ImageInfoStrategy* info, bool monochrome1);

  // Brings `target` (the working copy) in line with the process-wide switch. Nothing when this shutter
  // already stands as the switch does. Switched off: the working copy is restored from the source.
  // Switched on: it is restored, then blanked outside every shape the shape text names; an empty shape
  // text blanks nothing. Throws MyException "Invalid polygonal shutter: The vertices don't come in
  // paires." for a polygon whose vertex list does not come in row and column pairs, and what the
  // strategy throws.
  void Apply(std::span<BYTE> target);

 private:
  void Restore();
  void Blank(LONG row, LONG column);
  void ApplyCircular();
  void ApplyRectangular();
  void ApplyPolygonal();

  bool applied_ = false;
  FramePixels source_;
  std::span<BYTE> target_;
  ImageInfoStrategy* info_ = nullptr;
  SHORT rows_ = 0;
  SHORT columns_ = 0;
  DWORD blankValue_ = 0;
  SHORT bits_ = 0;
};
