// The values of DICOM elements: one object per element, of a class chosen by its VR code.
//
// Every element is a VR: its tag (group, element), its two-letter VR code and its value length. The
// parser builds them (ValueKindOf and ReadValue below give the table it follows), code that builds data
// sets makes them directly; a VRContainer (vr_container.h) holds and owns them. Each prints itself for
// the trace log and writes itself, header and value, to a BufferWriter.
//
//   VR                       abstract: tag, code, length
//     VRString               text values (DA TM DT AE PN SH ST LO LT CS AS IS DS), padded with blanks
//       VRUniqueIdentifier   UI, padded with NUL
//     VRBinary               raw bytes (UN OT OB OW); also a PixelDataContainer
//       VRBinarySequenceItem one fragment of encapsulated pixel data, tag (FFFE,E000)
//     VRNumeric<T>           a vector of numbers: IntegerVR (SL), UnsignedIntegerVR (UL),
//                            SignedShortVR (SS), UnsignedShortVR (US), DoubleVR (FL, FD)
//     VRAttributeTag         AT: a vector of (group, element) pairs
//     VRSequence, VRSequenceItem (vr_container.h)
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dicom/buffers.h"

namespace DicomEngine {

// Tags of the items and delimiters inside sequences.
inline constexpr std::uint16_t kItemGroup = 0xFFFE;
inline constexpr std::uint16_t kItemElement = 0xE000;
inline constexpr std::uint16_t kItemDelimiterElement = 0xE00D;
inline constexpr std::uint16_t kSequenceDelimiterElement = 0xE0DD;

// One element. Not copyable: an element belongs to one container.
class VR {
 public:
  VR(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length);
  virtual ~VR();
  VR(const VR&) = delete;
  VR& operator=(const VR&) = delete;

  // Appends the element's description to `out` and returns `out`. The base description is
  // "(%04X, %04X) VR=%s Length=%u<=>0x%X" (group, element, code, length twice), cut to 63 characters;
  // each class appends its value.
  virtual std::string& Print(std::string& out) const;
  // The value length (kUndefinedLength when undefined). The containers answer otherwise.
  virtual std::uint32_t GetLength() const;
  // Writes the value bytes at the writer's cursor. May adjust the length field first (text values
  // round it up to even).
  virtual void WriteValue(BufferWriter& writer) = 0;

  // Writes the whole element: group and element; the code, padded with blanks to 2 letters, if the
  // writer's syntax for this group is explicit VR (group not 0xFFFE and vrKind not kImplicitVR); the
  // length field; the value. The length field is 4 bytes in implicit VR and for group 0xFFFE; in
  // explicit VR it is 2 zero bytes and 4 bytes of length for the codes OB, OW, SQ, UN and UT, and 2
  // bytes for any other code (a longer length keeps its low 16 bits). Unless the length is undefined,
  // the length field is then rewritten with the count of value bytes actually written, and the element
  // takes that count as its length. Throws the writer's failures.
  void Write(BufferWriter& writer);

  std::uint16_t Group() const { return group_; }
  std::uint16_t Element() const { return element_; }
  const std::string& Code() const { return code_; }
  // The length field as it stands (GetLength may answer otherwise for containers).
  std::uint32_t LengthField() const { return length_; }
  void SetLength(std::uint32_t length) { length_ = length; }

 private:
  std::uint16_t group_;
  std::uint16_t element_;
  std::string code_;
  std::uint32_t length_;
};

// The pixel bytes of element (7FE0,0010), whether stored whole (VRBinary) or in fragments
// (VRSequence). Reached from a VR with dynamic_cast.
class PixelDataContainer {
 public:
  virtual ~PixelDataContainer();
  // Sets *data to a new block of the pixel bytes, which the caller owns, or to an empty block when
  // there are none. Throws "The Pixel data buffer pointer is NULL." if `data` is null, and
  // std::bad_alloc when the block can't be had.
  virtual void GetPixelData(ByteBlock* data) const = 0;

