// What a shown image carries over its picture besides the overlays: the reference lines and the
// user's measurements and annotations. The image draws them after its overlays, reference lines first
// and the measurements on top, in the full draw and in the pictures it exports; the fast draw of a drag
// leaves them out.
//
// The image layer only declares what it calls: the tools stand above the image and implement it, and
// whoever makes the images a viewport shows attaches one to each (see Image::AttachAnnotations).
#pragma once

#include "ondrel/platform/gdi.h"
#include "ondrel/platform/windows.h"

class ImageAnnotations {
 public:
  virtual ~ImageAnnotations() = default;

  // Draw on `dc`, where the picture stands in the rectangle `dest` (the image's display rectangle on
  // a window, the whole display buffer on an export). Failures are thrown as MyException.
  virtual void DrawReferenceLines(HDC dc, const RECT& dest) = 0;
  virtual void Draw(HDC dc, const RECT& dest) = 0;
};

class Image;

// What a viewport lays over every picture it shows in a full draw, after the overlays and before the
// image's own annotations: the MPR line and its slab on the images of an MPR's source. Attached to an
// image (Image::AttachViewportLines) by whoever makes the images a viewport shows, and not owned by
// it: it outlives them.
class ViewportLines {
 public:
  virtual ~ViewportLines() = default;

  // Draw on `dc`, a context of the window where `image` stands at its display rectangle. Failures are
  // thrown as MyException.
  virtual void Draw(HDC dc, Image& image) = 0;
};
