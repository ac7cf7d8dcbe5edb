// The rows of the workstation's database: its schema, and the information objects written to and read
// from it. One column per property of the objects (ondrel/workstation.h), named as the property, a
// pair in two columns NAMEFirst and NAMESecond; what is not available is NULL. The derived series'
// roles (MprType, MipType, VolumeType) and the image's NeedsDicomData and FrameIndex belong to a
// session, not to what is stored, and have no column.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"
#include "workstation/database.h"

namespace ondrel::workstation {

// The version of the schema this program writes, kept in the table ondrel_schema.
inline constexpr long long kSchemaVersion = 1;

// Creates the tables that are missing, in a transaction of its own, and records the version; a
// database of a newer version is refused. Throws SqlError.
void EnsureSchema(Database& database);

// Inside a transaction: inserts the patient, study, series and image rows, or updates those that exist
// by their keys (the patient's is its ID and name, "ID\NAME"). The image's row refers to `series` and
// so on up. Throws SqlError.
void WriteImageRows(Database& database, IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series,
                    IImageInfoNW* image);

// Everything stored, as objects: each patient linked to its studies and each study to its series, in
// the order of name, date and number; the images of each series not yet added to it, for the caller to
// order. Read in one snapshot, so that what others store meanwhile is either all there or not at all.
// Must not be called inside a transaction. Throws SqlError, and the failures of making objects as
// HResultException.
struct StoredObjects {
  std::vector<platform::ComPtr<IPatientInfoNW>> patients;
  std::vector<std::pair<platform::ComPtr<ISeriesInfoNW>, std::vector<platform::ComPtr<IImageInfoNW>>>> series;
};
StoredObjects ReadStoredObjects(Database& database);

// The image stored under `sopInstanceUid` as ReadStoredObjects gives it, with only the patient,
// study and series above it: one series holding the one image, or nothing when the database holds
// no such image. Throws as ReadStoredObjects.
StoredObjects ReadStoredImage(Database& database, std::u16string_view sopInstanceUid);

}  // namespace ondrel::workstation