 protected:
  PixelDataContainer() = default;
  PixelDataContainer(const PixelDataContainer&) = default;
  PixelDataContainer& operator=(const PixelDataContainer&) = default;
};

// A text value. The length field may differ from the text's length: the text of a parsed value stops
// at its first NUL, while the length is the file's.
class VRString : public VR {
 public:
  VRString(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length, std::string text);

  const std::string& Value() const { return text_; }
  // Stores the text and sets the length to its length, rounded up to even.
  void SetValue(std::string text);
  // Rounds an odd length up to even (an undefined length stays).
  void EvenLength();

  // Appends " Value=[text]".
  std::string& Print(std::string& out) const override;
  // Rounds the length up to even, then writes the text (up to its first NUL) padded with blanks to
  // that length, making room in the block first. A text longer than the length is written whole. An
  // empty text with a length above 0 (a value of NUL bytes, say) writes blanks to the even length, so
  // the element still says what it holds; an undefined length counts as the text's own length.
  void WriteValue(BufferWriter& writer) override;

 protected:
  // Length handling shared with VRUniqueIdentifier: settles an undefined length, rounds to even, and
  // returns the number of bytes the text takes up to its first NUL.
  std::size_t PrepareWrite();

 private:
  std::string text_;
};

// A UID value (UI): as VRString, but written padded with NUL instead of blanks, so an odd UID gets one
// trailing NUL; an empty UID with a length above 0 writes NULs.
class VRUniqueIdentifier : public VRString {
 public:
  using VRString::VRString;

  void WriteValue(BufferWriter& writer) override;
};

// Raw bytes. Owns its block, which is null or holds at least LengthField() bytes. A value read from a
// file may instead keep its bytes in the file until they are first needed (a slice of the reader's
// buffer): the block is then made on first use, and a failure to read the file is thrown there.
class VRBinary : public VR, public PixelDataContainer {
 public:
  VRBinary(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
           std::unique_ptr<std::uint8_t[]> data);
  // `bytes` holds `length` bytes.
  VRBinary(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
           BufferReader::Slice bytes);
  ~VRBinary() override;

  // The block; for a value still in its file, read now.
  const std::uint8_t* Data() const;

  // Appends " Value=BINARY Length=[%d<=>0x%x]" with the length twice; the bytes aren't printed.
  std::string& Print(std::string& out) const override;
  // The bytes, LengthField() of them; with a null block, WriteBytes(null) (see BufferWriter).
  void WriteValue(BufferWriter& writer) override;
  // A copy of the block, of the length field's size, or an empty block if the value has no block. A
  // value still in its file is read straight into the copy.
  void GetPixelData(ByteBlock* data) const override;

 private:
  mutable std::unique_ptr<std::uint8_t[]> data_;
  mutable std::optional<BufferReader::Slice> deferred_;
};

// One fragment of encapsulated pixel data: a VRBinary with tag (FFFE,E000) and no code.
class VRBinarySequenceItem : public VRBinary {
 public:
  VRBinarySequenceItem(std::uint32_t length, std::unique_ptr<std::uint8_t[]> data);
  VRBinarySequenceItem(std::uint32_t length, BufferReader::Slice bytes);
};

// Binary values of this length or more are left in the reader's buffer until used (see VRBinary), so
// that a parse up to the pixel data reads no pixel from the file.
inline constexpr std::uint32_t kDeferredBinaryLength = 16384;

// A binary value or fragment of `length` bytes at the reader's cursor, taken as a slice when it is long
// and copied otherwise; the reader moves past it.
std::unique_ptr<VRBinary> ReadBinary(BufferReader& reader, const std::string& code, std::uint16_t group,
                                     std::uint16_t element, std::uint32_t length);

// A vector of numbers of type T. Each value prints as " Value=[%d<=>0x%X]" for integers and
// " Value=[%f<=>0x%f]" for doubles (the second field a float too, as the trace log has always shown
// it), cut to 63 characters, and when there is more than one value with ";" after each, the last too.
// Each value is written in its own width, only under the class's own code: SL, UL, SS, US; for doubles
// FL as 4-byte floats and FD as 8-byte doubles. Under any other code nothing is written, so Write sets
// the element's length to 0.
template <typename T>
class VRNumeric : public VR {
 public:
  using ValueType = T;

