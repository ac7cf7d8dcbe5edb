// Helpers shared by the DICOM engine's unit tests: a builder for expected and malformed byte streams,
// written by hand from the DICOM encoding rules, and the message of a thrown MyException.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/exceptions.h"

namespace dicom_test {

// Little-endian bytes, appended piece by piece:
//   Bytes().explicit_short(0x0010, 0x0010, "PN", 4).text("AB  ")
class Bytes {
 public:
  Bytes& u8(std::uint8_t value) {
    data_.push_back(value);
    return *this;
  }
  Bytes& u16(std::uint16_t value) { return u8(value & 0xFF).u8(value >> 8); }
  Bytes& u32(std::uint32_t value) { return u16(value & 0xFFFF).u16(value >> 16); }
  Bytes& raw(std::initializer_list<std::uint8_t> values) {
    data_.insert(data_.end(), values);
    return *this;
  }
  Bytes& text(std::string_view value) {
    data_.insert(data_.end(), value.begin(), value.end());
    return *this;
  }
  Bytes& zeros(std::size_t count) {
    data_.insert(data_.end(), count, 0);
    return *this;
  }

  // Explicit VR element header with a 2-byte length (most codes).
  Bytes& explicit_short(std::uint16_t group, std::uint16_t element, std::string_view vr, std::uint16_t length) {
    return u16(group).u16(element).text(vr).u16(length);
  }
  // Explicit VR element header with 2 reserved bytes and a 4-byte length (OB, OW, SQ, UN, UT).
  Bytes& explicit_long(std::uint16_t group, std::uint16_t element, std::string_view vr, std::uint32_t length) {
    return u16(group).u16(element).text(vr).u16(0).u32(length);
  }
  // Implicit VR element header, and the item and delimiter headers of any syntax.
  Bytes& implicit(std::uint16_t group, std::uint16_t element, std::uint32_t length) {
    return u16(group).u16(element).u32(length);
  }
  Bytes& item(std::uint32_t length) { return implicit(0xFFFE, 0xE000, length); }
  Bytes& item_end() { return implicit(0xFFFE, 0xE00D, 0); }
  Bytes& seq_end() { return implicit(0xFFFE, 0xE0DD, 0); }

  const std::vector<std::uint8_t>& data() const { return data_; }
  std::vector<std::uint8_t>& data() { return data_; }

 private:
  std::vector<std::uint8_t> data_;
};

// The message of a MyException up to the source location that the throw idiom appends; "(no failure)"
// when the call returns.
template <typename Call>
std::string FailureOf(Call call) {
  try {
    call();
  } catch (const MyException& failure) {
    const std::string text = failure.what();
    return text.substr(0, text.rfind(" File="));
  }
  return "(no failure)";
}

}  // namespace dicom_test
