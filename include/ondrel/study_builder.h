// Builds the workstation's information objects for DICOM files, as a host does before it shows them:
// patients, their studies, their series and the images of each series in order.
#pragma once

#include <string>
#include <vector>

#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"

namespace ondrel {

struct SkippedFile {
  std::string path;
  std::string reason;  // the engine's failure text, or why the file holds no image
};

struct StudyGraph {
  std::vector<platform::ComPtr<IPatientInfoNW>> patients;  // in the order first met
  std::vector<platform::ComPtr<ISeriesInfoNW>> series;     // every series of every study, in the order first met
  std::vector<SkippedFile> skipped;
};

// Reads every file given, and every file under the folders given (recursively, in name order), and
// makes one image object per frame, filled from the file, with FileName set and
// NeedsDicomData true (the core refreshes the objects from the whole file when it loads the pixels).
// Images are grouped into series by Series Instance UID, series into studies by Study Instance UID,
// studies into patients by Patient ID and name. Each series is ordered by image position along the
// slice normal when every image has a position and all have one orientation, else by instance number; then by
// frame and file name. Files that are not DICOM, fail to parse, hold no pixel data or are directory
// files (DICOMDIR) are listed in `skipped`, not fatal. The workstation classes must be registered
// (RegisterWorkstationClasses). Throws std::bad_alloc only.
StudyGraph BuildStudies(const std::vector<std::string>& paths);

}  // namespace ondrel
