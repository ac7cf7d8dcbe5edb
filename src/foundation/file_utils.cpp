#include "foundation/file_utils.h"

#include <memory>
#include <vector>

#include "foundation/text_utils.h"
#include "foundation/trace.h"
#include "ondrel/platform/system.h"

std::FILE* CreateTargetFile(const std::string& name) {
  if (name.empty()) {
    Trace::Instance().Write("The file name is empty.", 1);
    return nullptr;
  }
  // Creating the file first gives it read and write permission; the reopening below then empties it.
  HANDLE created = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
  if (created == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    Trace::Instance().WriteFormatted(1, "Cannot create the %s target file. The last error is (in hexa): 0x%X",
                                     name.c_str(), error);
    return nullptr;
  }
  CloseHandle(created);
  std::FILE* file = OpenFileAnsi(name.c_str(), "w+b");
  if (file == nullptr) {
    const DWORD error = GetLastError();
    Trace::Instance().WriteFormatted(1, "Cannot open the %s target file. The last error is (in hexa): 0x%X",
                                     name.c_str(), error);
  }
  return file;
}

void WriteBuffer(std::FILE* file, const void* data, std::size_t size) {
  if (file == nullptr) Trace::Instance().Write("The passed in destination file handle is NULL.", 1);
  if (data == nullptr) Trace::Instance().Write("The passed in data buffer is NULL.", 1);
  // The write goes on after those lines; with nothing to write to or from it writes nothing, and
  // the short write is reported like any other.
  const std::size_t written = (file != nullptr && data != nullptr) ? std::fwrite(data, 1, size, file) : 0;
  if (written != size) {
    Trace::Instance().WriteFormatted(1, "Error writing into the target file. The last error is (in hexa): 0x%X",
                                     GetLastError());
  }
}

void CloseFile(std::FILE* file) {
  if (file != nullptr) std::fclose(file);
}

std::string HostRelativePath(const std::string& name) {
  return name.find('/') == std::string::npos ? ModuleFolderNarrow() + name : name;
}

bool ReadTextLines(const std::string& fileName, const std::function<void(const std::string&)>& onLine) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(OpenFileAnsi(fileName.c_str(), "r"), &std::fclose);
  if (!file) return false;
  std::string line;
  char piece[4096];
  while (std::fgets(piece, sizeof piece, file.get()) != nullptr) {
    line += piece;
    if (line.back() != '\n') continue;  // a line longer than the piece goes on
    line.pop_back();
    if (!line.empty() && line.back() == '\r') line.pop_back();
    onLine(line);
    line.clear();
  }
  if (!line.empty()) onLine(line);
  return true;
}

std::u16string ModuleFolder(HMODULE module) {
  // Paths here may be longer than Windows' MAX_PATH, so the buffer grows until the path fits, up to the
  // longest path Windows knows.
  constexpr std::size_t kLongestPath = 32768;
  for (std::size_t capacity = MAX_PATH; capacity <= 2 * kLongestPath; capacity *= 2) {
    std::vector<char16_t> path(capacity);
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(capacity));
    if (length == 0) return std::u16string();
    if (length < capacity) {
      const std::u16string_view full(path.data(), length);
      const std::size_t slash = full.rfind(u'/');
      if (slash == std::u16string_view::npos) return std::u16string();
      return std::u16string(full.substr(0, slash + 1));
    }
  }
  return std::u16string();
}

std::string ModuleFolderNarrow(HMODULE module) { return ToNarrow(ModuleFolder(module)); }
