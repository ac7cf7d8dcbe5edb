#include "dicom/dicom_dictionary.h"

#include "foundation/exceptions.h"
#include "foundation/file_utils.h"
#include "foundation/text_utils.h"
#include "foundation/trace.h"

namespace DicomEngine {
namespace {

// Hexadecimal as the dictionary has always read it: a character that is no hex letter counts as its
// code minus '0', so a wildcard such as "xx" yields a number instead of a failure.
std::uint16_t ReadHex(const std::string& text) {
  if (text.empty()) THROW_MY_EXCEPTION("Dictionary expects a numeric value.");
  unsigned value = 0;
  for (const char c : text) {
    int digit;
    if (c >= 'a' && c <= 'f')
      digit = c - 'a' + 10;
    else if (c >= 'A' && c <= 'F')
      digit = c - 'A' + 10;
    else
      digit = c - '0';
    value = (value * 16 + static_cast<unsigned>(digit)) % 65536;
  }
  return static_cast<std::uint16_t>(value);
}

void StoreField(DictionaryEntry& entry, std::string key, std::string value) {
  Trim(key);
  Trim(value);
  if (key == "VR")
    entry.VR = std::move(value);
  else if (key == "VM")
    entry.VM = std::move(value);
  else if (key == "Name")
    entry.Name = std::move(value);
  else if (key == "Owner")
    entry.Owner = std::move(value);
}

}  // namespace

DicomDictionary& DicomDictionary::Instance() {
  static DicomDictionary* const dictionary = new DicomDictionary();  // lives to the end of the process
  return *dictionary;
}

void DicomDictionary::Load(const std::string& fileName) {
  if (fileName.empty()) THROW_MY_EXCEPTION("The DICOM dictionary file name is NULL or empty.");
  const std::string name = HostRelativePath(fileName);
  if (!fileName_.empty()) {
    if (fileName_ == name) return;
    THROW_MY_EXCEPTION_F(1024,
                         "Already loaded the %s dictionary file.\r\nAttempt to load a  second different "
                         "DICOM compatibility file: %s.",
                         fileName_.c_str(), name.c_str());
  }
  fileName_ = name;

  // A file that can't be opened is no failure: the dictionary stays empty.
  ReadTextLines(name, [this](const std::string& line) { ParseLine(line); });
}

void DicomDictionary::ParseLine(const std::string& line) {
  if (line.empty() || line.compare(0, 3, "REM") == 0) return;

  const std::size_t close = line.find(')');
  const std::size_t comma = line.find(',');
  if (close == std::string::npos || line[0] != '(' || comma == std::string::npos || comma > close)
    THROW_MY_EXCEPTION("The dictionary group element section is not well formatted.");
  const std::uint16_t group = ReadHex(line.substr(1, comma - 1));
  const std::uint16_t element = ReadHex(line.substr(comma + 1, close - comma - 1));

  DictionaryEntry entry;
  std::size_t position = close + 1;
  while (true) {
    position = line.find_first_not_of(" \t", position);
    if (position == std::string::npos) break;
    const std::size_t open = line.find('"', position);
    if (open == std::string::npos) break;
    const std::size_t end = line.find('"', open + 1);
    if (end == std::string::npos) break;
    const std::string field = line.substr(position, end - position);
    const std::size_t equals = field.find('=');
    const std::size_t quote = open - position;
    StoreField(entry, field.substr(0, equals), field.substr(quote + 1));
    position = end + 1;
  }

  const std::uint32_t key = (static_cast<std::uint32_t>(group) << 16) | element;
  if (group < 7 || group % 2 == 0) {
    Add(standard_, key, std::move(entry));
    return;
  }
  if (entry.Owner.empty())
    THROW_MY_EXCEPTION_F(256, "The dictionary found a private tag (%4x, %4x) tag whithout owner.", group, element);
  EntryMap& owned = private_[entry.Owner];
  Add(owned, key, std::move(entry));
}

void DicomDictionary::Add(EntryMap& map, std::uint32_t key, DictionaryEntry entry) {
  if (!map.emplace(key, std::move(entry)).second)
    THROW_MY_EXCEPTION("The standard DICOM dictionary file contains a duplicated group-element paire.");
}

std::string DicomDictionary::GetVR(std::uint16_t group, std::uint16_t element) const {
  const std::uint32_t key = (static_cast<std::uint32_t>(group) << 16) | element;
  if (const auto found = standard_.find(key); found != standard_.end()) return found->second.VR;
  if (element == 0) return "UL";
  Trace::Instance().WriteFormatted(
      2, "The standard DICOM dictionary does not contain the 0x%04X group and 0x%04X element.", group, element);
  return "UN";
}

std::string DicomDictionary::GetPrivateVR(std::uint16_t, std::uint16_t, const std::string&) const { return "UN"; }

void DicomDictionary::Clear() {
  standard_.clear();
  private_.clear();
}

std::size_t DicomDictionary::PrivateEntryCount() const {
  std::size_t count = 0;
  for (const auto& [owner, entries] : private_) count += entries.size();
  return count;
}

}  // namespace DicomEngine
