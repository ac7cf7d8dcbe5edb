#include "store_command.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "command_table.h"
#include "console_text.h"
#include "dicom/file_parser.h"
#include "failure_text.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "host_setup.h"
#include "ondrel/platform/system.h"
#include "ondrel/study_builder.h"
#include "output_file.h"
#include "storage/dicom_to_sql.h"
#include "storage/disk_storage.h"
#include "stored_images.h"

namespace ondrel::cli {
namespace {

// How far a long run has come, on one line of a terminal; nothing elsewhere.
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total), shown_(IsTerminal(stderr)) {}
  ~Progress() {
    if (shown_) std::fprintf(stderr, "\r%*s\r", 40, "");
  }
  void Step(std::size_t done) const {
    if (shown_) std::fprintf(stderr, "\rstoring %zu of %zu files", done, total_);
  }

 private:
  std::size_t total_;
  bool shown_;
};

// The file in the storage tree: recorded first, at the place the store chooses, then copied there.
void StoreCopy(const DicomEngine::DicomData& data, const std::string& file, const std::string& root) {
  std::string path;
  DicomToSQL::StoreFromDicomData(data, root, path, true);
  FolderGenerator::CreateFolders(root, path);
  const std::string target = NarrowToConsole(path);
  OutputFile output(target);
  std::error_code error;
  std::filesystem::copy_file(file, output.Path(), std::filesystem::copy_options::overwrite_existing, error);
  if (error) throw Failure{"cannot write " + target + ": " + error.message(), {}};
  output.Commit();
}

}  // namespace

int RunStore(std::span<const std::string_view> args) {
  bool copy = false;
  std::vector<std::string> paths;
  for (const std::string_view arg : args) {
    if (arg == "--copy")
      copy = true;
    else if (arg.starts_with("-"))
      throw UsageError{"unknown option '" + std::string(arg) + "'"};
    else
      paths.emplace_back(arg);
  }
  if (paths.empty()) throw UsageError{"store needs a FILE or DIR"};

  LoadDictionary();
  UseStorageSettings();
  RegisterWorkstation();
  const std::string root = copy ? StorageRoot() : std::string();
  std::vector<SkippedFile> passedOver;
  const std::vector<std::string> files = ListFiles(paths, passedOver);
  for (const SkippedFile& folder : passedOver) std::cerr << "ondrel: passed over " << folder.path << ": " << folder.reason << "\n";
  std::size_t stored = 0;
  const Progress progress(files.size());
  for (std::size_t i = 0; i < files.size(); ++i) {
    progress.Step(i);
    const std::string& file = files[i];
    DicomEngine::DicomData data(false);
    if (const std::optional<std::string> reason = ReadStorableFile(file, data)) {
      std::cerr << "ondrel: passed over " << file << ": " << *reason << "\n";
      passedOver.push_back({file, *reason});
      continue;
    }
    try {
      if (copy) {
        StoreCopy(data, file, root);
      } else {
        const std::string place = ToNarrow(FromConsole(std::filesystem::absolute(file).string()));
        const DicomEngine::SyntaxRecord syntax{DicomEngine::kLittleEndian, DicomEngine::kImplicitVR};
        DiskStorage::StoreDicomData(data, nullptr, place.c_str(), false, syntax, DicomEngine::kImplicitVRLittleEndianUid);
      }
    } catch (const MyException& failure) {
      throw StoreFailure("cannot store " + file, failure);
    }
    ++stored;
  }
  std::cout << "stored " << stored << (stored == 1 ? " image" : " images") << " in " << DatabaseConnection();
  if (!passedOver.empty())
    std::cout << " (" << passedOver.size() << (passedOver.size() == 1 ? " file" : " files") << " passed over)";
  std::cout << "\n";
  return kExitSuccess;
}

}  // namespace ondrel::cli
