// What the commands that store images share: reading a file for the store, the words of a failed
// store, and finding an image in the database.
#pragma once

#include <optional>
#include <string>

#include "dicom/vr_container.h"
#include "failure_text.h"
#include "foundation/exceptions.h"
#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"

namespace ondrel::cli {

// Reads the whole data set of `file` into `data` (the pixel data stays in the file until used).
// Nothing when it is a DICOM image the store takes; else why it is passed over, in a person's words:
// "not a DICOM file", "holds no pixel data", "is a media directory (DICOMDIR), not an image", "cannot
// open FILE: REASON", or the engine's failure.
std::optional<std::string> ReadStorableFile(const std::string& file, DicomEngine::DicomData& data);

// "WHAT: MESSAGE", MESSAGE being the storage's failure as a person reads it: its message, then the
// Store's own description (the database's words) when it left one.
Failure StoreFailure(const std::string& what, const MyException& failure);

// The image that the database `connection` holds under `sopInstanceUid`, with its series, study and
// patient; null when there is none. Throws Failure when the database can't be read.
platform::ComPtr<IImageInfoNW> FindStoredImage(const std::string& connection, const std::u16string& sopInstanceUid);

}  // namespace ondrel::cli
