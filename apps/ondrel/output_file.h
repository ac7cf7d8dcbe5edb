// Files the commands write, whoever writes the bytes (the host or the core): written first under a
// temporary name and put in place only when complete, so that a failed write (a full disk, a file-size
// limit) leaves no partial file, and a file that is replaced stays whole until its successor is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace ondrel::cli {

class OutputFile {
 public:
  // Reserves an empty temporary file for `target`: beside it, as ".NAME.ondrel-XXXXXXXX.tmp" in its
  // folder, so that Commit can rename it; or, when `target` exists and is no regular file (a pipe), or
  // is named in /dev or /proc (/dev/full, /dev/stdout), in the system's temporary folder, to be copied
  // into it. Any other symbolic link is followed: the file it points to is replaced, the link stays.
  // Throws Failure "cannot write TARGET: REASON" when `target` is a folder or the temporary file can't
  // be created.
  explicit OutputFile(std::string target);
  // Removes the temporary file unless Commit put it in place.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Where the writer writes.
  std::string Path() const { return temporary_.string(); }
  const std::string& Target() const { return target_; }
  // The size of what has been written to Path() so far; 0 when it is gone.
  std::uintmax_t Size() const;

  // Puts the temporary file in place: renamed over the target, with the permissions of the file it
  // replaces; or copied into a target that is no regular file. Throws Failure "cannot write TARGET:
  // REASON" when that fails; the temporary file is then removed and the target left as it was (a
  // device or pipe may have taken part of the bytes).
  void Commit();

 private:
  std::string target_;
  std::filesystem::path place_;  // the target with symbolic links followed
  std::filesystem::path temporary_;
  bool special_ = false;  // the target is a device or pipe: Commit copies
  bool committed_ = false;
};

// Writes `size` bytes to `target` through an OutputFile. Throws Failure "cannot write TARGET: REASON"
// with the system's reason (No space left on device, File too large, ...); nothing is then left.
void WriteOutputFile(const std::string& target, const void* data, std::size_t size);

// "cannot write TARGET: " and the system's reason for the last failed call (errno), or `otherwise` when
// it left none.
std::string CannotWrite(const std::string& target, const std::string& otherwise);

}  // namespace ondrel::cli
