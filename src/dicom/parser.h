// The stream parser: turns the bytes under a BufferReader into VR objects in a VRContainer.
//
// The parser reads explicit and implicit VR, defined and undefined lengths, sequences and encapsulated
// pixel data. It starts in the header syntax it is given and, once the transfer syntax UID (0002,0010)
// has been read, reads every group from 0003 up in the syntax that UID names. Where the data don't say
// the VR (implicit VR, and items), it asks the dictionary. Each sequence item is parsed by a parser of
// its own on a sub-reader of the item's bytes.
//
// Parsing stops at the end of the reader, at an item delimiter (FFFE,E00D), at the stop tag given to
// ParseUpTo, or at a failure. Every failure is a MyException, with the messages listed at Parse or
// those of BufferReader; the container then holds what was parsed before the failing element.
//
// What the parser reads is bounded by the reader: a length beyond the bytes left fails before anything
// is allocated, every pass of every loop consumes bytes, and sequences nest at most kMaxNestingDepth
// deep, so any input, damaged or hostile, ends in a result or a MyException.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "dicom/buffers.h"
#include "dicom/dicom_dictionary.h"
#include "dicom/transfer_syntax.h"
#include "dicom/vr_container.h"

namespace DicomEngine {

class Parser {
 public:
  // How many sequences may stand inside one another. Deeper data fail with "The sequences are nested
  // more than 64 levels deep." instead of exhausting the stack.
  static constexpr int kMaxNestingDepth = 64;

  // A parser over `reader`, which it owns (null is allowed: Parse then fails). Elements are read in
  // `headerSyntax` until (0002,0010) has been read; the data set syntax is unset until then. VRs that
  // the data don't carry come from `dictionary`, which must outlive the parser.
  explicit Parser(std::unique_ptr<BufferReader> reader, SyntaxRecord headerSyntax = {},
                  const DicomDictionary& dictionary = DicomDictionary::Instance());
  virtual ~Parser();
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // Parses elements into `container`, appended in the order of the data (duplicates checked), until
  // the reader's end, an item delimiter (which is added as a VRSequenceItem), or the stop tag set by
  // ParseUpTo. A null container is allowed: elements are then parsed and dropped. An element whose VR
  // code has no value class (UT, OF, ...) yields nothing and its value is not skipped: the next pass
  // reads the value's bytes as a tag. Throws MyException:
  // - "The parser buffer is NULL." without a reader;
  // - "Defined length sequence contains undefined length item.";
  // - "Invalid tag found where a sequence item was expected.";
  // - the nesting failure (kMaxNestingDepth);
  // - the reader's failures for a value, item or length that runs past the end of the data;
  // - the container's duplicate failure.
  void Parse(VRContainer* container);
  // Parse that stops right after the element (group, element), both non-zero. While looking for it
  // only the transfer syntax UID (0002,0010) and that element are built; everything else of defined
  // length is passed over without reading it. (0, 0) parses everything, as Parse does.
  void ParseUpTo(VRContainer* container, std::uint16_t group, std::uint16_t element);

  const SyntaxRecord& HeaderSyntax() const { return headerSyntax_; }
  // The syntax named by (0002,0010), unset until it has been read and found in TransferSyntax.
  const SyntaxRecord& DataSetSyntax() const { return dataSetSyntax_; }
  // True once (0002,0010) has been read, whether or not its UID is known.
  bool Switched() const { return switched_; }
  // The reader's position: how many bytes of the data have been consumed, or 0 without a reader.
  std::uint32_t Position() const { return reader_ ? reader_->Cursor() : 0; }
  // The last element of the data set (not of an item inside it) whose reading began, and where in the
  // data its tag stands: after a failure, the element the parse stopped in. Null before the first.
  struct ElementStart {
    std::uint16_t group = 0;
    std::uint16_t element = 0;
    std::uint32_t offset = 0;
  };
  const std::optional<ElementStart>& LastElement() const { return lastElement_; }

 protected:
  void SetReader(std::unique_ptr<BufferReader> reader) { reader_ = std::move(reader); }
  void SetHeaderSyntax(const SyntaxRecord& syntax) { headerSyntax_ = syntax; }

 private:
  struct Tag {
    std::uint16_t group = 0;
    std::uint16_t element = 0;

    friend bool operator==(const Tag&, const Tag&) = default;
  };

  // The parser of one sequence item, one level deeper than `parent`.
  Parser(std::unique_ptr<BufferReader> reader, const Parser& parent);

  void ParseElements(VRContainer* container);
  const SyntaxRecord& SyntaxOf(std::uint16_t group) const;
  bool HasStopTag() const;
  // True when an element of `tag` is built while a stop tag is looked for.
  bool IsBuiltWhileSeeking(Tag tag) const;

  std::string ReadCode(Tag tag);
  std::uint32_t ReadLength(std::uint16_t group, const std::string& code);
  std::unique_ptr<VR> BuildValue(Tag tag, const std::string& code, std::uint32_t length);
  std::unique_ptr<VR> ReadSequence(Tag tag, const std::string& code, std::uint32_t length);
  // One entry of a sequence's item list, or null for an item that is passed over. Sets `done` when the
  // sequence has ended.
  std::unique_ptr<VR> ReadItem(Tag sequenceTag, std::uint32_t sequenceLength, bool binary,
                               std::uint64_t& consumed, bool& done);

  std::unique_ptr<BufferReader> reader_;
  SyntaxRecord headerSyntax_;
  SyntaxRecord dataSetSyntax_;
  bool switched_ = false;
  Tag stopTag_;
  const DicomDictionary& dictionary_;
  int depth_ = 0;
  std::optional<ElementStart> lastElement_;
};

}  // namespace DicomEngine
