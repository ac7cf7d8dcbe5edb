#include "dump_command.h"

#include <iostream>
#include <string>
#include <vector>

#include "command_table.h"
#include "data_set_text.h"
#include "failure_text.h"
#include "host_setup.h"
#include "dicom/vr_container.h"

namespace ondrel::cli {

namespace {

// Dumps one file; false when it failed, the failure having gone to standard error after the elements
// read before it.
bool DumpFile(std::string_view name, bool upToPixels) {
  DicomEngine::DicomData data(false);
  try {
    ParseFile(std::string(name), data, upToPixels);
    PrintDataSet(data, std::cout);
    return true;
  } catch (const Failure& failure) {
    PrintDataSet(data, std::cout);
    std::cout.flush();
    Report(failure);
    return false;
  }
}

}  // namespace

int RunDump(std::span<const std::string_view> args) {
  bool upToPixels = false;
  std::vector<std::string_view> files;
  for (const std::string_view arg : args) {
    if (arg == "--up-to-pixels")
      upToPixels = true;
    else if (arg.starts_with("-"))
      throw UsageError{"unknown option '" + std::string(arg) + "'"};
    else
      files.push_back(arg);
  }
  if (files.empty()) throw UsageError{"dump needs at least one FILE"};

  LoadDictionary();

  bool allDumped = true;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files.size() > 1) std::cout << (i > 0 ? "\n" : "") << "==> " << files[i] << " <==\n";
    if (!DumpFile(files[i], upToPixels)) allDumped = false;
  }
  return allDumped ? kExitSuccess : kExitFailure;
}

}  // namespace ondrel::cli
