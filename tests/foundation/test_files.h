// Helpers of the foundation tests (which use std::filesystem and file streams through it): a temporary
// folder, whole-file reads, the host's folder and the message of a thrown MyException.
#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>

#include "foundation/exceptions.h"

namespace foundation_test {

// A name no other test process picks at the same time.
inline std::string UniqueName(const std::string& stem) { return stem + std::to_string(std::random_device()()); }

// A folder of its own under the system's temporary folder, removed with everything in it.
struct TempFolder {
  TempFolder() { std::filesystem::create_directories(path); }
  ~TempFolder() { std::filesystem::remove_all(path); }
  std::filesystem::path operator/(const std::string& name) const { return path / name; }
  const std::filesystem::path path = std::filesystem::temp_directory_path() / UniqueName("ondrel_foundation_");
};

inline std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The folder of the test binary, found without the code under test.
inline std::filesystem::path HostFolder() { return std::filesystem::read_symlink("/proc/self/exe").parent_path(); }

// The message of the MyException that `action` throws.
inline std::string WhatOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const MyException& e) {
    return e.what();
  }
  return "(nothing was thrown)";
}

}  // namespace foundation_test
