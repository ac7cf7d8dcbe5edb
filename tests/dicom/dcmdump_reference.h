// Reads the references that DCMTK's dcmdump made of the real DICOM files in tests/data/dicom (see
// scripts/make_dicom_references and tests/data/dicom/README.md), so that a test can compare what the
// engine parses with what an independent toolkit read from the same bytes.
//
// A listing holds one line per element, item and delimiter, for example:
//   (0028,0030) DS [0.3125\0.3125 ]                         #  14, 2 PixelSpacing
//   (0008,1115) SQ (Sequence with undefined length #=1)     # u/l, 1 ReferencedSeriesSequence
//     (fffe,e000) na (Item with undefined length #=2)         # u/l, 1 Item
// Comment lines ("# ...", also indented ones) and blank lines carry no element and are skipped.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace dicom_test {

inline constexpr std::uint32_t kUndefinedLength = 0xFFFFFFFF;

// One line of a listing: an element, or an item, item delimiter or sequence delimiter.
struct DcmdumpRecord {
  // Nesting as dcmdump indents it, 0 for the top data set (the meta header is at 0 too). A sequence at
  // depth d has its items, their delimiters and its pixel fragments at d + 1, the items' elements at
  // d + 2, and its sequence delimiter at d.
  int depth = 0;
  std::uint16_t group = 0;
  std::uint16_t element = 0;
  // The VR as dcmdump prints it. Where the file stores none (implicit VR data) this is dcmdump's
  // dictionary VR. Besides the standard codes dcmdump prints labels of its own: "na" for items and
  // delimiters, "pi" for pixel fragments, "up" for a directory offset stored as UL, "??" for an
  // implicit private element it cannot name, "ox", "xs", "lt" for ambiguous dictionary VRs.
  std::string vr;
  // The value length in bytes as stored; kUndefinedLength where dcmdump prints "u/l".
  std::uint32_t length = 0;
  // The value multiplicity dcmdump counts: 0 for an empty value.
  std::uint32_t multiplicity = 0;
  // - Text values ("[...]"): the bytes between the brackets, as stored: padding is kept (a trailing
  //   blank, the trailing NUL of a UID) and character references ("&#0;", "&amp;") are decoded.
  // - Numbers and tags: as dcmdump prints them, values separated by "\": "0\0\0\0", "-77.2040634",
  //   "(0062,000b)".
  // - Binary values (see `binary`): the hexadecimal dump, bytes ("ff\d8") for OB, UN and fragments,
  //   16-bit words ("0389\03fb") for OW; BinaryBytes turns it into bytes.
  // - Sequences, pixel sequences, items and delimiters: dcmdump's description without its enclosing
  //   parentheses or quotes: "Sequence with explicit length #=2", "PixelSequence #=3",
  //   "Item with undefined length #=4", "ItemDelimitationItem", "\"Directory Record\" PATIENT #=7".
  // - An empty value ("(no value available)"): empty.
  std::string value;
  // The value is a hexadecimal dump of raw bytes or words (VR OB, OW, UN, "??", "ox", or a
  // pixel fragment), empty or not.
  bool binary = false;
  // dcmdump shows a delimiter that is not in the file: it closes every item and sequence of explicit
  // length with one ("ItemDelimitationItem for re-encoding"), which the engine never sees.
  bool synthetic = false;
  // dcmdump's name of the element ("PixelSpacing", "Item", "Unknown Tag & Data").
  std::string name;
};

// Parses a whole listing. Throws std::runtime_error naming the line for a line that is neither a
// comment nor an element line, and for a value dcmdump did not load ("(not loaded)").
std::vector<DcmdumpRecord> ParseDcmdump(std::string_view listing);

// The full path of a file in tests/data/dicom.
std::string DicomTestFilePath(std::string_view file_name);

// Parses the reference of a test file: "CT_small.dcm" reads tests/data/dicom/CT_small.dcm.dcmdump.txt.
// Throws std::runtime_error if it cannot be read or parsed.
std::vector<DcmdumpRecord> LoadDcmdumpReference(std::string_view file_name);

// The raw bytes of a binary record, in the little-endian order the file stores them in ("0389" of OW
// gives 89 03). Throws std::invalid_argument for a record that is not binary.
std::vector<std::uint8_t> BinaryBytes(const DcmdumpRecord& record);

// Prints a record as one line for test failure messages.
void PrintTo(const DcmdumpRecord& record, std::ostream* out);

}  // namespace dicom_test
