// Reads what DCMTK's dcmdump prints with -dc -Un +L +M +Qn (the references of tests/data/dicom, made by
// scripts/make_dicom_references, and listings of the files the writer makes), and checks that the
// engine parsed the same elements, nesting and values. Lines look like:
//   (0028,0030) DS [0.3125\0.3125 ]                         #  14, 2 PixelSpacing
//   (0008,1115) SQ (Sequence with undefined length #=1)     # u/l, 1 ReferencedSeriesSequence
//     (fffe,e000) na (Item with undefined length #=1)         # u/l, 1 Item
// Where the engine answers otherwise by design, a named rule below says how.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "test_support.h"

namespace dicom_test {

struct DcmdumpRecord {
  std::string line;  // as printed, for failure messages
  // Indentation / 2: a sequence's items, item delimiters and fragments stand one deeper than the
  // sequence, the items' elements two deeper, its sequence delimiter beside it.
  int depth = 0;
  unsigned group = 0, element = 0;
  std::string vr;            // dcmdump's labels too: "na" items, "pi" fragments, "up" offsets, "??"
  std::uint32_t length = 0;  // 0xFFFFFFFF for "u/l"
  bool text = false;         // the value was printed in [ ]
  std::string value;         // text with its character references decoded; else as printed
  bool synthetic = false;    // a delimiter dcmdump adds "for re-encoding": not in the file
};

// "&#0;", "&#xF6;" and the XML entities stand for one byte each.
inline std::string DecodeReferences(const std::string& quoted) {
  static const std::map<std::string, char> kNamed = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  std::string text;
  for (std::size_t at = 0; at < quoted.size(); ++at) {
    const std::size_t end = quoted.find(';', at);
    if (quoted[at] != '&' || end == std::string::npos) {
      text += quoted[at];
      continue;
    }
    const std::string entity = quoted.substr(at + 1, end - at - 1);
    const bool hex = entity.starts_with("#x");
    const std::string number = entity.substr(hex ? 2 : 1);
    const unsigned long code = kNamed.contains(entity)     ? kNamed.at(entity)
                               : entity.starts_with('#') ? std::stoul(number, nullptr, hex ? 16 : 10)
                                                         : 256;
    if (code > 255) throw std::runtime_error("bad character reference in " + quoted);
    text += static_cast<char>(code);
    at = end;
  }
  return text;
}

// Throws std::runtime_error for a line that is neither blank, nor a comment, nor an element.
inline std::vector<DcmdumpRecord> ParseDcmdump(const std::string& listing) {
  std::vector<DcmdumpRecord> records;
  std::istringstream lines(listing);
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    const std::size_t indent = line.find_first_not_of(' ');
    if (indent == std::string::npos || line[indent] == '#') continue;
    DcmdumpRecord r;
    char vr[3] = {}, length[8] = {};
    int valueAt = 0;
    const std::size_t hash = line.rfind('#');  // names hold no '#'; descriptions may
    if (indent % 2 != 0 || hash == std::string::npos ||
        std::sscanf(line.c_str() + indent, "(%4x,%4x) %2c %n", &r.group, &r.element, vr, &valueAt) != 3 ||
        std::sscanf(line.c_str() + hash, "# %7[^,],", length) != 1 ||  // "#  40,10 EnergyOffset"
        (std::strcmp(length, "u/l") != 0 && std::strspn(length, "0123456789") != std::strlen(length)))
      throw std::runtime_error("not a dcmdump element line: " + line);
    std::string value = line.substr(indent + valueAt, hash - indent - valueAt);
    value.erase(value.find_last_not_of(' ') + 1);
    r.line = line;
    r.depth = static_cast<int>(indent / 2);
    r.vr = vr;
    r.length = std::strcmp(length, "u/l") == 0 ? 0xFFFFFFFF : static_cast<std::uint32_t>(std::stoul(length));
    r.text = value.size() >= 2 && value.front() == '[' && value.back() == ']';
    if (r.text) r.value = DecodeReferences(value.substr(1, value.size() - 2));
    if (!r.text && value != "(no value available)") r.value = value;
    r.synthetic = value.find("for re-encod") != std::string::npos;
    records.push_back(std::move(r));
  }
  return records;
}

inline std::string DicomTestFilePath(const std::string& name) { return ONDREL_TEST_DATA_DIR "/dicom/" + name; }

// The reference of a test file: "CT_small.dcm" reads tests/data/dicom/CT_small.dcm.dcmdump.txt.
inline std::vector<DcmdumpRecord> LoadDcmdumpReference(const std::string& name) {
  std::ostringstream listing;
  listing << std::ifstream(DicomTestFilePath(name + ".dcmdump.txt"), std::ios::binary).rdbuf();
  return ParseDcmdump(listing.str());
}

// A hexadecimal dump ("ff\d8" of bytes, "0389\03fb" of OW words) as the bytes the file stores.
inline std::vector<std::uint8_t> DumpBytes(const std::string& dump) {
  std::vector<std::uint8_t> bytes;
  std::istringstream words(dump);
  for (std::string word; std::getline(words, word, '\\');) {
    if (word.size() != 2 && word.size() != 4 && word.size() != 8) throw std::runtime_error("bad dump " + dump);
    const unsigned long number = std::stoul(word, nullptr, 16);
    for (std::size_t byte = 0; byte < word.size() / 2; ++byte) bytes.push_back(std::uint8_t(number >> (8 * byte)));
  }
  return bytes;
}

