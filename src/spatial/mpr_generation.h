// Making the MPR's derived series: two series of orthogonal reformats and an oblique series of one
// image, as metadata. No pixel exists then: each derived image's pixels are computed when it is shown
// or saved (mpr_pixels.h), from the MPR state.
#pragma once

#include "ondrel/workstation.h"
#include "sources/image_info_strategy.h"
#include "sources/image_loader.h"

namespace spatial {

// Starts an MPR on the stack (the series) of `image`: the source series takes the MPR role 1, the
// stack's angles, shifts and slice depths go into the MPR state, and three series are made (numbers
// 101, 102 and 103, roles 2, 3 and 4, with their images' sizes, attributes, spacing, position and
// orientation). Each series is handed out, with a reference for the caller, as soon as it is made; the
// MPR line starts on the diagonal of the stack system and the mode becomes MPR_MODE_GENERATED last.
// The host ends one MPR (EndMpr) before starting another: a second generation replaces the stack but
// adds two more ends to the line, which then no longer works.
// Throws "Cannot calculate the source stack rows angle." (or "columns angle.") for a stack without
// extent, "Cannot get the source image patient position." for a slice without position, the failures
// of making the workstation objects and the COM failure idiom. What was made before a failure stays in
// the state, and the mode stays as it was.
void GenerateMprSeries(IImageInfoNW* image, ISeriesInfoNW** first, ISeriesInfoNW** second, ISeriesInfoNW** oblique);

// Writes the position (and its slice location) and orientation of a derived image of `role` afresh
// from the last slice of the stack and the MPR line; nothing when the last slice's geometry can't be
// read. Throws "Invalid MPR type." for a role other than 2, 3 and 4, and the COM failure idiom.
void WriteDerivedPlacement(IImageInfoNW* derived, LONG role);

// Gives each derived series its description, computes every image's pixels and hands each image as a
// DICOM data set, with its objects, to the workstation's storage, which records it in the database and
// writes its file into the storage tree (ImageInfoWStationStrategy::StoreDicomData). A series that was
// never made is passed over. Throws the failures of the pixels and of the storage ("Failed to create
// the DataAccess Store object. HRESULT=%0X" where the workstation has no store).
void SaveMprSeries(BSTR firstDescription, BSTR secondDescription, BSTR obliqueDescription, ImageLoader& loader);

}  // namespace spatial
