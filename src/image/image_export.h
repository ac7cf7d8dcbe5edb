// The ways an image leaves its viewport: a picture file, a captured bitmap, a DICOM object made from
// what the viewport shows, and the raw display pixels; and the one way an outside picture comes in, as
// a DICOM object. All but the raw pixels read back what the full draw put on the window, so overlays
// and tools are part of the result.
//
// DICOM objects made from a picture are 8-bit RGB (three samples per pixel, interleaved, no padding),
// with the Conversion Type (0008,0064) "WSD" and the pixels in (7FE0,0010) "OB". The rest of the data
// set is what the image object, its series, study and patient know (FillDicomData), after the object
// has taken the picture's size and format. An object without a SOP Instance UID gets a new one, which
// a workstation image object takes too. The data set is written as a DICOM file in little-endian
// implicit VR, its (0002,0010) set to "1.2.840.10008.1.2" when the object gives none (a transfer
// syntax the object names is kept). Where it goes is the host's choice: a host that sets the image
// object's FileName exports the image, and the file is written there and recorded nowhere; a host
// that leaves it unset hands the image to the workstation's storage (storage/disk_storage.h), which
// records it in the database and writes the file into the storage tree.
#pragma once

#include <memory>
#include <string>

#include "image/image.h"
#include "ondrel/platform/safearray.h"
#include "sources/image_info_strategy.h"

// The full draw of the window, then its client area copied into a new 32-bit bitmap, which the caller
// deletes with DeleteObject. `client` receives the window's client rectangle: whatever the caller put
// there is overwritten and never used. Throws MyException "Failed to get the image bitmap." around
// "The Image received an invalid window handle.", "Cannot get the client rectangle." and the failures
// of the draw.
HBITMAP Capture(Image& image, HWND window, RECT& client);

// Capture kept as the image's CapturedBitmap, which is returned; the host lends it until
// ReleaseCapturedBitmap. A capture made before and not yet released is deleted first: the core keeps
// one bitmap per image. Failures as Capture.
HBITMAP CaptureImageBitmap(Image& image, HWND window, RECT& client);
// Deletes the image's CapturedBitmap, if any, and forgets it.
void ReleaseCapturedBitmap(Image& image);

// Writes what the window shows (after a full draw) to `fileName` with the GDI+ encoder whose MIME type
// equals `encoding` exactly ("image/png", "image/jpeg", ...: a type, not a file extension). With no
// such encoder nothing is written and there is no failure. A file the encoder fails to write is no
// failure either: the trace log says so. Throws MyException "Failed to save the image as image file."
// around "The Image received an invalid window handle.", "Cannot get the client rectangle.", the
// failures of the draw and "Failed to get the encoder id.".
void SaveImageAsFile(Image& image, HWND window, const std::u16string& encoding, const std::u16string& fileName);

// Writes nothing and succeeds: an image's own save as DICOM has no content. Hosts save what a viewport
// shows with SaveConsultImage and bring pictures in with ImportImageAsDICOMFile. The strategy is still
// read as for an image (its photometric interpretation, window and level), and fails as that does.
// Throws MyException "The Image renderer received an invalid pointer." for a null name or strategy.
void SaveImageAsDICOMFile(HWND window, const char16_t* fileName, std::unique_ptr<ImageInfoStrategy> strategy);

// Captures what the window shows of `image` and writes it as a DICOM object of `strategy`'s image
// object (see above). The host's bitmap from CaptureImageBitmap, if any, is left alone. Throws
// MyException "The Image renderer received an invalid pointer." for a null strategy; otherwise
// "Failed to save the consult image." around "The Image received an invalid window handle.", the
// capture's failures, "Failed to create the GDI+ bitmap" and the writer's "Failed to create the DICOM
// file.".
void SaveConsultImage(Image& image, HWND window, ImageInfoStrategy* strategy);

// Reads the picture file `fileName` (any format the platform's GDI+ reads: BMP, JPEG, GIF, TIFF, PNG),
// and writes it as a DICOM object of `strategy`'s image object (see above). Throws MyException "The
// Image renderer received an invalid pointer." for a null name or strategy; otherwise "Failed to save
// the image as DICOM file." around "Failed to create the GDI+ bitmap" (a file that can't be read as a
// picture among them) or "Failed to create the DICOM file.", which holds "Unknown bitmap pixel
// format.", "Failed to lock the bitmap bits. GDIPlus status=%d", "The picture is too large for a DICOM
// image.", "Failed to allocate memory for pixel data.", the strategy's failures, the file writer's and
// the storage's.
void ImportImageAsDICOMFile(const char16_t* fileName, std::unique_ptr<ImageInfoStrategy> strategy);

// The display pixels of `image` with its overlays, then its annotations (reference lines, measurements)
// drawn over them, top-down, as a new byte array
// (VT_UI1, from index 0) of samples x *columns x *rows bytes that the caller destroys. *rows and
// *columns are the display buffer's, padded to multiples of 4 (and exchanged for a quarter turn).
// Samples are 1 for a grey image and 3 with a palette or for a colour image; *colour says which of
// these two. A three-sample image with planar configuration 0 under a palette comes in three planes,
// red, then green, then blue; any other comes as the display rows stand, blue, green, red for colour.
// Throws MyException "The Image received an invalid pointer." for a null out pointer, "Failed to create
// the compatible DC.", "Failed to create the DIB section.", "Image rows is 0." and
// "Failed to create the pixel data array.", and what the overlays and the annotations throw.
void GetImageCurrentPixelData(Image& image, SAFEARRAY** data, LONG* rows, LONG* columns, VARIANT_BOOL* colour);
