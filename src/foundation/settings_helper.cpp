#include "foundation/settings_helper.h"

#include "foundation/exceptions.h"
#include "foundation/file_utils.h"

SettingsHelper& SettingsHelper::Instance() {
  static SettingsHelper instance;
  return instance;
}

void SettingsHelper::Load(const std::string& fileName) {
  if (fileName.empty()) THROW_MY_EXCEPTION("The settings file name is NULL or empty.");
  const std::string path = HostRelativePath(fileName);
  if (!fileName_.empty()) {
    if (fileName_ == path) return;
    THROW_MY_EXCEPTION_F(1024,
                         "Already loaded the %s settings file.\r\nAttempt to load a  second different settings "
                         "file: %s.",
                         fileName_.c_str(), path.c_str());
  }
  fileName_ = path;
  // A file that can't be opened leaves the settings empty: every Get then fails.
  ReadTextLines(path, [this](const std::string& line) { ScanLine(line); });
}

std::string SettingsHelper::Get(const std::string& key) const {
  const auto found = values_.find(key);
  if (found == values_.end()) THROW_MY_EXCEPTION_F(256, "Cannot find the %s setting key.", key.c_str());
  return found->second;
}

// Each search starts where the one before it found its text, so pieces out of order are not found and
// the line is passed over; only the first entry of a line is read.
void SettingsHelper::ScanLine(const std::string& line) {
  constexpr auto npos = std::string::npos;
  if (line.empty()) return;
  const std::size_t add = line.find("<add");
  if (add == npos) return;
  const std::size_t keyMark = line.find("key=", add);
  if (keyMark == npos) return;
  const std::size_t keyQuote = line.find('"', keyMark);
  if (keyQuote == npos) return;
  const std::size_t keyStart = keyQuote + 1;
  const std::size_t keyEnd = line.find('"', keyStart);
  if (keyEnd == npos) return;
  const std::size_t valueMark = line.find("value=", keyStart);
  if (valueMark == npos) return;
  const std::size_t valueQuote = line.find('"', valueMark);
  if (valueQuote == npos) return;
  const std::size_t valueStart = valueQuote + 1;
  const std::size_t valueEnd = line.find('"', valueStart);
  if (valueEnd == npos) return;
  values_[line.substr(keyStart, keyEnd - keyStart)] = line.substr(valueStart, valueEnd - valueStart);
}
