#include "foundation/settings_helper.h"

#include "foundation/config_entries.h"
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
  if (const auto overridden = overrides_.find(key); overridden != overrides_.end()) return overridden->second;
  const auto found = values_.find(key);
  if (found == values_.end()) THROW_MY_EXCEPTION_F(256, "Cannot find the %s setting key.", key.c_str());
  return found->second;
}

void SettingsHelper::ScanLine(const std::string& line) {
  if (const auto entry = ScanAddEntry(std::string_view(line))) values_[std::string(entry->first)] = entry->second;
}
