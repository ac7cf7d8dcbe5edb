#include "dicom/vr_container.h"

#include <algorithm>
#include <cstring>

#include "foundation/exceptions.h"

namespace DicomEngine {
namespace {

constexpr std::uint32_t TagKey(std::uint16_t group, std::uint16_t element) {
  return static_cast<std::uint32_t>(group) << 16 | element;
}

// Groups such as 0x0FFF or 0xFFFF, which stand outside the tag order.
bool IsUnorderedGroup(std::uint16_t group) { return (group & 0x000F) == 0x000F; }

std::unique_ptr<VR> MakeGroupLength(std::uint16_t group) {
  return std::make_unique<UnsignedIntegerVR>("UL", group, 0x0000, 4, 0u);
}

// Stores the bytes written since the group length value at `valuePosition` into that value.
void PatchGroupLength(BufferWriter& writer, std::uint32_t valuePosition, UnsignedIntegerVR* groupLength) {
  const std::uint32_t count = writer.Cursor() - valuePosition - 4;
  writer.WriteUnsignedLongAtPosition(count, valuePosition);
  if (groupLength != nullptr) groupLength->SetValues({count});
}

void CheckPixelDataOutput(const ByteBlock* data) {
  if (data == nullptr) THROW_MY_EXCEPTION("The Pixel data buffer pointer is NULL.");
}

// A sequence or an item: its own description, then, if it holds any, its elements on the lines below.
std::string& PrintWithItems(const VR& self, const VRContainer& items, std::string& out) {
  self.VR::Print(out);
  if (!items.Elements().empty()) {
    out += "\r\n";
    items.VRContainer::Print(out);
  }
  return out;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------
// VRContainer

VRContainer::VRContainer(bool autoGroupLength) : autoGroupLength_(autoGroupLength) {}

VRContainer::~VRContainer() = default;

std::string& VRContainer::Print(std::string& out) const {
  bool first = true;
  for (const auto& vr : elements_) {
    if (!first) out += "\r\n";
    vr->Print(out);
    first = false;
  }
  return out;
}

std::uint32_t VRContainer::GetLength() const {
  std::uint32_t total = 0;
  for (const auto& vr : elements_) total += vr->GetLength();
  return total;
}

void VRContainer::WriteValue(BufferWriter& writer) {
  bool groupLengthWritten = false;
  std::uint32_t valuePosition = 0;
  UnsignedIntegerVR* groupLength = nullptr;
  for (const auto& vr : elements_) {
    if (!autoGroupLength_ || vr->Element() != 0x0000) {
      vr->Write(writer);
      continue;
    }
    if (groupLengthWritten) PatchGroupLength(writer, valuePosition, groupLength);
    vr->Write(writer);
    valuePosition = writer.Cursor() - 4;
    groupLength = dynamic_cast<UnsignedIntegerVR*>(vr.get());
    groupLengthWritten = true;
  }
  if (groupLengthWritten) PatchGroupLength(writer, valuePosition, groupLength);
}

void VRContainer::Add(std::unique_ptr<VR> vr, bool checkDuplicate) {
  if (!vr) return;
  if (checkDuplicate && vr->GetLength() > 0 && tags_.contains(TagKey(vr->Group(), vr->Element()))) {
    std::string text;
    vr->Print(text);
    THROW_MY_EXCEPTION_F(256, "Attempt to reinsert an existing VR. \r\nVR= %s", text.c_str());
  }
  Insert(elements_.end(), std::move(vr));
}

VRContainer::ElementList::iterator VRContainer::Insert(ElementList::iterator at, std::unique_ptr<VR> vr) {
  tags_.insert(TagKey(vr->Group(), vr->Element()));
  return elements_.insert(at, std::move(vr));
}

void VRContainer::AddSorted(std::unique_ptr<VR> vr) {
  if (!vr) return;
  const std::uint16_t group = vr->Group();
  const std::uint16_t element = vr->Element();
  if (IsUnorderedGroup(group)) {
    Add(std::move(vr), true);
    return;
  }

  bool groupSeen = false;
  auto at = elements_.begin();
  for (; at != elements_.end(); ++at) {
    const VR& existing = **at;
    // Such elements were appended outside the order, so comparing with them means nothing; the walk
    // steps over them and always ends.
    if (IsUnorderedGroup(existing.Group())) continue;
    if (existing.Group() == group) groupSeen = true;
    if (existing.Group() > group || (existing.Group() == group && existing.Element() > element)) break;
  }

  const bool needsGroupLength = autoGroupLength_ && !groupSeen;
  if (at != elements_.end()) {
    const auto inserted = Insert(at, std::move(vr));
    if (needsGroupLength) Insert(inserted, MakeGroupLength(group));
    return;
  }
  if (needsGroupLength) Insert(elements_.end(), MakeGroupLength(group));
  Add(std::move(vr), true);
}

VR* VRContainer::Find(std::uint16_t group, std::uint16_t element) const {
  const auto found = std::find_if(elements_.begin(), elements_.end(), [&](const std::unique_ptr<VR>& vr) {
    return vr->Group() == group && vr->Element() == element;
  });
  return found != elements_.end() ? found->get() : nullptr;
}

void VRContainer::GetPixelData(ByteBlock* data) const {
  CheckPixelDataOutput(data);
  const auto* pixels = dynamic_cast<const PixelDataContainer*>(Find(kPixelDataGroup, kPixelDataElement));
  if (pixels == nullptr) {
    *data = ByteBlock();
    return;
  }
  pixels->GetPixelData(data);
}

DicomData::DicomData(bool autoGroupLength) : VRContainer(autoGroupLength) {}

DicomCommand::DicomCommand(bool autoGroupLength) : VRContainer(autoGroupLength) {}

// ---------------------------------------------------------------------------------------------------
// VRSequence

VRSequence::VRSequence(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length)
    : VR(std::move(code), group, element, length), VRContainer(false) {}

std::string& VRSequence::Print(std::string& out) const { return PrintWithItems(*this, *this, out); }

std::uint32_t VRSequence::GetLength() const { return VRContainer::GetLength(); }

void VRSequence::WriteValue(BufferWriter& writer) { VRContainer::WriteValue(writer); }

void VRSequence::GetPixelData(ByteBlock* data) const {
  CheckPixelDataOutput(data);
  const std::uint32_t total = GetLength();
  if (total == 0) {
    *data = ByteBlock();
    return;
  }
  ByteBlock block = ByteBlock::Zeroed(total);
  std::uint32_t offset = 0;
  for (const auto& item : Elements()) {
    const auto* fragment = dynamic_cast<const VRBinary*>(item.get());
    if (fragment == nullptr) continue;
    // The total is a 32-bit sum and may have wrapped: never copy past the block.
    const std::uint32_t size = std::min(fragment->LengthField(), total - offset);
    if (fragment->Data() != nullptr && size > 0) std::memcpy(block.Data() + offset, fragment->Data(), size);
    offset += size;
  }
  *data = std::move(block);
}

// ---------------------------------------------------------------------------------------------------
// VRSequenceItem

VRSequenceItem::VRSequenceItem(std::uint16_t element, std::uint32_t length)
    : VR("", kItemGroup, element, length), VRContainer(false) {}

std::string& VRSequenceItem::Print(std::string& out) const { return PrintWithItems(*this, *this, out); }

std::uint32_t VRSequenceItem::GetLength() const { return VRContainer::GetLength(); }

void VRSequenceItem::WriteValue(BufferWriter& writer) { VRContainer::WriteValue(writer); }

}  // namespace DicomEngine
