// Helpers shared by the foundation tests: a temporary folder, whole-file reads, the host's folder and
// the message of a thrown MyException.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>

#include "foundation/exceptions.h"

namespace foundation_test {

namespace fs = std::filesystem;

// A name no other test process picks at the same time.
inline std::string UniqueName(const std::string& stem) {
  std::random_device random;
  return stem + std::to_string(random()) + std::to_string(random());
}

// A folder of its own under the system's temporary folder, removed with everything in it.
class TempFolder {
 public:
  TempFolder() : path_(fs::temp_directory_path() / UniqueName("ondrel_foundation_")) {
    fs::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  fs::path operator/(const std::string& name) const { return path_ / name; }

 private:
  fs::path path_;
};

inline std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

// The folder of the test binary, found without the code under test.
inline fs::path HostFolder() { return fs::read_symlink("/proc/self/exe").parent_path(); }

// The message of the MyException that `action` throws.
inline std::string WhatOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const MyException& e) {
    return e.what();
  }
  ADD_FAILURE() << "nothing was thrown";
  return std::string();
}

}  // namespace foundation_test
