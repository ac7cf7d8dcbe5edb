// The disk storage: makes a finished data set part of the workstation's storage. It completes the
// data set's transfer syntax, records the image in the database (through the Store, dicom_to_sql.h)
// and, when asked, writes the DICOM file into the storage tree, whose root is the setting DICOMfiles.
// The database's Store chooses where in the tree a file goes: root/study/series/file.
//
// The record comes first and the file second, and nothing is undone: a file that fails to be written
// leaves its row in the database, pointing to no file. The writer traces a write cut short (a full
// disk) rather than throwing it, so the caller that needs to know checks the file.
#pragma once

#include <string>

#include "dicom/transfer_syntax.h"
#include "dicom/vr_container.h"
#include "ondrel/workstation.h"

class DiskStorage {
 public:
  // Stores a data set alone: the four information objects are made from it. `outSopInstanceUid`, when
  // not null, is a buffer of 64 bytes that receives the data set's (0008,0018) (cut to fit, always
  // terminated), or an empty text when the data set has none. `sourcePath` is where the file is, read
  // only when `storeFile` is false: the image is then recorded there and no folder is made and no
  // file written. With `storeFile` the file is written where the Store chose. `syntaxUid` is not read.
  // A missing or empty (0002,0010) takes the UID of `transferSyntax`; one with a value keeps it.
  // Throws the settings' "Cannot find the DICOMfiles setting key.", the Store's failures
  // (dicom_to_sql.h), FolderGenerator's and the writer's.
  static void StoreDicomData(DicomEngine::DicomData& data, char* outSopInstanceUid, const char* sourcePath,
                             bool storeFile, const DicomEngine::SyntaxRecord& transferSyntax, const char* syntaxUid);

  // Stores a data set with the four objects already filled, handed straight to the Store. As above, but
  // `outSopInstanceUid` must come filled with a text whose length, plus one, is the buffer's capacity:
  // the workstation's callers have always passed it so.
  static void StoreDicomData(IPatientInfoNW* patient, IStudyInfoNW* study, ISeriesInfoNW* series, IImageInfoNW* image,
                             DicomEngine::DicomData& data, char* outSopInstanceUid, const char* sourcePath,
                             bool storeFile, const DicomEngine::SyntaxRecord& transferSyntax, const char* syntaxUid);

  // A missing or empty (0002,0010) takes the UID of `transferSyntax`, the syntax the file is written in;
  // one with a value keeps it, even where it disagrees. A new element goes in tag order.
  static void CompleteTransferSyntax(DicomEngine::DicomData& data, const DicomEngine::SyntaxRecord& transferSyntax);
};

class FolderGenerator {
 public:
  // Creates `root`, then the study and the series folder of `fullPath` below it: the text up to the
  // first '/' found from one character past the root's length, and up to the next '/' after that.
  // Exactly two levels are made, however deep the path is; a search that finds no '/' takes the whole
  // path and the next search starts again at its beginning. A folder that exists is no failure; a
  // missing parent of `root` is not made. Throws MyException "Failed to create the root directory,
  // Last error is: %x\r\n" (or "study directory", "series directory") with the system's error.
  static void CreateFolders(const std::string& root, const std::string& fullPath);
};
