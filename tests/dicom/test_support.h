// Helpers of the DICOM engine's tests: byte streams written by hand from the encoding rules, the
// message of a thrown MyException, views of element values, data sets built in code, temporary files.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "dicom/dicom_dictionary.h"
#include "dicom/vr_container.h"
#include "foundation/exceptions.h"

namespace dicom_test {

// Little-endian bytes, appended piece by piece: Bytes().explicit_short(0x0010, 0x0010, "PN", 4).text("AB  ")
struct Bytes {
  std::vector<std::uint8_t> data;

  Bytes& then(const std::vector<std::uint8_t>& more) {
    data.insert(data.end(), more.begin(), more.end());
    return *this;
  }
  Bytes& then(const Bytes& more) { return then(more.data); }
  Bytes& raw(std::initializer_list<std::uint8_t> values) { return then(values); }
  Bytes& text(std::string_view value) { return then({value.begin(), value.end()}); }
  Bytes& zeros(std::size_t count) { return then(std::vector<std::uint8_t>(count)); }
  Bytes& u16(std::uint16_t value) { return raw({std::uint8_t(value), std::uint8_t(value >> 8)}); }
  Bytes& u32(std::uint32_t value) { return u16(value & 0xFFFF).u16(value >> 16); }
  // Explicit VR headers: a 2-byte length; 2 reserved bytes and a 4-byte length (OB OW SQ UN UT).
  Bytes& explicit_short(std::uint16_t g, std::uint16_t e, std::string_view vr, std::uint16_t length) {
    return u16(g).u16(e).text(vr).u16(length);
  }
  Bytes& explicit_long(std::uint16_t g, std::uint16_t e, std::string_view vr, std::uint32_t length) {
    return u16(g).u16(e).text(vr).u16(0).u32(length);
  }
  // Implicit VR header, and the item and delimiter headers of every syntax.
  Bytes& implicit(std::uint16_t g, std::uint16_t e, std::uint32_t length) { return u16(g).u16(e).u32(length); }
  Bytes& item(std::uint32_t length) { return implicit(0xFFFE, 0xE000, length); }
  Bytes& item_end() { return implicit(0xFFFE, 0xE00D, 0); }
  Bytes& seq_end() { return implicit(0xFFFE, 0xE0DD, 0); }
};

// The message of a MyException without the source location the throw appends; "(no failure)" if none.
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

inline std::unique_ptr<std::uint8_t[]> Block(std::initializer_list<std::uint8_t> bytes) {
  auto block = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), block.get());
  return block;
}

inline std::vector<std::uint8_t> BytesOf(const DicomEngine::VR* vr) {
  const auto* binary = dynamic_cast<const DicomEngine::VRBinary*>(vr);
  if (binary == nullptr || binary->Data() == nullptr) return {};
  return {binary->Data(), binary->Data() + binary->LengthField()};
}

inline std::string TextOf(const DicomEngine::VR* vr) {
  const auto* text = dynamic_cast<const DicomEngine::VRString*>(vr);
  return text != nullptr ? text->Value() : "(not text)";
}

// "(gggg, eeee) VR=CODE Length=N<=>0xN": the element's own description, without value or children.
inline std::string Described(const DicomEngine::VR* vr) {
  std::string text;
  return vr != nullptr ? vr->VR::Print(text) : "(no element)";
}

// The values of a numeric or AT element as doubles, AT pairs flattened; empty for other elements.
inline std::vector<double> NumbersOf(const DicomEngine::VR* vr) {
  using namespace DicomEngine;
  std::vector<double> values;
  const auto take = [&](const auto* numeric) {
    if (numeric != nullptr) values.assign(numeric->Values().begin(), numeric->Values().end());
  };
  take(dynamic_cast<const IntegerVR*>(vr));
  take(dynamic_cast<const UnsignedIntegerVR*>(vr));
  take(dynamic_cast<const SignedShortVR*>(vr));
  take(dynamic_cast<const UnsignedShortVR*>(vr));
  take(dynamic_cast<const DoubleVR*>(vr));
  if (const auto* tags = dynamic_cast<const VRAttributeTag*>(vr))
    for (const auto& [group, element] : tags->Tags()) values.insert(values.end(), {double(group), double(element)});
  return values;
}

// The pixel bytes that GetPixelData hands out; none for an empty block.
inline std::vector<std::uint8_t> PixelsOf(const DicomEngine::VRContainer& data) {
  ByteBlock pixels;
  data.GetPixelData(&pixels);
  return std::vector<std::uint8_t>(pixels.Span().begin(), pixels.Span().end());
}

// A text element, or a UID for the code "UI", of the text's own length.
inline std::unique_ptr<DicomEngine::VR> Text(const char* code, std::uint16_t group, std::uint16_t element,
                                             std::string text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  if (code == std::string_view("UI"))
    return std::make_unique<DicomEngine::VRUniqueIdentifier>(code, group, element, length, std::move(text));
  return std::make_unique<DicomEngine::VRString>(code, group, element, length, std::move(text));
}

// A container of the entries, closed by `delimiter` when its length is undefined.
template <typename Container, typename... Entries>
std::unique_ptr<Container> Filled(std::unique_ptr<Container> container, std::uint16_t delimiter, Entries... entries) {
  (container->Add(std::move(entries), false), ...);
  if (container->LengthField() == DicomEngine::kUndefinedLength)
    container->Add(std::make_unique<DicomEngine::VRSequenceItem>(delimiter, 0), false);
  return container;
}
template <typename... Elements>
std::unique_ptr<DicomEngine::VRSequenceItem> Item(std::uint32_t length, Elements... elements) {
  return Filled(std::make_unique<DicomEngine::VRSequenceItem>(DicomEngine::kItemElement, length),
                DicomEngine::kItemDelimiterElement, std::move(elements)...);
}
template <typename... Items>
std::unique_ptr<DicomEngine::VRSequence> Sequence(const char* code, std::uint16_t group, std::uint16_t element,
                                                  std::uint32_t length, Items... items) {
  return Filled(std::make_unique<DicomEngine::VRSequence>(code, group, element, length),
                DicomEngine::kSequenceDelimiterElement, std::move(items)...);
}

// The shipped dictionary in an instance of the tests' own, so that no process-wide state changes.
inline const DicomEngine::DicomDictionary& ShippedDictionary() {
  static const auto* const dictionary = [] {
    auto* loaded = new DicomEngine::DicomDictionary();
    loaded->Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
    return loaded;
  }();
  return *dictionary;
}

// A folder of its own (several build folders may test at once), removed at the end. Its path holds no
// dot, so that the file parser's ".dcm" rule applies.
class TempFolder {
 public:
  TempFolder() { std::filesystem::create_directories(path_); }
  ~TempFolder() { std::filesystem::remove_all(path_); }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string Path(const std::string& name) const { return (path_ / name).string(); }
  // Writes the file `name`, making the folders in it, and returns its path.
  std::string Write(const std::string& name, const Bytes& bytes) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data.data()), static_cast<std::streamsize>(bytes.data.size()));
    return Path(name);
  }

 private:
  std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("ondrel_dicom_" + std::to_string(std::random_device()()));
};

}  // namespace dicom_test
