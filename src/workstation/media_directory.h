// Reading a DICOMDIR: its directory records become the media objects (patients, studies, series and
// images of ondrel/workstation.h), as a host shows the contents of a medium before it opens a file.
//
// The hierarchy follows the records' links, byte offsets from the start of the file: the first root
// record (0004,1200), the next record of the same level (0004,1400) and the first record of the level
// below (0004,1420); a zero or missing link ends its chain. Items can stand in any order in the record
// sequence. A DICOMDIR whose root link is zero or missing while it has records is read in the order of
// its items instead, each PATIENT, STUDY, SERIES and IMAGE record belonging to the last record of the
// level above it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dicom/vr_container.h"
#include "ondrel/platform/com.h"
#include "ondrel/study_builder.h"
#include "ondrel/workstation.h"

namespace ondrel::workstation {

struct MediaDirectory {
  std::vector<platform::ComPtr<IDicomDirPatient>> patients;  // in the order of the root chain
  // What was passed over, each with the DICOMDIR's path and a reason naming the record's byte offset:
  // records of other types than the level holds, a link that points at no record or back into records
  // already read (a loop), an image whose Referenced File ID (0004,1500) is missing or would leave the
  // DICOMDIR's folder (a ".." or "." component, an empty one, or one holding a slash), a record whose
  // values the fills refuse. A record passed over takes the records below it along.
  std::vector<SkippedFile> passedOver;
};

// The media objects of the DICOMDIR at `path`, whose whole data set is `data`; `startOffset` is where
// that data set starts in the file (FileParser::StartOffset), since the records' links count from the
// file's first byte. Each image object has FileName set to its Referenced File ID's components joined
// with "/" under the DICOMDIR's folder, SopInstanceUid, SopClassUid and TransferSyntaxUid from the
// record's referenced UIDs in file (0004,1511), (0004,1510) and (0004,1512), and NeedsDicomData true;
// series keep the order of their image records. The workstation classes must be registered. Throws
// MyException "The DICOMDIR holds no Directory Record Sequence (0004,1220)." and the
// SerializableException of an object that can't be made.
MediaDirectory ReadMediaDirectory(const DicomEngine::VRContainer& data, std::uint32_t startOffset,
                                  const std::string& path);

// The text of an element with its DICOM padding (trailing blanks and NULs) removed; empty when the
// element is absent or not text.
std::string TrimmedText(const DicomEngine::VRContainer& data, std::uint16_t group, std::uint16_t element);

}  // namespace ondrel::workstation
