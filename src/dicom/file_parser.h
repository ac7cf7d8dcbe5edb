// The file parser: opens a DICOM file, decides from its first bytes whether it is one and how it is
// encoded, makes all of it the parser's data, and leaves the Parser ready to run.
//
// A file is accepted with the 128-byte preamble and "DICM", or without them when its first group reads
// as 0x0008 (or 0x8000). The header syntax is taken from the sixth byte after that start: in explicit VR
// data it is the second letter of the first element's VR, in implicit VR data the second byte of a
// small length. After a true Open, call Parse or ParseUpTo.
#pragma once

#include <cstdint>
#include <string>

#include "dicom/parser.h"

namespace DicomEngine {

class FileParser : public Parser {
 public:
  // The dictionary serves the parse (see Parser) and must outlive the file parser.
  explicit FileParser(const DicomDictionary& dictionary = DicomDictionary::Instance());

  // Opens `fileName` for binary reading and, if it is a DICOM file, makes the whole file
  // the parser's data, with the header syntax found from its first bytes. A name with no '.' anywhere,
  // folders included, that can't be opened is tried again with ".dcm" appended. Returns false, having
  // read nothing, for a file that is not DICOM by the rule above; the caller reports that as "It's not
  // a DICOM file or a well formatted DICOM file.". The bytes of a regular file are read in chunks of
  // 16384 when the parse first needs them, and long binary values (the pixel data) only when they
  // are used, so the file stays open until the parser and every value parsed from it are gone, and a
  // failure to read it ("Failed to read the DICOM file data.") comes from the step that needed the
  // bytes; any other file (a pipe) is read whole here, and closed. Throws
  // MyException:
  // - "The name of the file to parse is empty.";
  // - "The NAME file cannot be opened. The last error is (in hexa): 0xN", NAME as given and N the
  //   platform's last error, GetLastError() (a name with a character outside Windows-1252, which
  //   names are opened through, gives ERROR_NO_UNICODE_TRANSLATION);
  // - "Failed to read the DICOM file data." when reading fails.
  bool Open(const std::u16string& fileName);

  // Where the data set starts in the file: 132 after a preamble, 0 without one. Positions of the
  // parser (Position) count from there.
  std::uint32_t StartOffset() const { return startOffset_; }

 private:
  std::uint32_t startOffset_ = 0;
};

}  // namespace DicomEngine
