// Data sets and sequences: ordered collections of elements.
//
// A VRContainer owns its elements in a list, in the order they were added: the parser appends in file
// order, code that builds data sets inserts in tag order with AddSorted. With auto group length on, the
// container gives each group a group length element (gggg,0000) when the group's first element comes
// in through AddSorted, and WriteValue writes the true byte count into each of them.
//
// DicomData is a whole data set with the name of its file. VRSequence is an SQ value (or a binary value
// of undefined length) whose items are VRSequenceItems holding data sets, VRBinarySequenceItems holding
// pixel fragments, and the delimiters as they stood in the file. DicomCommand marks a command set for
// the writer.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>

#include "dicom/vr.h"

namespace DicomEngine {

// The tag of the pixel data.
inline constexpr std::uint16_t kPixelDataGroup = 0x7FE0;
inline constexpr std::uint16_t kPixelDataElement = 0x0010;

class VRContainer {
 public:
  using ElementList = std::list<std::unique_ptr<VR>>;

  explicit VRContainer(bool autoGroupLength);
  virtual ~VRContainer();
  VRContainer(const VRContainer&) = delete;
  VRContainer& operator=(const VRContainer&) = delete;

  // Appends the description of every element, joined by "\r\n" (none after the last), and returns
  // `out`. An empty container appends nothing.
  virtual std::string& Print(std::string& out) const;
  // The sum of GetLength over the elements, in 32-bit arithmetic: value bytes only, no headers.
  virtual std::uint32_t GetLength() const;
  // Writes every element in list order (VR::Write). With auto group length on, each element numbered
  // 0000 is a group length: the bytes written after it up to the next group length or the end are
  // stored into its 4-byte value in the block, and, if it is an UnsignedIntegerVR, its values become
  // that one number; the count runs to the next group length, not to the end of the group. Throws the
  // writer's failures.
  virtual void WriteValue(BufferWriter& writer);

  // Appends `vr` at the end; null does nothing. With `checkDuplicate`, if an element of the same tag
  // is already there and vr->GetLength() is above 0, throws
  // "Attempt to reinsert an existing VR. \r\nVR= %s" with vr's description (cut to the 256-character
  // message) and leaves the list unchanged; `vr` is then destroyed. A new element of length 0 is kept
  // beside the old one, so a repeated empty element stands twice and Find returns the first.
  void Add(std::unique_ptr<VR> vr, bool checkDuplicate);

  // Inserts `vr` in tag order; null does nothing.
  // - An element whose group has its low four bits all ones (0x0FFF, say) goes to Add(vr, true), at
  //   the end and outside the order.
  // - Otherwise it goes before the first element of a higher group, or of the same group and a higher
  //   element number, with no duplicate check there, so two elements of one tag may stand side by
  //   side. Elements of groups whose low four bits are all ones are stepped over and not compared.
  // - If no such element exists it goes to Add(vr, true) at the end, with its failure.
  // With auto group length on, if no element of vr's group was met on the way, an UnsignedIntegerVR
  // "UL" (gggg,0000) of length 4 and value 0 is inserted directly before it (at the end: appended
  // before it), so the first element of a new group brings two entries.
  void AddSorted(std::unique_ptr<VR> vr);

  // The first element of the tag, searching from the front, or null. The container keeps ownership.
  VR* Find(std::uint16_t group, std::uint16_t element) const;

  // The pixel bytes of (7FE0,0010), through its PixelDataContainer, into a new block the caller owns.
  // If the element is absent or isn't a PixelDataContainer, *data is empty. Throws "The Pixel data
  // buffer pointer is NULL." for a null `data`, and the element's failures.
  void GetPixelData(ByteBlock* data) const;

  const ElementList& Elements() const { return elements_; }
  bool AutoGroupLength() const { return autoGroupLength_; }

 private:
  ElementList::iterator Insert(ElementList::iterator at, std::unique_ptr<VR> vr);

  ElementList elements_;
  // The tags present, so that the duplicate check of each Add does not walk the list: parsing a data
  // set of n elements stays linear in n.
  std::unordered_set<std::uint32_t> tags_;
  bool autoGroupLength_;
};

// A whole data set, with the file facts that travel with it and are never written into the file.
class DicomData : public VRContainer {
 public:
  // The file name is empty and the stored-file flag true at first.
  explicit DicomData(bool autoGroupLength);

  const std::string& FileName() const { return fileName_; }
  void SetFileName(std::string fileName) { fileName_ = std::move(fileName); }
  // Whether the data set is that of a file already stored in the workstation.
  bool IsStoredFile() const { return isStoredFile_; }
  void SetIsStoredFile(bool isStoredFile) { isStoredFile_ = isStoredFile; }

 private:
  std::string fileName_;
  bool isStoredFile_ = true;
};

// A command set. Adds nothing: its type tells the writer to write it in implicit VR.
class DicomCommand : public VRContainer {
 public:
  explicit DicomCommand(bool autoGroupLength);
};

// A sequence value. Its items live in the container part, with auto group length off; the parser adds
// them with Add(item, false). Length and writing are the container's: GetLength is the sum of the
// items' lengths, and WriteValue writes the items, delimiters included.
class VRSequence : public VR, public VRContainer, public PixelDataContainer {
 public:
  VRSequence(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length);

  // The element's description, then, if there are items, "\r\n" and the items' descriptions.
  std::string& Print(std::string& out) const override;
  std::uint32_t GetLength() const override;
  void WriteValue(BufferWriter& writer) override;
  // The bytes of the VRBinary items (the pixel fragments), joined in order into one new block of
  // GetLength() bytes; other items, such as the sequence delimiter, add nothing. The first fragment,
  // the basic offset table, is joined like any other. A total of 0 gives an empty block. Throws "The
  // Pixel data buffer pointer is NULL." for a null `data`, std::bad_alloc when the block can't be had.
  void GetPixelData(ByteBlock* data) const override;
};

// An item of a sequence: tag (FFFE,E000) with its data set in the container part, or a delimiter,
// (FFFE,E00D) for an item or (FFFE,E0DD) for a sequence, with an empty container. No code.
class VRSequenceItem : public VR, public VRContainer {
 public:
  // `element` is kItemElement, kItemDelimiterElement or kSequenceDelimiterElement.
  VRSequenceItem(std::uint16_t element, std::uint32_t length);

  // The element's description, then, if it holds elements, "\r\n" and their descriptions.
  std::string& Print(std::string& out) const override;
  // The container's: the sum of the lengths of its elements.
  std::uint32_t GetLength() const override;
  void WriteValue(BufferWriter& writer) override;

  // Where the item's tag stands in the parsed data, counted as Parser::Position counts; unset for an
  // item that no parser made. Directory records link to one another by these positions.
  const std::optional<std::uint32_t>& DataOffset() const { return dataOffset_; }
  void SetDataOffset(std::uint32_t offset) { dataOffset_ = offset; }

 private:
  std::optional<std::uint32_t> dataOffset_;
};

}  // namespace DicomEngine
