#include "output_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

#include "failure_text.h"

namespace ondrel::cli {
namespace {

namespace fs = std::filesystem;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::string RandomSuffix() {
  static std::random_device source;
  char text[16];
  std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(source()));
  return text;
}

// Flushes and closes `file`; false with errno set when the bytes could not all be written. The first
// failure's reason is kept: fclose after a failed flush fails again, or sets errno anew.
bool Close(File file) {
  const bool flushed = std::fflush(file.get()) == 0 && std::ferror(file.get()) == 0;
  const int reason = errno;
  const bool closed = std::fclose(file.release()) == 0;
  if (!flushed) errno = reason;
  return flushed && closed;
}

}  // namespace

std::string CannotWrite(const std::string& target, const std::string& otherwise) {
  return "cannot write " + target + ": " + (errno != 0 ? std::strerror(errno) : otherwise);
}

OutputFile::OutputFile(std::string target) : target_(std::move(target)), place_(target_) {
  std::error_code error;
  const fs::file_status status = fs::status(place_, error);
  if (fs::is_directory(status)) throw Failure{"cannot write " + target_ + ": " + std::strerror(EISDIR), {}};
  // A device or pipe can't be replaced by a rename; its bytes are copied into it by Commit. The names
  // of the system's devices are links that may lead to a file the process has open (/dev/stdout), which
  // a rename would take away from under it.
  special_ = (fs::exists(status) && !fs::is_regular_file(status)) || target_.starts_with("/dev/") ||
             target_.starts_with("/proc/");
  if (!special_ && fs::is_symlink(place_, error)) {
    const fs::path resolved = fs::canonical(place_, error);
    if (!error) place_ = resolved;
  }
  const fs::path folder = special_ ? fs::temp_directory_path(error) : place_.parent_path();
  for (int attempt = 0; attempt < 16; ++attempt) {
    temporary_ = folder / ("." + place_.filename().string() + ".ondrel-" + RandomSuffix() + ".tmp");
    errno = 0;
    // "x": created here or not at all, so that no other file is ever taken over.
    if (File reserved{std::fopen(temporary_.c_str(), "wbx")}) return;
    if (errno != EEXIST) break;
  }
  throw Failure{CannotWrite(target_, "no temporary file can be made beside it"), {}};
}

OutputFile::~OutputFile() {
  if (committed_ && !special_) return;
  std::error_code ignored;
  fs::remove(temporary_, ignored);
}

std::uintmax_t OutputFile::Size() const {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(temporary_, error);
  return error ? 0 : size;
}

void OutputFile::Commit() {
  if (special_) {
    errno = 0;
    File in{std::fopen(temporary_.c_str(), "rb")};
    File out{in ? std::fopen(place_.c_str(), "wb") : nullptr};
    if (!out) throw Failure{CannotWrite(target_, "it can't be opened"), {}};
    std::array<char, 65536> block;
    bool copied = true;
    for (std::size_t count; copied && (count = std::fread(block.data(), 1, block.size(), in.get())) > 0;)
      copied = std::fwrite(block.data(), 1, count, out.get()) == count;
    const int reason = errno;
    const bool closed = Close(std::move(out));
    if (!copied || std::ferror(in.get()) || !closed) {
      if (!copied) errno = reason;
      throw Failure{CannotWrite(target_, "the copy into it failed"), {}};
    }
  } else {
    std::error_code error;
    // The replaced file's permissions carry over: a file kept private stays private.
    if (const fs::file_status replaced = fs::status(place_, error); fs::exists(replaced))
      fs::permissions(temporary_, replaced.permissions(), error);
    fs::rename(temporary_, place_, error);
    if (error) throw Failure{"cannot write " + target_ + ": " + error.message(), {}};
  }
  committed_ = true;
}

void WriteOutputFile(const std::string& target, const void* data, std::size_t size) {
  OutputFile output(target);
  errno = 0;
  File file{std::fopen(output.Path().c_str(), "wb")};
  if (!file) throw Failure{CannotWrite(target, "it can't be opened"), {}};
  const bool written = size == 0 || std::fwrite(data, 1, size, file.get()) == size;
  const int reason = errno;
  if (!Close(std::move(file)) || !written) {
    if (!written) errno = reason;
    throw Failure{CannotWrite(target, "the write failed"), {}};
  }
  output.Commit();
}

}  // namespace ondrel::cli
