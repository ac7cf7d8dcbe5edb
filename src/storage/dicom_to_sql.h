// Between data sets and the workstation's information objects.
//
// FillDicomData builds a data set from a patient, a study, a series and an image: how a derived image
// starts from the attributes of its source. The Fill... functions go the other way, filling the objects
// from a data set: how an image object learns what its file holds, and what the storage records.
//
// A property read that answers anything but S_OK is "not available" and its attribute is skipped.
// Several conversions are asymmetric on purpose, so that values survive a round trip where the
// workstation relies on it and keep their historical form where it does not: pixel spacing texts hold
// the vertical value first while the objects hold the horizontal one first; study and series dates
// are written in DICOM form, the acquisition date and time as "YYYY/MM/DD" and "HH:MM:SS".
#pragma once

#include <string>

#include "dicom/vr_container.h"
#include "ondrel/platform/com.h"
#include "ondrel/store.h"
#include "ondrel/workstation.h"

class DicomToSQL {
 public:
  // Adds to `data`, in tag order, what the four objects know: patient, study, series, image in this
  // order. Attributes whose dictionary VR the helper for them does not accept are left out. Null
  // objects are skipped. Throws the engine's failures.
  static void FillDicomData(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series,
                            IImageInfoNW* image, DicomEngine::DicomData& data);

  // Fill the object from the data set, creating it first when *object is null (the caller then owns
  // the new reference). Throw "Failed to create PatientInfoNW COM object. HRESULT=%0X" (and so on) when
  // the object can't be made, "Failed to copy a STRING from VR because is not a string. Group=%u,
  // Attribute=%u" (and the like for unsigned shorts and signed ints) when an element is not of the
  // expected class, and the COM failure idiom when a property can't be written.
  static void FillPatient(const DicomEngine::DicomData& data, IPatientInfoNW** patient);
  static void FillStudy(const DicomEngine::DicomData& data, IStudyInfoNW** study);
  static void FillSeries(const DicomEngine::DicomData& data, ISeriesInfoNW** series);
  // `path` becomes FileName, or a null text when `isStoredFile` (the storage then chooses the name).
  static void FillImage(const DicomEngine::DicomData& data, IImageInfoNW** image, const std::string& path,
                        bool isStoredFile);

  // A ready Store of the workstation: its trace is the core's log (name and level) and the process's
  // connection string is the setting DbConnectionString, handed over through a GlobalConfiguration.
  // Throws SerializableException "Failed to create the DataAccess Store object. HRESULT=%0X", "Failed to
  // initialize the trace in the Store object. HRESULT=%0X" or "Failed to create the GlobalConfiguration
  // object. HRESULT=%0X" (each also traced at level 1), the settings' "Cannot find the
  // DbConnectionString setting key." and the COM failure idiom when the connection string is refused.
  static ondrel::platform::ComPtr<IStore> CreateStore();

  // Records the data set's image in the database: the four objects are filled from it and stored under
  // `root`. With `isStoredFile` the store chooses the file's place in the storage tree and `path`
  // receives it; otherwise `path` is where the file is and is recorded as it stands. Throws the
  // failures of CreateStore, of the fills and of StoreImage.
  static void StoreFromDicomData(const DicomEngine::DicomData& data, const std::string& root, std::string& path,
                                 bool isStoredFile);
  // Records four filled objects in the database through a new Store; with `isStoredFile`, `path`
  // receives the FileName the store chose. Throws the failures of CreateStore; SerializableException
  // "Failed to store the image into the database. HRESULT=%0X" carrying the store's own description
  // (also traced at level 1); the COM failure idiom when FileName can't be read back.
  static void StoreImage(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series, IImageInfoNW* image,
                         const std::string& root, std::string& path, bool isStoredFile);
};

// The same fills for the objects that describe DICOM media. They take any data set: a whole file's, or
// one directory record of a DICOMDIR, whose records carry the same attributes as the files.
class DicomDirToSQL {
 public:
  static void FillDirPatient(const DicomEngine::VRContainer& data, IDicomDirPatient** patient);
  static void FillDirStudy(const DicomEngine::VRContainer& data, IDicomDirStudy** study);
  static void FillDirSeries(const DicomEngine::VRContainer& data, IDicomDirSeries** series);
  static void FillDirImage(const DicomEngine::VRContainer& data, IDicomDirImage** image, const std::string& path,
                           bool isStoredFile);
};
