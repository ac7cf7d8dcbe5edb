// The series and images an MPR or a MIP derives from a stack of slices: workstation objects made
// through the class table, holding the facts of a derived image and no pixels. Their pixels are
// computed whenever they are needed, from the state of the tool that made them.
//
// Every failed call on a workstation object throws the COM failure idiom ("COM method failed.
// HRESULT=%x, File=%s, Line=%d").
#pragma once

#include <string>

#include "geometry/geometry.h"
#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"
#include "sources/image_info_strategy.h"

namespace spatial {

// What every derived series and image is written with, read once from the image the user chose.
struct DerivedSource {
  ondrel::platform::BStr modality;
  ondrel::platform::BStr frameOfReferenceUid;  // null for none
  ondrel::platform::BStr sopClassUid;
  ondrel::platform::BStr transferSyntaxUid;
  ondrel::platform::BStr imageType;
};

struct DerivedSeries {
  ondrel::platform::ComPtr<ISeriesInfoNW> series;
  std::string uid;
};

// A new SeriesInfoNW whose UID is a new UID with ".number" behind it (so that series made at once
// differ in their last component), with its number, the source's modality, the local time now, the
// description and the frame of reference (none when `withFrameOfReference` is false). Throws
// "Failed to create SeriesInfoNW COM object. HRESULT=%0X" (also written to the trace) when the class
// can't be made.
DerivedSeries CreateDerivedSeries(SHORT number, const DerivedSource& source, const char* description,
                                  bool withFrameOfReference);

// A new ImageInfoNW of a derived series: its SOP instance UID is the series UID with ".index+1", its
// instance number index + 1, its SOP class, transfer syntax and image type those of the source, its
// acquisition time now. Throws "Failed to create ImageInfoNW COM object. HRESULT=%0X" (also written to
// the trace) when the class can't be made.
ondrel::platform::ComPtr<IImageInfoNW> CreateDerivedImage(int index, const std::string& seriesUid,
                                                          const DerivedSource& source);

// The spacing between slices of the stack: the image's own, or 5.0 mm where it has none (below 1e-6).
double StackThickness(ImageInfoStrategy& image);

// Sets the derived image's rows and columns, then copies the source image's sample layout (samples,
// photometric interpretation, planar configuration, bits allocated, stored, high bit, pixel
// representation), slice thickness, window, rescale and rescale type. With `thickness` positive the
// derived spacing between slices takes it; a MIP passes 0 and its image gets none.
void CopyImageAttributes(IImageInfoNW* derived, IImageInfoNW* source, USHORT rows, USHORT columns, double thickness);

// "%4.6f\%4.6f\%4.6f" of a position and "%4.6f\...\%4.6f" of an orientation, as the derived images
// hold them.
ondrel::platform::BStr PositionText(const Point3D& position);
ondrel::platform::BStr OrientationText(const Point3D& first, const Point3D& second);

}  // namespace spatial
