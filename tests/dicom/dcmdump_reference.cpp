#include "dicom/dcmdump_reference.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <ios>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace dicom_test {
namespace {

bool IsBinaryVR(std::string_view vr) {
  return vr == "OB" || vr == "OW" || vr == "UN" || vr == "??" || vr == "ox" || vr == "pi";
}

std::string_view TrimRight(std::string_view text) {
  const std::size_t end = text.find_last_not_of(' ');
  return end == std::string_view::npos ? std::string_view() : text.substr(0, end + 1);
}

// Parses all of `text` as an unsigned number; false if anything is left over or it overflows.
template <typename Number>
bool ParseNumber(std::string_view text, int base, Number& number) {
  if (text.empty()) {
    return false;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

// Undoes dcmdump's +Qn quoting: "&#N;", "&#xH;" and the five XML entities stand for one byte each.
bool DecodeCharacterReferences(std::string_view quoted, std::string& text) {
  text.clear();
  for (std::size_t at = 0; at < quoted.size(); ++at) {
    if (quoted[at] != '&') {
      text += quoted[at];
      continue;
    }
    const std::size_t end = quoted.find(';', at);
    if (end == std::string_view::npos) {
      return false;
    }
    const std::string_view entity = quoted.substr(at + 1, end - at - 1);
    unsigned code = 0;
    if (entity == "amp") {
      code = '&';
    } else if (entity == "lt") {
      code = '<';
    } else if (entity == "gt") {
      code = '>';
    } else if (entity == "quot") {
      code = '"';
    } else if (entity == "apos") {
      code = '\'';
    } else if (entity.starts_with("#x")) {
      if (!ParseNumber(entity.substr(2), 16, code)) {
        return false;
      }
    } else if (entity.starts_with('#')) {
      if (!ParseNumber(entity.substr(1), 10, code)) {
        return false;
      }
    } else {
      return false;
    }
    if (code > 0xFF) {
      return false;
    }
    text += static_cast<char>(code);
    at = end;
  }
  return true;
}

// Reads the part of a line after the VR: the value as printed, then "# length, multiplicity name".
// Returns an empty string on success, or what is wrong.
std::string ParseValueAndComment(std::string_view rest, DcmdumpRecord& record) {
  // Element names hold no "#", so the last one opens the comment even if the value holds some.
  const std::size_t hash = rest.rfind('#');
  if (hash == std::string_view::npos) {
    return "no \"# length, multiplicity name\" comment";
  }
  std::string_view comment = rest.substr(hash + 1);
  comment.remove_prefix(std::min(comment.find_first_not_of(' '), comment.size()));
  const std::size_t comma = comment.find(',');
  if (comma == std::string_view::npos) {
    return "no length in the comment";
  }
  const std::string_view length = comment.substr(0, comma);
  if (length == "u/l") {
    record.length = kUndefinedLength;
  } else if (!ParseNumber(length, 10, record.length)) {
    return "bad length in the comment";
  }
  // The multiplicity is right-aligned in two columns: "#  24, 3 ImageType", "# 100,15 ContourData".
  comment.remove_prefix(comma + 1);
  comment.remove_prefix(std::min(comment.find_first_not_of(' '), comment.size()));
  const std::size_t blank = comment.find(' ');
  if (!ParseNumber(comment.substr(0, blank), 10, record.multiplicity)) {
    return "bad multiplicity in the comment";
  }
  record.name = blank == std::string_view::npos ? "" : std::string(TrimRight(comment.substr(blank + 1)));

  const std::string_view value = TrimRight(rest.substr(0, hash));
  if (value.empty()) {
    return "no value";
  }
  record.binary = IsBinaryVR(record.vr);
  if (value == "(no value available)") {
    return "";
  }
  if (value == "(not loaded)") {
    return "value not loaded: the listing was made without +M";
  }
  if (value.front() == '[') {
    if (value.size() < 2 || value.back() != ']') {
      return "text value without its closing \"]\"";
    }
    if (!DecodeCharacterReferences(value.substr(1, value.size() - 2), record.value)) {
      return "bad character reference in the text value";
    }
    return "";
  }
  const bool description = value.front() == '"' || (value.front() == '(' && record.vr != "AT");
  if (description) {
    record.binary = false;
    const bool enclosed = value.size() >= 2 && ((value.front() == '(' && value.back() == ')') ||
                                                (value.front() == '"' && value.back() == '"'));
    record.value = enclosed ? value.substr(1, value.size() - 2) : value;
    // dcmdump shortens the sequence delimiter's note to "for re-encod." to fit its column.
    record.synthetic = record.value.find("for re-encod") != std::string::npos;
    return "";
  }
  record.value = value;
  return "";
}

DcmdumpRecord ParseLine(std::string_view line, std::size_t line_number) {
  DcmdumpRecord record;
  const std::size_t indent = line.find_first_not_of(' ');
  std::string_view rest = line.substr(indent);
  std::string problem;
  if (indent % 2 != 0) {
    problem = "odd indentation";
  } else if (rest.size() < 12 || rest[0] != '(' || rest[5] != ',' || rest[10] != ')' ||
             rest[11] != ' ' || !ParseNumber(rest.substr(1, 4), 16, record.group) ||
             !ParseNumber(rest.substr(6, 4), 16, record.element)) {
    problem = "no \"(gggg,eeee) \" tag";
  } else {
    record.depth = static_cast<int>(indent / 2);
    rest.remove_prefix(12);
    const std::size_t blank = rest.find(' ');
    if (blank == 0 || blank == std::string_view::npos) {
      problem = "no VR";
    } else {
      record.vr = rest.substr(0, blank);
      problem = ParseValueAndComment(rest.substr(blank + 1), record);
    }
  }
  if (!problem.empty()) {
    throw std::runtime_error("dcmdump listing, line " + std::to_string(line_number) + ": " + problem +
                             ": " + std::string(line));
  }
  return record;
}

}  // namespace

std::vector<DcmdumpRecord> ParseDcmdump(std::string_view listing) {
  std::vector<DcmdumpRecord> records;
  std::size_t line_number = 0;
  while (!listing.empty()) {
    const std::size_t newline = listing.find('\n');
    std::string_view line = listing.substr(0, newline);
    listing.remove_prefix(newline == std::string_view::npos ? listing.size() : newline + 1);
    ++line_number;
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    const std::size_t first = line.find_first_not_of(' ');
    if (first == std::string_view::npos || line[first] == '#') {
      continue;
    }
    records.push_back(ParseLine(line, line_number));
  }
  return records;
}

std::string DicomTestFilePath(std::string_view file_name) {
  return std::string(ONDREL_TEST_DATA_DIR "/dicom/") + std::string(file_name);
}

std::vector<DcmdumpRecord> LoadDcmdumpReference(std::string_view file_name) {
  const std::string path = DicomTestFilePath(std::string(file_name) + ".dcmdump.txt");
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot open " + path);
  }
  std::ostringstream listing;
  listing << in.rdbuf();
  try {
    return ParseDcmdump(listing.str());
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(path + ": " + failure.what());
  }
}

std::vector<std::uint8_t> BinaryBytes(const DcmdumpRecord& record) {
  if (!record.binary) {
    throw std::invalid_argument("not a binary value: VR " + record.vr);
  }
  std::vector<std::uint8_t> bytes;
  std::string_view rest = record.value;
  while (!rest.empty()) {
    const std::size_t separator = rest.find('\\');
    const std::string_view word = rest.substr(0, separator);
    rest.remove_prefix(separator == std::string_view::npos ? rest.size() : separator + 1);
    std::uint32_t number = 0;
    if ((word.size() != 2 && word.size() != 4 && word.size() != 8) || !ParseNumber(word, 16, number)) {
      throw std::invalid_argument("bad hexadecimal word \"" + std::string(word) + "\"");
    }
    // dcmdump prints each word as a number; the file holds it least significant byte first.
    for (std::size_t byte = 0; byte < word.size() / 2; ++byte) {
      bytes.push_back(static_cast<std::uint8_t>(number >> (8 * byte)));
    }
  }
  return bytes;
}

void PrintTo(const DcmdumpRecord& record, std::ostream* out) {
  constexpr std::size_t kShownValue = 60;
  std::ostringstream tag;
  tag << std::hex << std::uppercase;
  tag.fill('0');
  tag.width(4);
  tag << record.group << ',';
  tag.width(4);
  tag << record.element;
  *out << std::string(2 * static_cast<std::size_t>(record.depth), ' ') << '(' << tag.str() << ") "
       << record.vr << " length=";
  if (record.length == kUndefinedLength) {
    *out << "u/l";
  } else {
    *out << record.length;
  }
  *out << " value=[" << record.value.substr(0, kShownValue)
       << (record.value.size() > kShownValue ? "...]" : "]");
  if (record.synthetic) {
    *out << " (not in the file)";
  }
}

}  // namespace dicom_test
