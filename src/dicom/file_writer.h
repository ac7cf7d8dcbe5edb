// Writes a data set as a DICOM file: 128 zero bytes, "DICM", and the data set's elements.
//
// The whole data set is first serialised into the writer's block, then written out at once. Elements
// go out in the order they stand in the container (code that builds data sets keeps tag order with
// AddSorted); nothing is re-sorted at write time. The meta group (group 0002) is an ordinary group of
// the same list and is always written in explicit VR little-endian; the rest follows the transfer
// syntax named by (0002,0010). Of the meta elements only (0002,0010) is ensured: the writer adds no
// other. Values are written little-endian whatever the syntax says, as everywhere in the engine.
//
// A FileWriter is used for one file.
#pragma once

#include <cstdint>
#include <string>

#include "dicom/buffers.h"
#include "dicom/vr_container.h"

namespace DicomEngine {

class FileWriter : public BufferWriter {
 public:
  // Not a command, no block. The syntax is the record of `transferSyntaxUid` if the table knows it,
  // else unset; serialising replaces it by the syntax of the data set's (0002,0010).
  explicit FileWriter(const std::string& transferSyntaxUid);
  ~FileWriter() override;

  // Group 2 (and groups 0 and 1) in explicit VR little-endian; items and delimiters (group 0xFFFE) in
  // implicit VR; any other group in the writer's syntax. A command is written in implicit VR
  // little-endian throughout.
  SyntaxRecord GetWriteSyntax(std::uint16_t group) const override;

  // Serialises `data` into the block, from its start; afterwards Data() holds Cursor() bytes.
  // 1. A DicomCommand is marked as a command (implicit VR throughout).
  // 2. (0002,0010) is ensured. If absent, a VRUniqueIdentifier "UI" holding `uid`, or if `uid` is
  //    empty TransferSyntax::GetUid(syntax), is inserted with AddSorted (with the group length
  //    element that AddSorted brings along under auto group length). If present and `uid` isn't
  //    empty, its text becomes `uid` (SetValue), when it is a text element; otherwise it stays.
  // 3. The syntax becomes the table's record for the text of (0002,0010), or explicit VR
  //    little-endian when that element isn't text or its UID is unknown; the UID is kept as it is.
  // 4. The block is replaced by a zero-filled one of data.GetLength() bytes, grown as the headers
  //    need, and the data set writes itself (group lengths patched under auto group length).
  // `data` is changed: it gains or updates (0002,0010), and lengths take what was written. Throws the
  // failures of the values and the writer, std::bad_alloc when the block can't be had.
  void Serialize(VRContainer& data, const SyntaxRecord& syntax, const std::string& uid);

  // Serialises as above and writes the file `fileName` (created or emptied): the 128-byte preamble,
  // "DICM", then the serialised bytes. Throws "The file name passed to the File Writer is empty." for
  // an empty name, and "The Dicom File Writer failed to create the %s DICOM file." (the name, narrow)
  // when the file can't be created, or when the name holds a NUL or a character that the ANSI code
  // page, through which names reach the file system, can't hold. A failing write (a full disk, say)
  // is traced, not thrown, and leaves a short file.
  void Write(VRContainer& data, const SyntaxRecord& syntax, const std::u16string& fileName, const std::string& uid);
};

}  // namespace DicomEngine
