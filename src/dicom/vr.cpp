#include "dicom/vr.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "foundation/exceptions.h"
#include "ondrel/platform/system.h"

namespace DicomEngine {
namespace {

// The trace log's descriptions are formatted piece by piece into buffers of 64 bytes, and a longer
// piece is cut there.
__attribute__((format(printf, 1, 2))) std::string Format64(const char* format, ...) {
  char buffer[64];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return buffer;
}

// Codes whose explicit-VR length field is 2 reserved bytes and 4 bytes of length.
bool HasLongLengthField(const std::string& code) {
  return code == "OB" || code == "OW" || code == "SQ" || code == "UN" || code == "UT";
}

void WriteLengthField(BufferWriter& writer, bool explicitVR, bool longForm, std::uint32_t length) {
  if (!explicitVR) {
    writer.WriteULong(length);
  } else if (longForm) {
    writer.WriteUShort(0);
    writer.WriteULong(length);
  } else {
    writer.WriteUShort(static_cast<std::uint16_t>(length));
  }
}

void CheckPixelDataOutput(const ByteBlock* data) {
  if (data == nullptr) THROW_MY_EXCEPTION("The Pixel data buffer pointer is NULL.");
}

// The code under which each integer class writes its values.
template <typename T>
constexpr const char* OwnCode() {
  if constexpr (std::is_same_v<T, std::int32_t>) return "SL";
  if constexpr (std::is_same_v<T, std::uint32_t>) return "UL";
  if constexpr (std::is_same_v<T, std::int16_t>) return "SS";
  if constexpr (std::is_same_v<T, std::uint16_t>) return "US";
  return "";
}

// Number of values of `width` bytes read for a value of `length` bytes: a partial last value counts.
std::uint32_t ValueCount(std::uint32_t length, std::uint32_t width) {
  return length == 0 ? 0 : (length - 1) / width + 1;
}

template <typename Vr, typename ReadOne>
std::unique_ptr<VR> ReadNumbers(BufferReader& reader, const std::string& code, std::uint16_t group,
                                std::uint16_t element, std::uint32_t length, std::uint32_t width, ReadOne readOne) {
  const std::uint32_t count = ValueCount(length, width);
  std::vector<typename Vr::ValueType> values;
  // A length from a damaged file may promise far more values than the reader holds.
  values.reserve(std::min(count, reader.Remaining() / width + 1));
  for (std::uint32_t i = 0; i < count; ++i) values.push_back(static_cast<typename Vr::ValueType>(readOne()));
  return std::make_unique<Vr>(code, group, element, length, std::move(values));
}

}  // namespace

// ---------------------------------------------------------------------------------------------------
// VR

VR::VR(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length)
    : group_(group), element_(element), code_(std::move(code)), length_(length) {}

VR::~VR() = default;

std::string& VR::Print(std::string& out) const {
  out += Format64("(%04X, %04X) VR=%s Length=%u<=>0x%X", group_, element_, code_.c_str(), length_, length_);
  return out;
}

std::uint32_t VR::GetLength() const { return length_; }

void VR::Write(BufferWriter& writer) {
  writer.WriteUShort(group_);
  writer.WriteUShort(element_);
  const bool explicitVR = group_ != kItemGroup && writer.GetWriteSyntax(group_).vrKind != kImplicitVR;
  if (explicitVR) {
    char code[2] = {' ', ' '};
    code_.copy(code, sizeof code);
    writer.WriteBytes(code, sizeof code);
  }
  const bool longForm = HasLongLengthField(code_);
  const std::uint32_t fieldPosition = writer.Cursor();
  WriteLengthField(writer, explicitVR, longForm, length_);
  const std::uint32_t valueStart = writer.Cursor();
  WriteValue(writer);
  // Tested after the value: a text value settles an undefined length while writing.
  if (length_ == kUndefinedLength) return;
  const std::uint32_t valueEnd = writer.Cursor();
  const std::uint32_t written = valueEnd - valueStart;
  writer.MoveCursor(fieldPosition);
  WriteLengthField(writer, explicitVR, longForm, written);
  writer.MoveCursor(valueEnd);
  length_ = written;
}

PixelDataContainer::~PixelDataContainer() = default;

// ---------------------------------------------------------------------------------------------------
// Text

VRString::VRString(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
                   std::string text)
    : VR(std::move(code), group, element, length), text_(std::move(text)) {}

void VRString::SetValue(std::string text) {
  text_ = std::move(text);
  SetLength(static_cast<std::uint32_t>(text_.size()));
  EvenLength();
}

void VRString::EvenLength() {
  const std::uint32_t length = LengthField();
  if (length % 2 != 0 && length != kUndefinedLength) SetLength(length + 1);
}

std::string& VRString::Print(std::string& out) const {
  VR::Print(out);
  out += " Value=[";
  out += text_;
  out += "]";
  return out;
}

std::size_t VRString::PrepareWrite() {
  const std::size_t textLength = std::strlen(text_.c_str());
  if (LengthField() == kUndefinedLength) SetLength(static_cast<std::uint32_t>(textLength));
  EvenLength();
  return textLength;
}

void VRString::WriteValue(BufferWriter& writer) {
  const std::size_t textLength = PrepareWrite();
  const std::uint32_t length = LengthField();
  if (length == 0) return;
  // The text writes don't grow the block, and a short data set would not have the room.
  writer.MakeRoom(static_cast<std::uint32_t>(std::max<std::size_t>(textLength, length)));
  writer.WriteText(Value(), length, true);
}

void VRUniqueIdentifier::WriteValue(BufferWriter& writer) {
  const std::size_t textLength = PrepareWrite();
  const std::uint32_t length = LengthField();
  if (length == 0) return;
  writer.MakeRoom(static_cast<std::uint32_t>(std::max<std::size_t>(textLength, length)));
  writer.WriteUid(Value(), length, true);
}

// ---------------------------------------------------------------------------------------------------
// Binary

VRBinary::VRBinary(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
                   std::unique_ptr<std::uint8_t[]> data)
    : VR(std::move(code), group, element, length), data_(std::move(data)) {}

VRBinary::VRBinary(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
                   BufferReader::Slice bytes)
    : VR(std::move(code), group, element, length), deferred_(std::move(bytes)) {}

VRBinary::~VRBinary() = default;

const std::uint8_t* VRBinary::Data() const {
  if (deferred_) {
    auto block = std::make_unique_for_overwrite<std::uint8_t[]>(deferred_->Size());
    deferred_->CopyTo(block.get());
    data_ = std::move(block);
    deferred_.reset();
  }
  return data_.get();
}

std::string& VRBinary::Print(std::string& out) const {
  VR::Print(out);
  const std::uint32_t length = LengthField();
  out += Format64(" Value=BINARY Length=[%d<=>0x%x]", static_cast<int>(length), length);
  return out;
}

void VRBinary::WriteValue(BufferWriter& writer) { writer.WriteBytes(Data(), LengthField()); }

void VRBinary::GetPixelData(ByteBlock* data) const {
  CheckPixelDataOutput(data);
  if (!deferred_ && !data_) {
    *data = ByteBlock();
    return;
  }
  ByteBlock copy = ByteBlock::Uninitialised(LengthField());
  AdviseLargeBlock(copy.Data(), copy.Size());
  if (deferred_)
    deferred_->CopyTo(copy.Data());
  else
    std::memcpy(copy.Data(), data_.get(), copy.Size());
  *data = std::move(copy);
}

VRBinarySequenceItem::VRBinarySequenceItem(std::uint32_t length, std::unique_ptr<std::uint8_t[]> data)
    : VRBinary("", kItemGroup, kItemElement, length, std::move(data)) {}

VRBinarySequenceItem::VRBinarySequenceItem(std::uint32_t length, BufferReader::Slice bytes)
    : VRBinary("", kItemGroup, kItemElement, length, std::move(bytes)) {}

std::unique_ptr<VRBinary> ReadBinary(BufferReader& reader, const std::string& code, std::uint16_t group,
                                     std::uint16_t element, std::uint32_t length) {
  const bool fragment = group == kItemGroup && element == kItemElement && code.empty();
  if (length >= kDeferredBinaryLength) {
    BufferReader::Slice bytes = reader.TakeSlice(length);
    if (fragment) return std::make_unique<VRBinarySequenceItem>(length, std::move(bytes));
    return std::make_unique<VRBinary>(code, group, element, length, std::move(bytes));
  }
  ByteBlock block;
  reader.ReadBytes(&block, length);
  std::unique_ptr<std::uint8_t[]> data = std::move(block).Release();
  if (fragment) return std::make_unique<VRBinarySequenceItem>(length, std::move(data));
  return std::make_unique<VRBinary>(code, group, element, length, std::move(data));
}

// ---------------------------------------------------------------------------------------------------
// Numbers

template <typename T>
VRNumeric<T>::VRNumeric(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
                        T value)
    : VR(std::move(code), group, element, length), values_{value} {}

template <typename T>
VRNumeric<T>::VRNumeric(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
                        std::vector<T> values)
    : VR(std::move(code), group, element, length), values_(std::move(values)) {}

template <typename T>
std::string& VRNumeric<T>::Print(std::string& out) const {
  VR::Print(out);
  for (const T value : values_) {
    if constexpr (std::is_floating_point_v<T>) {
      out += Format64(" Value=[%f<=>0x%f]", value, value);
    } else {
      const int shown = static_cast<int>(value);
      out += Format64(" Value=[%d<=>0x%X]", shown, static_cast<unsigned>(shown));
    }
    if (values_.size() > 1) out += ";";
  }
  return out;
}

template <typename T>
void VRNumeric<T>::WriteValue(BufferWriter& writer) {
  if constexpr (std::is_floating_point_v<T>) {
    if (Code() == "FL") {
      for (const T value : values_) writer.WriteFloat(static_cast<float>(value), 4);
    } else if (Code() == "FD") {
      for (const T value : values_) writer.WriteDouble(value, 8);
    }
  } else {
    if (Code() != OwnCode<T>()) return;
    for (const T value : values_) {
      if constexpr (sizeof(T) == 4)
        writer.WriteULong(static_cast<std::uint32_t>(value));
      else
        writer.WriteUShort(static_cast<std::uint16_t>(value));
    }
  }
}

template class VRNumeric<std::int32_t>;
template class VRNumeric<std::uint32_t>;
template class VRNumeric<std::int16_t>;
template class VRNumeric<std::uint16_t>;
template class VRNumeric<double>;

// ---------------------------------------------------------------------------------------------------
// Attribute tags

VRAttributeTag::VRAttributeTag(std::string code, std::uint16_t group, std::uint16_t element, std::uint32_t length,
                               std::vector<Tag> tags)
    : VR(std::move(code), group, element, length), tags_(std::move(tags)) {}

std::string& VRAttributeTag::Print(std::string& out) const {
  VR::Print(out);
  for (const Tag& tag : tags_) out += Format64("Value=[(%x, %x)]\r\n", tag.first, tag.second);
  return out;
}

void VRAttributeTag::WriteValue(BufferWriter& writer) {
  for (const Tag& tag : tags_) {
    writer.WriteUShort(tag.first);
    writer.WriteUShort(tag.second);
  }
}

// ---------------------------------------------------------------------------------------------------
// Building parsed values

ValueKind ValueKindOf(std::string_view code) {
  static constexpr std::string_view kTextCodes[] = {"DA", "TM", "DT", "AE", "PN", "SH", "ST",
                                                    "LO", "LT", "CS", "AS", "IS", "DS"};
  if (std::find(std::begin(kTextCodes), std::end(kTextCodes), code) != std::end(kTextCodes)) return ValueKind::kText;
  if (code == "UI") return ValueKind::kUid;
  if (code == "AT") return ValueKind::kAttributeTag;
  if (code == "FL") return ValueKind::kFloat;
  if (code == "FD") return ValueKind::kDouble;
  if (code == "UL") return ValueKind::kUnsignedLong;
  if (code == "SL") return ValueKind::kSignedLong;
  if (code == "US") return ValueKind::kUnsignedShort;
  if (code == "SS") return ValueKind::kSignedShort;
  if (code.empty() || code == "UN" || code == "OT" || code == "OB" || code == "OW") return ValueKind::kBinary;
  if (code == "SQ") return ValueKind::kSequence;
  return ValueKind::kUnsupported;
}

std::unique_ptr<VR> ReadValue(BufferReader& reader, const std::string& code, std::uint16_t group,
                              std::uint16_t element, std::uint32_t length) {
  switch (ValueKindOf(code)) {
    case ValueKind::kText:
      return std::make_unique<VRString>(code, group, element, length, reader.ReadString(length));
    case ValueKind::kUid:
      return std::make_unique<VRUniqueIdentifier>(code, group, element, length, reader.ReadString(length));
    case ValueKind::kAttributeTag: {
      std::vector<VRAttributeTag::Tag> tags;
      if (length >= 4) {
        const std::uint32_t count = ValueCount(length, 4);
        tags.reserve(std::min(count, reader.Remaining() / 4 + 1));
        for (std::uint32_t i = 0; i < count; ++i) {
          const std::uint16_t tagGroup = reader.ReadUShort();
          tags.emplace_back(tagGroup, reader.ReadUShort());
        }
      }
      return std::make_unique<VRAttributeTag>(code, group, element, length, std::move(tags));
    }
    case ValueKind::kFloat:
      return ReadNumbers<DoubleVR>(reader, code, group, element, length, 4, [&] { return reader.ReadFloat(4); });
    case ValueKind::kDouble:
      return ReadNumbers<DoubleVR>(reader, code, group, element, length, 8, [&] { return reader.ReadDouble(8); });
    case ValueKind::kUnsignedLong:
      return ReadNumbers<UnsignedIntegerVR>(reader, code, group, element, length, 4,
                                            [&] { return reader.ReadULong(); });
    case ValueKind::kSignedLong:
      return ReadNumbers<IntegerVR>(reader, code, group, element, length, 4, [&] { return reader.ReadSLong(); });
    case ValueKind::kUnsignedShort:
      return ReadNumbers<UnsignedShortVR>(reader, code, group, element, length, 2,
                                          [&] { return reader.ReadUShort(); });
    case ValueKind::kSignedShort:
      return ReadNumbers<SignedShortVR>(reader, code, group, element, length, 2, [&] { return reader.ReadUShort(); });
    case ValueKind::kBinary:
      if (length == kUndefinedLength) return nullptr;
      return ReadBinary(reader, code, group, element, length);
    case ValueKind::kSequence:
    case ValueKind::kUnsupported:
      break;
  }
  return nullptr;
}

}  // namespace DicomEngine
