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
  // The media objects of each DICOMDIR named among the paths, from its directory records.
  std::vector<platform::ComPtr<IDicomDirPatient>> mediaPatients;
  std::vector<SkippedFile> skipped;
};

// The files of `paths`: each file given, and every file under each folder given, recursively in name
// order. A folder that can't be read is listed in `unreadable` with the system's reason.
std::vector<std::string> ListFiles(const std::vector<std::string>& paths, std::vector<SkippedFile>& unreadable);

// Reads every file given, and every file under the folders given (recursively, in name order), and
// makes one image object per frame, filled from the file, with FileName set and
// NeedsDicomData true (the core refreshes the objects from the whole file when it loads the pixels).
// Images are grouped into series by Series Instance UID, series into studies by Study Instance UID,
// studies into patients by Patient ID and name. Each series is ordered by image position along the
// slice normal when every image has a position and all have one orientation, else by instance number; then by
// frame and file name. Files that are not DICOM, fail to parse or hold no pixel data are listed in
// `skipped`, not fatal.
// A DICOMDIR named in `paths` is read into `mediaPatients`: its patients, studies, series and images
// as its directory records link them, each image with the file its record names under the DICOMDIR's
// folder and NeedsDicomData true (the records it passes over, and why, go to `skipped`). A DICOMDIR
// met while walking a folder is listed in `skipped`, since the folder's files are read themselves.
// The workstation classes must be registered (RegisterWorkstationClasses). Throws std::bad_alloc only.
StudyGraph BuildStudies(const std::vector<std::string>& paths);

// What the workstation's database holds (ondrel/store.h), as the same objects: every patient, study,
// series and image stored in the database that `connection` names (a SQLite file or a PostgreSQL
// URI), each image with the FileName it was stored with and NeedsDicomData true. Series are ordered
// as BuildStudies orders them. A database that has no tables yet gets them. `skipped` stays empty.
// Throws std::runtime_error with the database's words when it can't be read, std::bad_alloc, and
// platform::HResultException when an object can't be made.
StudyGraph OpenStoredStudies(const std::string& connection);

// The one image stored under `sopInstanceUid`, with its patient, study and series, read by the
// tables' keys rather than with the whole database: a graph of one series of one image, or an empty
// graph when the database holds no such image. Throws as OpenStoredStudies.
StudyGraph OpenStoredImage(const std::string& connection, const std::u16string& sopInstanceUid);

}  // namespace ondrel