  VRNumeric(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length, T value);
  VRNumeric(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
            std::vector<T> values);

  const std::vector<T>& Values() const { return values_; }
  // Replaces the values; the length field is left as it is.
  void SetValues(std::vector<T> values) { values_ = std::move(values); }

  std::string& Print(std::string& out) const override;
  void WriteValue(BufferWriter& writer) override;

 private:
  std::vector<T> values_;
};

extern template class VRNumeric<std::int32_t>;
extern template class VRNumeric<std::uint32_t>;
extern template class VRNumeric<std::int16_t>;
extern template class VRNumeric<std::uint16_t>;
extern template class VRNumeric<double>;

// SL values. Read through BufferReader::ReadSLong, which keeps the low 16 bits only.
class IntegerVR final : public VRNumeric<std::int32_t> {
 public:
  using VRNumeric::VRNumeric;
};

// UL values; also the group length elements (element 0000).
class UnsignedIntegerVR final : public VRNumeric<std::uint32_t> {
 public:
  using VRNumeric::VRNumeric;
};

// SS values.
class SignedShortVR final : public VRNumeric<std::int16_t> {
 public:
  using VRNumeric::VRNumeric;
};

// US values.
class UnsignedShortVR final : public VRNumeric<std::uint16_t> {
 public:
  using VRNumeric::VRNumeric;
};

// FL and FD values, both held as doubles.
class DoubleVR final : public VRNumeric<double> {
 public:
  using VRNumeric::VRNumeric;
};

// AT values: (group, element) pairs.
class VRAttributeTag : public VR {
 public:
  using Tag = std::pair<std::uint16_t, std::uint16_t>;

  VRAttributeTag(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
                 std::vector<Tag> tags);

  const std::vector<Tag>& Tags() const { return tags_; }

  // Appends "Value=[(%x, %x)]\r\n" for each pair, with no blank before it.
  std::string& Print(std::string& out) const override;
  // Each pair as two unsigned 16-bit values, whatever the code.
  void WriteValue(BufferWriter& writer) override;

 private:
  std::vector<Tag> tags_;
};

// How a parsed element's value is built, by its VR code.
enum class ValueKind {
  kText,           // DA TM DT AE PN SH ST LO LT CS AS IS DS: VRString
  kUid,            // UI: VRUniqueIdentifier
  kAttributeTag,   // AT: VRAttributeTag
  kFloat,          // FL: DoubleVR from 4-byte floats
  kDouble,         // FD: DoubleVR from 8-byte doubles
  kUnsignedLong,   // UL: UnsignedIntegerVR
  kSignedLong,     // SL: IntegerVR
  kUnsignedShort,  // US: UnsignedShortVR
  kSignedShort,    // SS: SignedShortVR
  kBinary,         // UN OT OB OW, or no code: VRBinary; with undefined length a sequence instead
  kSequence,       // SQ: read by the parser's sequence reader
  kUnsupported,    // any other code (UT and OF among them): no object
};

ValueKind ValueKindOf(std::string_view code);

// Builds the value of an element from the reader, by ValueKindOf(code):
// - text and UID: ReadString(length), the text ending at its first NUL;
// - numbers: none for length 0, else (length - 1) / width + 1 reads of the width (4 for FL, UL, SL;
//   8 for FD; 2 for US, SS), so a length that isn't a multiple of the width reads one value more than
//   it holds (US of length 3 reads two values and consumes 4 bytes);
// - AT: (length - 1) / 4 + 1 pairs, but only if the length is at least 4 (AT of length 2 reads nothing);
// - binary: ReadBinary into a VRBinary (long values are left in the buffer until used). A binary code
//   with undefined length is a sequence, read by the parser's sequence reader: here it gives null.
// The element's length field is `length` as given. Returns null, reading nothing, for kSequence,
// kUnsupported and undefined-length binary. Throws the reader's failures for a value that runs past the reader's end.
std::unique_ptr<VR> ReadValue(BufferReader& reader, const std::string& code, std::uint16_t group,
                              std::uint16_t element, std::uint32_t length);

}  // namespace DicomEngine
