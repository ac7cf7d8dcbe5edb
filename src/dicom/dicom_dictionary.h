// The DICOM data dictionary: the value representation of each tag, for data sets encoded with implicit
// VR, where the file does not say it.
//
// Loaded once at start-up from "dicom_dictionary.txt", a text file of lines such as
//   (0010,0010)	VR="PN"	VM="1"	Name="Patient's Name"
// with "REM" comment lines; a tag of an odd group from 0007 up is private and names its Owner.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace DicomEngine {

struct DictionaryEntry {
  std::string VR;
  std::string VM;
  std::string Name;
  std::string Owner;
};

class DicomDictionary {
 public:
  // Entries by tag, (group << 16) | element.
  using EntryMap = std::map<std::uint32_t, DictionaryEntry>;

  // The process-wide dictionary.
  static DicomDictionary& Instance();

  DicomDictionary() = default;

  // Reads the file once. A name without '/' is looked for beside the host executable. Loading the same
  // name again does nothing; a different name throws MyException. An empty name, a malformed tag, a
  // private tag without owner and a tag listed twice throw MyException; the entries read before a
  // failure stay, and the name stays loaded. A file that can't be opened is no failure: the dictionary
  // stays empty and every tag then reads as "UN" (element 0 as "UL").
  void Load(const std::string& fileName);
  // The VR text of a standard tag as the file gives it ("US or SS" included); "UL" for an unknown
  // group length (element 0); "UN", with a trace line at level 2, for any other unknown tag.
  std::string GetVR(std::uint16_t group, std::uint16_t element) const;
  // Always "UN": private entries are read and validated, but values of private tags are kept raw.
  std::string GetPrivateVR(std::uint16_t group, std::uint16_t element, const std::string& owner) const;
  // Empties both maps; the loaded name stays.
  void Clear();

  const std::string& LoadedFileName() const { return fileName_; }
  std::size_t StandardEntryCount() const { return standard_.size(); }
  std::size_t PrivateEntryCount() const;
  // Every standard entry: its VR, VM and Name (the attribute's keyword, "RETIRED_" before a retired one).
  const EntryMap& StandardEntries() const { return standard_; }

 private:
  void ParseLine(const std::string& line);
  static void Add(EntryMap& map, std::uint32_t key, DictionaryEntry entry);

  EntryMap standard_;
  std::map<std::string, EntryMap> private_;
  std::string fileName_;
};

}  // namespace DicomEngine
