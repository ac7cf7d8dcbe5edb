#include "dicom/file_parser.h"

#include <cstdio>
#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

#include "foundation/exceptions.h"
#include "foundation/file_utils.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/system.h"

namespace DicomEngine {
namespace {

constexpr long kPreambleSize = 128;
constexpr std::uint32_t kPreambleStart = 132;
// The sixth byte of the data below this, as a signed byte, means implicit VR.
constexpr signed char kExplicitVRThreshold = 11;
// A regular file is read on demand in chunks of this size.
constexpr LONGLONG kChunkSize = 16384;
constexpr std::size_t kHeaderBufferSize = 512;

using FileCloser = std::unique_ptr<std::FILE, void (*)(std::FILE*)>;

// Opens a wide name for binary reading. Names go to the file system through the ANSI code page, as
// the platform opens them; a name that code page can't hold is refused rather than turned into another
// name (with '?' in it) that might open a different file.
std::FILE* OpenForReading(const std::u16string& name) {
  const std::optional<std::string> narrow = ToNarrowExact(name);
  if (!narrow) {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return nullptr;
  }
  std::FILE* file = OpenFileAnsi(narrow->c_str(), "rb");
  // The header check reads a few bytes; a small buffer keeps it from reading ahead into the pixels.
  if (file != nullptr) std::setvbuf(file, nullptr, _IOFBF, kHeaderBufferSize);
  return file;
}

// The chunks of an open file, read on demand. A file that has become shorter since it was opened
// fails the read rather than giving bytes it no longer has.
class FileChunks final : public ChunkSource {
 public:
  explicit FileChunks(FileCloser file) : file_(std::move(file)) {}

  void Read(std::uint64_t offset, std::uint8_t* target, std::uint32_t n) override {
    if (ReadFileAt(file_.get(), static_cast<LONGLONG>(offset), target, n) != static_cast<LONGLONG>(n))
      THROW_MY_EXCEPTION("Failed to read the DICOM file data.");
  }

 private:
  FileCloser file_;
};

[[noreturn]] void ThrowCannotOpen(const std::u16string& name, DWORD lastError) {
  char hex[16];
  std::snprintf(hex, sizeof hex, "%X", static_cast<unsigned>(lastError));
  std::u16string message = u"The " + name + u" file cannot be opened. The last error is (in hexa): 0x";
  for (const char* digit = hex; *digit != '\0'; ++digit) message += static_cast<char16_t>(*digit);
  THROW_MY_EXCEPTION(ToNarrow(message).c_str());
}

// The header check. True for a DICOM file, with `startOffset` set and the file standing there.
bool FindDataStart(std::FILE* file, std::uint32_t& startOffset) {
  char magic[4] = {};
  if (std::fseek(file, kPreambleSize, SEEK_SET) == 0 && std::fread(magic, 1, sizeof magic, file) == sizeof magic &&
      std::memcmp(magic, "DICM", sizeof magic) == 0) {
    startOffset = kPreambleStart;
    return true;
  }
  // No preamble: the first group must be 0x0008. 0x8000 is accepted too, as it always has been,
  // although it isn't the byte-swapped 0x0008 (that would be 0x0800).
  unsigned char first[2] = {0xFF, 0xFF};
  if (std::fseek(file, 0, SEEK_SET) != 0) return false;
  if (std::fread(first, 1, sizeof first, file) != sizeof first) return false;
  const unsigned group = first[0] | (first[1] << 8);
  if (group != 0x0008 && group != 0x8000) return false;
  startOffset = 0;
  return std::fseek(file, 0, SEEK_SET) == 0;
}

}  // namespace

FileParser::FileParser(const DicomDictionary& dictionary) : Parser(nullptr, SyntaxRecord{}, dictionary) {}

bool FileParser::Open(const std::u16string& fileName) {
  if (fileName.empty()) THROW_MY_EXCEPTION("The name of the file to parse is empty.");
  std::FILE* opened = OpenForReading(fileName);
  // Only a name without any dot gets the extension, even when the dot belongs to a folder's name.
  if (opened == nullptr && fileName.find(u'.') == std::u16string::npos) opened = OpenForReading(fileName + u".dcm");
  if (opened == nullptr) ThrowCannotOpen(fileName, GetLastError());
  FileCloser file(opened, &CloseFile);

  if (!FindDataStart(file.get(), startOffset_)) return false;

  // A file too short to hold six bytes after its start reads as implicit VR: the missing bytes are 0.
  unsigned char start[6] = {};
  if (std::fread(start, 1, sizeof start, file.get()) != sizeof start) std::clearerr(file.get());
  SyntaxRecord header;
  header.vrKind = static_cast<signed char>(start[5]) < kExplicitVRThreshold ? kImplicitVR : kExplicitVR;
  SetHeaderSyntax(header);

  MultiChunkBuffer buffer;
  const LONGLONG size = FileSizeOf(file.get());
  if (size >= 0) {
    // A regular file: its chunks are read when the parse first needs them, so a parse up to the
    // pixel data reads no pixel. The file stays open while the chunks are shared.
    const auto source = std::make_shared<FileChunks>(std::move(file));
    for (LONGLONG offset = startOffset_; offset < size; offset += kChunkSize)
      buffer.AddSourceChunk(source, static_cast<std::uint64_t>(offset),
                            static_cast<std::uint32_t>(std::min<LONGLONG>(kChunkSize, size - offset)));
  } else {
    if (std::fseek(file.get(), static_cast<long>(startOffset_), SEEK_SET) != 0)
      THROW_MY_EXCEPTION("Failed to read the DICOM file data.");
    if (!ReadBinaryFileIntoBuffer(file.release(), buffer)) THROW_MY_EXCEPTION("Failed to read the DICOM file data.");
  }
  SetReader(std::make_unique<BufferReader>(buffer));
  return true;
}

}  // namespace DicomEngine
