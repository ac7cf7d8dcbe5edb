// Picture files: the encoder list, recognising a file by its first bytes, and the file system side of
// loading and saving. A save is written to a temporary file beside the target and renamed over it, so
// the target is either the old file or the whole new one, never a partial file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "picture/picture.h"
#include "picture/picture_codecs.h"
#include "sys_text.h"

namespace ondrel::platform::picture {
namespace {

// Larger files are refused before they are read; no picture the workstation handles comes near it.
constexpr std::int64_t kMaxFileBytes = std::int64_t{1} << 30;

std::string ErrnoText(int error) { return std::error_code(error, std::generic_category()).message(); }

// The path as the file system takes it, UTF-8; a name that UTF-8 cannot carry exactly is refused.
bool FileSystemPath(const std::u16string& path, std::string& utf8, std::string& error) {
  const auto converted = sys::Utf16ToUtf8(path);
  if (!converted) {
    error = "the file name holds an unpaired surrogate";
    return false;
  }
  if (converted->empty() || converted->find('\0') != std::string::npos) {
    error = "the file name is empty or holds a null character";
    return false;
  }
  utf8 = *converted;
  return true;
}

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  // Closes now and reports the result, which for a written file can be the first sign of a full disk.
  int Close() {
    const int result = ::close(fd_);
    fd_ = -1;
    return result;
  }

 private:
  int fd_;
};

bool ReadWholeFile(const std::string& path, std::vector<std::uint8_t>& bytes, std::string& error) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) {
    error = "cannot open '" + path + "': " + ErrnoText(errno);
    return false;
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    error = "cannot read '" + path + "': " + ErrnoText(errno);
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    error = "'" + path + "' is not a file";
    return false;
  }
  if (status.st_size > kMaxFileBytes) {
    error = "'" + path + "' is too large for a picture (" + std::to_string(status.st_size) + " bytes)";
    return false;
  }
  bytes.resize(static_cast<std::size_t>(status.st_size));
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = ::read(file.get(), bytes.data() + done, bytes.size() - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      error = "cannot read '" + path + "': " + ErrnoText(errno);
      return false;
    }
    if (got == 0) break;  // the file shrank while we read it; what is there is decoded
    done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  return true;
}

// A name beside `path` that no other save of this process uses at the same time; O_EXCL guards
// against other processes.
std::string TemporaryNameBeside(const std::string& path) {
  static std::atomic<unsigned> counter{0};
  return path + ".~" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1)) + ".tmp";
}

// Writes all of `bytes` to `fd`; 0, or the errno of the write that failed.
int WriteAll(int fd, const std::vector<std::uint8_t>& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t wrote = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote < 0) return errno;
    done += static_cast<std::size_t>(wrote);
  }
  return 0;
}

// A target that exists and is no regular file (a device, a pipe) is written into as it stands:
// renaming a file over it would replace it, /dev/null included for a user who may.
bool WriteIntoSpecialFile(const std::string& path, const std::vector<std::uint8_t>& bytes, std::string& error) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) {
    error = "cannot open '" + path + "': " + ErrnoText(errno);
    return false;
  }
  FileDescriptor file(fd);
  int failure = WriteAll(file.get(), bytes);
  if (file.Close() != 0 && failure == 0) failure = errno;
  if (failure != 0) {
    error = "cannot write '" + path + "': " + ErrnoText(failure);
    return false;
  }
  return true;
}

bool WriteWholeFileAtomically(const std::string& path, const std::vector<std::uint8_t>& bytes, std::string& error) {
  struct stat target {};
  if (::stat(path.c_str(), &target) == 0 && !S_ISREG(target.st_mode) && !S_ISDIR(target.st_mode))
    return WriteIntoSpecialFile(path, bytes, error);
  std::string temporary;
  int fd = -1;
  for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
    temporary = TemporaryNameBeside(path);
    // 0666 before the umask, as any newly created file of the user.
    fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) break;
  }
  if (fd < 0) {
    error = "cannot create a file beside '" + path + "': " + ErrnoText(errno);
    return false;
  }
  FileDescriptor file(fd);
  int failure = WriteAll(file.get(), bytes);
  // The data reaches the disk before the name does, so that a crash cannot leave an empty file
  // under the target's name.
  if (failure == 0 && ::fsync(file.get()) != 0) failure = errno;
  if (file.Close() != 0 && failure == 0) failure = errno;
  if (failure == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) failure = errno;
  if (failure != 0) {
    ::unlink(temporary.c_str());
    error = "cannot write '" + path + "': " + ErrnoText(failure);
    return false;
  }
  return true;
}

}  // namespace

