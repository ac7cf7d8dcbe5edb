#include "dicom/file_parser.h"

#include <cstdio>
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

using FileCloser = std::unique_ptr<std::FILE, void (*)(std::FILE*)>;

// The whole file is read in 16 KiB chunks; behind stdio's default 4 KiB buffer each chunk costs a
// system call of its own, which made reading cost more than parsing. A large stream buffer lets a file
// come in with a few large reads. It is kept per thread, so no file pays for allocating it; a file
// never stays open beyond Open, so one stream at a time uses it.
constexpr std::size_t kStreamBufferSize = std::size_t{1} << 20;

char* StreamBuffer() {
  thread_local const std::unique_ptr<char[]> buffer(new char[kStreamBufferSize]);
  return buffer.get();
}

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
  if (file != nullptr) std::setvbuf(file, StreamBuffer(), _IOFBF, kStreamBufferSize);
  return file;
}

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

  if (std::fseek(file.get(), static_cast<long>(startOffset_), SEEK_SET) != 0)
    THROW_MY_EXCEPTION("Failed to read the DICOM file data.");
  MultiChunkBuffer buffer;
  if (!ReadBinaryFileIntoBuffer(file.release(), buffer)) THROW_MY_EXCEPTION("Failed to read the DICOM file data.");
  SetReader(std::make_unique<BufferReader>(buffer));
  return true;
}

}  // namespace DicomEngine