// ---------------------------------------------------------------------------------------------------
// The engine against a listing.

struct EngineRecord {
  int depth;
  const DicomEngine::VR* vr;
};

// Rule: the engine keeps an item delimiter as the last element of its item and a sequence delimiter as
// the last entry of the sequence; dcmdump shows each beside what it closes.
inline std::vector<EngineRecord> Flatten(const DicomEngine::VRContainer& container, int depth = 0) {
  std::vector<EngineRecord> out;
  for (const auto& vr : container.Elements()) {
    const bool delimiter = vr->Group() == 0xFFFE && vr->Element() != DicomEngine::kItemElement;
    out.push_back({delimiter ? depth - 1 : depth, vr.get()});
    if (const auto* children = dynamic_cast<const DicomEngine::VRContainer*>(vr.get()))
      for (const EngineRecord& child : Flatten(*children, depth + 1)) out.push_back(child);
  }
  return out;
}

// The code the engine gives an element that dcmdump shows as `r`.
inline std::string ExpectedCode(const DcmdumpRecord& r, bool implicitVR) {
  // Rule: items, delimiters and fragments carry no code; "up" is a directory offset stored as UL.
  if (r.vr == "na" || r.vr == "pi") return "";
  if (r.vr == "up") return "UL";
  if (!implicitVR || r.group == 0xFFFE) return r.vr;
  // Rule: every private element of implicit VR data is UN, its group length UL.
  if (r.group % 2 == 1 && r.group >= 7) return r.element == 0 ? "UL" : "UN";
  // Rule: the dictionary's "OW/OB" settles to OB and "US or SS" to US, where dcmdump chooses otherwise.
  const std::string dictionaryVR = ShippedDictionary().GetVR(r.group, r.element);
  return dictionaryVR == "OW/OB" ? "OB" : dictionaryVR == "US or SS" ? "US" : r.vr;
}

// dcmdump's numbers as the engine holds them.
inline std::vector<double> ExpectedNumbers(const DcmdumpRecord& r, const std::string& code) {
  std::vector<double> numbers;
  std::istringstream values(r.value);
  for (std::string v; std::getline(values, v, '\\');) {
    unsigned group = 0, element = 0;
    if (code == "AT" && std::sscanf(v.c_str(), "(%4x,%4x)", &group, &element) == 2) {
      numbers.insert(numbers.end(), {double(group), double(element)});
    } else if (code == "FL" || code == "FD") {
      // Printed with 9 and 17 digits: the stored number comes back.
      numbers.push_back(code == "FL" ? std::strtof(v.c_str(), nullptr) : std::strtod(v.c_str(), nullptr));
    } else {
      // Rule: an SL value keeps its low 16 bits, zero-extended; a US read where dcmdump reads SS is the
      // same two bytes, unsigned.
      const long long n = std::stoll(v);
      numbers.push_back(code == "SL" || (code == "US" && r.vr == "SS") ? double(n & 0xFFFF) : double(n));
    }
  }
  return numbers;
}

// The engine's elements (Flatten) hold, one by one and in order, what `listing` shows. `implicitDataSet`:
// the data set after the meta header is implicit VR, so codes come from the dictionaries.
inline void ExpectMatchesDcmdump(const std::vector<EngineRecord>& engine, std::vector<DcmdumpRecord> listing,
                                 bool implicitDataSet) {
  // Rule: the delimiters that dcmdump adds are in neither the file nor the engine.
  std::erase_if(listing, [](const DcmdumpRecord& r) { return r.synthetic; });
  ASSERT_EQ(engine.size(), listing.size());
  for (std::size_t i = 0; i < engine.size(); ++i) {
    const DicomEngine::VR& vr = *engine[i].vr;
    const DcmdumpRecord& r = listing[i];
    SCOPED_TRACE("element " + std::to_string(i) + "\ndcmdump: " + r.line + "\nengine:  " + Described(&vr));
    ASSERT_TRUE(vr.Group() == r.group && vr.Element() == r.element && engine[i].depth == r.depth);
    EXPECT_EQ(vr.Code(), ExpectedCode(r, implicitDataSet && r.group > 2));
    EXPECT_EQ(vr.LengthField(), r.length);
    if (dynamic_cast<const DicomEngine::VRContainer*>(&vr) != nullptr) continue;  // its children are compared
    if (dynamic_cast<const DicomEngine::VRString*>(&vr) != nullptr)
      // Rule: the engine's text ends at the first NUL, so a UID loses its padding NUL.
      EXPECT_EQ(TextOf(&vr), r.value.substr(0, std::strlen(r.value.c_str())));
    else if (dynamic_cast<const DicomEngine::VRBinary*>(&vr) != nullptr)
      EXPECT_EQ(BytesOf(&vr), r.text ? std::vector<std::uint8_t>(r.value.begin(), r.value.end()) : DumpBytes(r.value));
    else
      EXPECT_EQ(NumbersOf(&vr), ExpectedNumbers(r, vr.Code()));
  }
}

}  // namespace dicom_test