const std::vector<EncoderInfo>& Encoders() {
  static const std::vector<EncoderInfo> encoders{
      {FileFormat::Bmp, MakeGuid("557cf400-1a04-11d3-9a73-0000f81ef32e"), u"Built-in BMP Codec", u"BMP",
       u"*.BMP;*.DIB;*.RLE", u"image/bmp"},
      {FileFormat::Jpeg, MakeGuid("557cf401-1a04-11d3-9a73-0000f81ef32e"), u"Built-in JPEG Codec", u"JPEG",
       u"*.JPG;*.JPEG;*.JPE;*.JFIF", u"image/jpeg"},
      {FileFormat::Gif, MakeGuid("557cf402-1a04-11d3-9a73-0000f81ef32e"), u"Built-in GIF Codec", u"GIF", u"*.GIF",
       u"image/gif"},
      {FileFormat::Tiff, MakeGuid("557cf405-1a04-11d3-9a73-0000f81ef32e"), u"Built-in TIFF Codec", u"TIFF",
       u"*.TIF;*.TIFF", u"image/tiff"},
      {FileFormat::Png, MakeGuid("557cf406-1a04-11d3-9a73-0000f81ef32e"), u"Built-in PNG Codec", u"PNG", u"*.PNG",
       u"image/png"},
  };
  return encoders;
}

const EncoderInfo* FindEncoder(const GUID& clsid) {
  for (const EncoderInfo& encoder : Encoders())
    if (encoder.clsid == clsid) return &encoder;
  return nullptr;
}

bool DecodePicture(FileBytes file, Picture& picture, std::string& error) {
  const auto startsWith = [file](std::string_view signature) {
    return file.size() >= signature.size() && std::memcmp(file.data(), signature.data(), signature.size()) == 0;
  };
  if (startsWith("BM")) return DecodeBmp(file, picture, error);
  if (startsWith("\xFF\xD8\xFF")) return DecodeJpeg(file, picture, error);
  if (startsWith("GIF87a") || startsWith("GIF89a")) return DecodeGif(file, picture, error);
  if (startsWith(std::string_view("II*\0", 4)) || startsWith(std::string_view("MM\0*", 4)))
    return DecodeTiff(file, picture, error);
  if (startsWith("\x89PNG\r\n\x1A\n")) return DecodePng(file, picture, error);
  error = "not a BMP, JPEG, GIF, TIFF or PNG file";
  return false;
}

bool LoadPictureFile(const std::u16string& path, Picture& picture, std::string& error) {
  std::string utf8;
  std::vector<std::uint8_t> bytes;
  if (!FileSystemPath(path, utf8, error) || !ReadWholeFile(utf8, bytes, error)) return false;
  Picture decoded;
  std::string reason;
  if (!DecodePicture(bytes, decoded, reason)) {
    error = "cannot read '" + utf8 + "': " + reason;
    return false;
  }
  picture = std::move(decoded);
  return true;
}

bool SavePictureFile(const Picture& picture, FileFormat format, const std::u16string& path, std::string& error) {
  std::string utf8;
  if (!FileSystemPath(path, utf8, error)) return false;
  if (picture.width <= 0 || picture.height <= 0) {
    error = "cannot save '" + utf8 + "': the picture has no pixels";
    return false;
  }
  if (!IsValidPicture(picture)) {
    error = "cannot save '" + utf8 + "': the picture's pixel format or size is not valid";
    return false;
  }
  using Encoder = bool (*)(const Picture&, std::vector<std::uint8_t>&, std::string&);
  Encoder encode = nullptr;
  switch (format) {
    case FileFormat::Bmp:
      encode = EncodeBmp;
      break;
    case FileFormat::Jpeg:
      encode = EncodeJpeg;
      break;
    case FileFormat::Gif:
      encode = EncodeGif;
      break;
    case FileFormat::Tiff:
      encode = EncodeTiff;
      break;
    case FileFormat::Png:
      encode = EncodePng;
      break;
  }
  std::vector<std::uint8_t> bytes;
  std::string reason;
  if (encode == nullptr || !encode(picture, bytes, reason)) {
    error = "cannot save '" + utf8 + "': " + (encode == nullptr ? "unknown file format" : reason);
    return false;
  }
  return WriteWholeFileAtomically(utf8, bytes, error);
}

}  // namespace ondrel::platform::picture
