// Whole-file output and the folder of a module.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "foundation/byte_block.h"
#include "foundation/trace.h"
#include "ondrel/platform/wintypes.h"

// Creates the file if absent (read and write permission) and opens it emptied, for reading and
// writing in binary. Null on failure, with the reason in the trace log.
std::FILE* CreateTargetFile(const std::string& name);
// Writes `size` bytes. A null file or data is traced and the write is still tried (and then fails);
// a short write is traced. Nothing is thrown.
void WriteBuffer(std::FILE* file, const void* data, std::size_t size);
// Closes a file; null is allowed.
void CloseFile(std::FILE* file);

// The full name of a process-wide file such as the settings or the dictionary: a name without '/' is
// looked for beside the host executable.
std::string HostRelativePath(const std::string& name);
// Calls `onLine` for each line of a text file (ANSI name) as a text-mode read gives it: LF ends a line
// and a CR before it is dropped; a last line without LF counts. False, calling nothing, when the file
// can't be opened.
bool ReadTextLines(const std::string& fileName, const std::function<void(const std::string&)>& onLine);

// The folder of a module's path, with the trailing '/'; a null module means the host executable.
// Empty when the path can't be had.
std::u16string ModuleFolder(HMODULE module = nullptr);
std::string ModuleFolderNarrow(HMODULE module = nullptr);

// Reads the rest of `file` into `buffer` as chunks of at most 16384 bytes, each handed over through
// buffer.AddChunk(ByteBlock), which then owns it (a MultiChunkBuffer, say). A file whose size is a multiple of 16384 ends with a chunk of size 0. True
// when the end of the file was reached. A null file gives false; a stream error traces
// "ReadBinaryFileIntoBuffer failed with error %d." (the errno value) at level 1 and gives false, the
// chunks read before it staying in the buffer. The file is closed in every case, std::bad_alloc or a
// failure of AddChunk included, which are passed on.
template <typename Buffer>
bool ReadBinaryFileIntoBuffer(std::FILE* file, Buffer& buffer) {
  if (file == nullptr) return false;
  const std::unique_ptr<std::FILE, void (*)(std::FILE*)> closer(file, &CloseFile);
  constexpr std::size_t kChunkSize = 16384;
  while (true) {
    auto block = std::make_unique_for_overwrite<std::uint8_t[]>(kChunkSize);
    const std::size_t count = std::fread(block.get(), 1, kChunkSize, file);
    if (std::ferror(file)) {
      Trace::Instance().WriteFormatted(1, "ReadBinaryFileIntoBuffer failed with error %d.", errno);
      return false;
    }
    buffer.AddChunk(ByteBlock(std::move(block), count));
    if (std::feof(file) || count < kChunkSize) return true;
  }
}
