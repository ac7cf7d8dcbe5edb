// Helpers of the configuration tests: a temporary configuration file that the objects made while it
// lives read in place of the one beside the test binary, and the workstation classes registered for a
// test's length.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "ondrel/workstation.h"
#include "ondrel/workstation_config.h"

namespace configuration_test {

enum class Reader { UserPreferences, GlobalConfiguration };

inline void Redirect(Reader reader, std::u16string_view path) {
  if (reader == Reader::UserPreferences)
    SetUserPreferencesFile(path);
  else
    SetGlobalConfigurationFile(path);
}

// Has `reader` read the file at `path`; afterwards the default file again.
class Redirection {
 public:
  Redirection(Reader reader, const std::filesystem::path& path) : reader_(reader) {
    Redirect(reader_, path.u16string());
  }
  ~Redirection() { Redirect(reader_, u""); }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  Reader reader_;
};

// Writes `bytes` to a file of its own and has `reader` read it; afterwards the default file again.
class ConfigFile {
 public:
  ConfigFile(Reader reader, const std::string& bytes) : redirection_(reader, Written(bytes)) {}
  ~ConfigFile() { std::filesystem::remove(path_); }
  ConfigFile(const ConfigFile&) = delete;
  ConfigFile& operator=(const ConfigFile&) = delete;
  const std::filesystem::path& Path() const { return path_; }

 private:
  const std::filesystem::path& Written(const std::string& bytes) {
    std::ofstream(path_, std::ios::binary) << bytes;
    return path_;
  }

  // Declared first: the file is written before the redirection points at it.
  std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("ondrel_config_" + std::to_string(std::random_device()()));
  Redirection redirection_;
};

struct WorkstationClasses {
  WorkstationClasses() { RegisterWorkstationClasses(); }
  ~WorkstationClasses() { UnregisterWorkstationClasses(); }
  WorkstationClasses(const WorkstationClasses&) = delete;
  WorkstationClasses& operator=(const WorkstationClasses&) = delete;
};

}  // namespace configuration_test
