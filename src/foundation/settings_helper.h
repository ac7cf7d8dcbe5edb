// SettingsHelper: the key and value pairs of a .config file, read from its `<add key="..." value="..."/>`
// lines. It scans lines, it does not parse XML: one entry per line is read, comments and sections are
// not recognised, nothing is unescaped, and a line that doesn't match is skipped without a word.
#pragma once

#include <map>
#include <string>

class SettingsHelper {
 public:
  // The process-wide settings, loaded at start-up from "ViewerUI.exe.config".
  static SettingsHelper& Instance();

  SettingsHelper() = default;

  // Reads the file once. A name without '/' is looked for beside the host executable. Loading the same
  // name again does nothing; a different name throws MyException ("Already loaded the %s settings
  // file..."); an empty name throws "The settings file name is NULL or empty.". A file that can't be
  // opened is not a failure: the settings stay empty and every Get fails.
  void Load(const std::string& fileName);
  // The value of a key; throws MyException "Cannot find the %s setting key." when it is missing.
  std::string Get(const std::string& key) const;
  // A value of the host's own for `key` that Get gives in place of the file's, whether the file is
  // loaded before or after: for a host that names the storage tree or the database on its command
  // line, and for tests. ClearOverride gives the file's value back.
  void Override(const std::string& key, const std::string& value) { overrides_[key] = value; }
  void ClearOverride(const std::string& key) { overrides_.erase(key); }
  // The name Load settled on, empty before the first Load.
  const std::string& LoadedFileName() const { return fileName_; }

 private:
  void ScanLine(const std::string& line);

  std::string fileName_;
  std::map<std::string, std::string> values_;
  std::map<std::string, std::string> overrides_;
};
