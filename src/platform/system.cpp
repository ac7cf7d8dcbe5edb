// Files, folders, modules, clocks and the thread's last error over POSIX.
#include "ondrel/platform/system.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "sys_text.h"

namespace {

thread_local DWORD last_error = ERROR_SUCCESS;

// Windows codes for errno values that wintypes.h does not name. The core only passes them on (trace
// lines print the last error), so they need no public name; the Windows name is given beside each.
constexpr DWORD kErrorTooManyOpenFiles = 4;  // ERROR_TOO_MANY_OPEN_FILES
constexpr DWORD kErrorGenFailure = 31;  // ERROR_GEN_FAILURE
constexpr DWORD kErrorSharingViolation = 32;  // ERROR_SHARING_VIOLATION
constexpr DWORD kErrorBrokenPipe = 109;  // ERROR_BROKEN_PIPE
constexpr DWORD kErrorDiskFull = 112;  // ERROR_DISK_FULL
constexpr DWORD kErrorInvalidName = 123;  // ERROR_INVALID_NAME
constexpr DWORD kErrorModNotFound = 126;  // ERROR_MOD_NOT_FOUND
constexpr DWORD kErrorNegativeSeek = 131;  // ERROR_NEGATIVE_SEEK
constexpr DWORD kErrorBusy = 170;  // ERROR_BUSY
constexpr DWORD kErrorFilenameTooLong = 206;  // ERROR_FILENAME_EXCED_RANGE
constexpr DWORD kErrorFileTooLarge = 223;  // ERROR_FILE_TOO_LARGE
constexpr DWORD kErrorDiskQuotaExceeded = 1295;  // ERROR_DISK_QUOTA_EXCEEDED
constexpr DWORD kErrorCantResolveFilename = 1921;  // ERROR_CANT_RESOLVE_FILENAME

DWORD ErrorFromErrno(int error) {
  switch (error) {
    case 0:
      return ERROR_SUCCESS;
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return ERROR_ACCESS_DENIED;
    case EEXIST:
      return ERROR_ALREADY_EXISTS;
    case EBADF:
      return ERROR_INVALID_HANDLE;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    case EMFILE:
    case ENFILE:
      return kErrorTooManyOpenFiles;
    case ETXTBSY:
      return kErrorSharingViolation;
    case EPIPE:
      return kErrorBrokenPipe;
    case ENOSPC:
      return kErrorDiskFull;
    case EBUSY:
      return kErrorBusy;
    case ENAMETOOLONG:
      return kErrorFilenameTooLong;
    case EFBIG:
      return kErrorFileTooLarge;
    case EDQUOT:
      return kErrorDiskQuotaExceeded;
    case ELOOP:
      return kErrorCantResolveFilename;
    default:
      return kErrorGenFailure;
  }
}

bool IsFolder(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The error of a failed call on `path`. A missing entry is ERROR_FILE_NOT_FOUND when its folder
// exists and ERROR_PATH_NOT_FOUND when the folder is missing too, as Windows tells them apart.
DWORD ErrorOfPath(int error, const std::string& path) {
  if (error != ENOENT) return ErrorFromErrno(error);
  const std::string::size_type end = path.find_last_not_of('/');
  if (end == std::string::npos) return ERROR_PATH_NOT_FOUND;
  const std::string::size_type slash = path.rfind('/', end);
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  return IsFolder(folder) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

BOOL Fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

// The error of a failed read or write on a live handle: there EBADF means the handle was not opened
// for that access, which Windows reports as ERROR_ACCESS_DENIED.
DWORD ErrorOfTransfer(int error) { return error == EBADF ? ERROR_ACCESS_DENIED : ErrorFromErrno(error); }

// An open file behind a HANDLE. Handles are checked against the set of live ones before use, so a
// stale or made-up handle is refused instead of reaching a descriptor that now belongs to someone else.
struct File {
  int fd;
};

class HandleTable {
 public:
  // A new handle owning `fd`, or null when memory ran out.
  HANDLE Add(int fd) {
    try {
      auto file = std::make_unique<File>(File{fd});
      const std::lock_guard lock(mutex_);
      live_.insert(file.get());
      return file.release();
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }
  std::optional<int> Find(HANDLE handle) {
    const std::lock_guard lock(mutex_);
    const auto it = live_.find(static_cast<File*>(handle));
    if (it == live_.end()) return std::nullopt;
    return (*it)->fd;
  }
  // Removes the handle and gives back its descriptor for closing.
  std::optional<int> Take(HANDLE handle) {
    const std::lock_guard lock(mutex_);
    const auto it = live_.find(static_cast<File*>(handle));
    if (it == live_.end()) return std::nullopt;
    const std::unique_ptr<File> file(*it);
    live_.erase(it);
    return file->fd;
  }

 private:
  std::mutex mutex_;
  std::unordered_set<File*> live_;
};

// Never destroyed, so that files can still be written and closed from static destructors at exit.
HandleTable& Handles() {
  static auto* const table = new HandleTable();
  return *table;
}

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kNewFolderMode = 0777;

// Opens `path`, creating it if absent, and says whether it was there. Creation and opening are
// separate attempts so that the answer is exact even while another process creates the file.
int OpenOrCreate(const std::string& path, int flags, bool& existed) {
  int fd = ::open(path.c_str(), flags | O_CREAT | O_EXCL, kNewFileMode);
  if (fd >= 0 || errno != EEXIST) {
    existed = false;
    return fd;
  }
  fd = ::open(path.c_str(), flags);
  if (fd >= 0 || errno != ENOENT) {
    existed = true;
    return fd;
  }
  // Removed meanwhile, or a link to nothing: create it after all.
  existed = false;
  return ::open(path.c_str(), flags | O_CREAT, kNewFileMode);
}

HANDLE OpenPath(const std::optional<std::string>& path, DWORD access, DWORD disposition) {
  if (!path) {
    SetLastError(kErrorInvalidName);
    return INVALID_HANDLE_VALUE;
  }
  const bool write = (access & GENERIC_WRITE) != 0;
  int flags = O_CLOEXEC;
  if (write) {
    flags |= (access & GENERIC_READ) != 0 ? O_RDWR : O_WRONLY;
  } else {
    flags |= O_RDONLY;
  }
  int fd = -1;
  bool existed = false;
  switch (disposition) {
    case CREATE_NEW:
      fd = ::open(path->c_str(), flags | O_CREAT | O_EXCL, kNewFileMode);
      break;
    case CREATE_ALWAYS:
      fd = OpenOrCreate(*path, flags | O_TRUNC, existed);
      break;
    case OPEN_EXISTING:
      fd = ::open(path->c_str(), flags);
      break;
    case OPEN_ALWAYS:
      fd = OpenOrCreate(*path, flags, existed);
      break;
    case TRUNCATE_EXISTING:
      if (!write) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
      }
      fd = ::open(path->c_str(), flags | O_TRUNC);
      break;
    default:
      SetLastError(ERROR_INVALID_PARAMETER);
      return INVALID_HANDLE_VALUE;
  }
  if (fd < 0) {
    SetLastError(ErrorOfPath(errno, *path));
    return INVALID_HANDLE_VALUE;
  }
  // POSIX opens a folder for reading; Windows opens no folder as a file.
  struct stat info {};
  if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
    ::close(fd);
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  const HANDLE handle = Handles().Add(fd);
  if (handle == nullptr) {
    ::close(fd);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return handle;
}

BOOL MakeFolder(const std::optional<std::string>& path) {
  if (!path) return Fail(kErrorInvalidName);
  if (::mkdir(path->c_str(), kNewFolderMode) == 0) return TRUE;
  // mkdir's ENOENT always means a missing parent.
  return Fail(errno == ENOENT ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(errno));
}

// The host executable a host named (SetHostExecutablePath), empty for the process's own.
struct HostExecutable {
  std::mutex lock;
  std::string path;
};
HostExecutable& NamedHostExecutable() {
  static HostExecutable named;
  return named;
}

std::optional<std::string> ExecutablePath() {
  {
    HostExecutable& named = NamedHostExecutable();
    const std::lock_guard<std::mutex> guard(named.lock);
    if (!named.path.empty()) return named.path;
  }
  std::string path(256, '\0');
  for (;;) {
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) {
      SetLastError(ErrorFromErrno(errno));
      return std::nullopt;
    }
    if (static_cast<std::size_t>(length) < path.size()) {
      path.resize(static_cast<std::size_t>(length));
      return path;
    }
    path.resize(path.size() * 2);
  }
}

// The UTF-8 path of the module that holds the address `module` (null: the executable), or nullopt with
// the last error set.
std::optional<std::string> ModulePath(HMODULE module) {
  if (module == nullptr) return ExecutablePath();
  Dl_info info{};
  link_map* map = nullptr;
  if (::dladdr1(module, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0 || map == nullptr) {
    SetLastError(kErrorModNotFound);
    return std::nullopt;
  }
  // The executable's own link map has an empty name.
  if (map->l_name == nullptr || map->l_name[0] == '\0') return ExecutablePath();
  std::string path = map->l_name;
  if (path.front() != '/') {
    // A library loaded by a relative name keeps that name; the full path is wanted.
    const std::unique_ptr<char, decltype(&std::free)> full(::realpath(path.c_str(), nullptr), &std::free);
    if (full) path = full.get();
  }
  return path;
}

// Copies `name` as GetModuleFileName does: cut to fit and null-terminated, the cut reported.
template <typename Char>
DWORD CopyModuleName(const std::basic_string<Char>& name, Char* out, DWORD size) {
  if (name.size() < size) {
    name.copy(out, name.size());
    out[name.size()] = Char{};
    return static_cast<DWORD>(name.size());
  }
  if (size > 0) {
    name.copy(out, size - 1);
    out[size - 1] = Char{};
  }
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return size;
}

void FillSystemTime(const std::tm& calendar, long nanoseconds, SYSTEMTIME* out) {
  out->wYear = static_cast<WORD>(calendar.tm_year + 1900);
  out->wMonth = static_cast<WORD>(calendar.tm_mon + 1);
  out->wDayOfWeek = static_cast<WORD>(calendar.tm_wday);
  out->wDay = static_cast<WORD>(calendar.tm_mday);
  out->wHour = static_cast<WORD>(calendar.tm_hour);
  out->wMinute = static_cast<WORD>(calendar.tm_min);
  // A leap second (60) is folded into 59: Windows never reports one.
  out->wSecond = static_cast<WORD>(calendar.tm_sec > 59 ? 59 : calendar.tm_sec);
  out->wMilliseconds = static_cast<WORD>(nanoseconds / 1000000);
}

}  // namespace

DWORD GetLastError() { return last_error; }
void SetLastError(DWORD error) { last_error = error; }

HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD /*dwShareMode*/, void* /*lpSecurityAttributes*/,
                   DWORD dwCreationDisposition, DWORD /*dwFlagsAndAttributes*/, HANDLE /*hTemplateFile*/) {
  if (lpFileName == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  return OpenPath(ondrel::platform::sys::Utf16ToUtf8(lpFileName), dwDesiredAccess, dwCreationDisposition);
}

HANDLE CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD /*dwShareMode*/, void* /*lpSecurityAttributes*/,
                   DWORD dwCreationDisposition, DWORD /*dwFlagsAndAttributes*/, HANDLE /*hTemplateFile*/) {
  if (lpFileName == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  return OpenPath(ondrel::platform::sys::Cp1252ToUtf8(lpFileName), dwDesiredAccess, dwCreationDisposition);
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite, DWORD* lpNumberOfBytesWritten,
               void* lpOverlapped) {
  if (lpNumberOfBytesWritten != nullptr) *lpNumberOfBytesWritten = 0;
  const std::optional<int> fd = Handles().Find(hFile);
  if (!fd) return Fail(ERROR_INVALID_HANDLE);
  if (lpOverlapped != nullptr || (lpBuffer == nullptr && nNumberOfBytesToWrite != 0)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const auto* bytes = static_cast<const char*>(lpBuffer);
  DWORD done = 0;
  while (done < nNumberOfBytesToWrite) {
    const ssize_t count = ::write(*fd, bytes + done, nNumberOfBytesToWrite - done);
    if (count < 0) {
      if (errno == EINTR) continue;
      if (lpNumberOfBytesWritten != nullptr) *lpNumberOfBytesWritten = done;
      return Fail(ErrorOfTransfer(errno));
    }
    done += static_cast<DWORD>(count);
  }
  if (lpNumberOfBytesWritten != nullptr) *lpNumberOfBytesWritten = done;
  return TRUE;
}

BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, DWORD* lpNumberOfBytesRead,
              void* lpOverlapped) {
  if (lpNumberOfBytesRead != nullptr) *lpNumberOfBytesRead = 0;
  const std::optional<int> fd = Handles().Find(hFile);
  if (!fd) return Fail(ERROR_INVALID_HANDLE);
  if (lpOverlapped != nullptr || (lpBuffer == nullptr && nNumberOfBytesToRead != 0)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  auto* bytes = static_cast<char*>(lpBuffer);
  DWORD done = 0;
  // Reading a file stops short only at its end; reaching the end is no failure.
  while (done < nNumberOfBytesToRead) {
    const ssize_t count = ::read(*fd, bytes + done, nNumberOfBytesToRead - done);
    if (count < 0) {
      if (errno == EINTR) continue;
      if (lpNumberOfBytesRead != nullptr) *lpNumberOfBytesRead = done;
      return Fail(ErrorOfTransfer(errno));
    }
    if (count == 0) break;
    done += static_cast<DWORD>(count);
  }
  if (lpNumberOfBytesRead != nullptr) *lpNumberOfBytesRead = done;
  return TRUE;
}

DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, LONG* lpDistanceToMoveHigh, DWORD dwMoveMethod) {
  const std::optional<int> fd = Handles().Find(hFile);
  if (!fd) {
    SetLastError(ERROR_INVALID_HANDLE);
    return INVALID_SET_FILE_POINTER;
  }
  int whence = SEEK_SET;
  switch (dwMoveMethod) {
    case FILE_BEGIN:
      whence = SEEK_SET;
      break;
    case FILE_CURRENT:
      whence = SEEK_CUR;
      break;
    case FILE_END:
      whence = SEEK_END;
      break;
    default:
      SetLastError(ERROR_INVALID_PARAMETER);
      return INVALID_SET_FILE_POINTER;
  }
  // With a high part the two form one 64-bit distance; without, the low part is a signed distance.
  const std::int64_t distance =
      lpDistanceToMoveHigh != nullptr
          ? static_cast<std::int64_t>(*lpDistanceToMoveHigh) * 0x100000000LL + static_cast<DWORD>(lDistanceToMove)
          : static_cast<std::int64_t>(lDistanceToMove);
  const off_t position = ::lseek(*fd, static_cast<off_t>(distance), whence);
  if (position < 0) {
    // lseek's EINVAL, with a valid method, means a position before the start.
    SetLastError(errno == EINVAL ? kErrorNegativeSeek : ErrorFromErrno(errno));
    return INVALID_SET_FILE_POINTER;
  }
  if (lpDistanceToMoveHigh != nullptr) {
    *lpDistanceToMoveHigh = static_cast<LONG>(position >> 32);
  } else if (position > 0xFFFFFFFFLL) {
    // As on Windows, a position that the low part alone can't hold is a failure. The pointer has
    // moved all the same, so a caller that appends at FILE_END past 4 GiB still writes at the end.
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_SET_FILE_POINTER;
  }
  SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(position & 0xFFFFFFFF);
}

BOOL CloseHandle(HANDLE hObject) {
  const std::optional<int> fd = Handles().Take(hObject);
  if (!fd) return Fail(ERROR_INVALID_HANDLE);
  // After close the descriptor is released even on EINTR, so no retry.
  if (::close(*fd) != 0 && errno != EINTR) return Fail(ErrorFromErrno(errno));
  return TRUE;
}

BOOL CreateDirectoryW(LPCWSTR lpPathName, void* /*lpSecurityAttributes*/) {
  if (lpPathName == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  return MakeFolder(ondrel::platform::sys::Utf16ToUtf8(lpPathName));
}

BOOL CreateDirectoryA(LPCSTR lpPathName, void* /*lpSecurityAttributes*/) {
  if (lpPathName == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  return MakeFolder(ondrel::platform::sys::Cp1252ToUtf8(lpPathName));
}

DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
  if (lpFilename == nullptr && nSize != 0) return Fail(ERROR_INVALID_PARAMETER);
  const std::optional<std::string> path = ModulePath(hModule);
  if (!path) return 0;
  return CopyModuleName(ondrel::platform::sys::Utf8ToUtf16Lossy(*path), lpFilename, nSize);
}

DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize) {
  if (lpFilename == nullptr && nSize != 0) return Fail(ERROR_INVALID_PARAMETER);
  const std::optional<std::string> path = ModulePath(hModule);
  if (!path) return 0;
  return CopyModuleName(ondrel::platform::sys::Utf8ToCp1252Lossy(*path), lpFilename, nSize);
}

void ondrel::platform::SetHostExecutablePath(std::string path) {
  HostExecutable& named = NamedHostExecutable();
  const std::lock_guard<std::mutex> guard(named.lock);
  named.path = std::move(path);
}

std::FILE* OpenFileAnsi(LPCSTR path, LPCSTR mode) {
  if (path == nullptr || mode == nullptr) {
    errno = EINVAL;
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const std::string utf8_path = ondrel::platform::sys::Cp1252ToUtf8(path);
  std::FILE* file = std::fopen(utf8_path.c_str(), mode);
  if (file == nullptr) SetLastError(ErrorOfPath(errno, utf8_path));
  return file;
}

LONGLONG FileSizeOf(std::FILE* file) {
  struct stat status {};
  if (file == nullptr || fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
  return static_cast<LONGLONG>(status.st_size);
}

bool IsTerminal(std::FILE* stream) { return stream != nullptr && isatty(fileno(stream)) == 1; }

void AdviseLargeBlock(void* block, std::size_t size) {
  // Transparent huge pages come in 2 MiB; below two of them there is little to gain.
  constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
  if (block == nullptr || size < 2 * kHugePage) return;
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto start = (reinterpret_cast<std::uintptr_t>(block) + pageSize - 1) & ~(pageSize - 1);
  const auto end = (reinterpret_cast<std::uintptr_t>(block) + size) & ~(pageSize - 1);
  if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

LONGLONG ReadFileAt(std::FILE* file, LONGLONG offset, BYTE* target, std::size_t n) {
  if (file == nullptr || (target == nullptr && n > 0) || offset < 0) {
    errno = EINVAL;
    SetLastError(ERROR_INVALID_PARAMETER);
    return -1;
  }
  const int descriptor = fileno(file);
  std::size_t done = 0;
  while (done < n) {
    const ssize_t got = pread(descriptor, target + done, n - done, static_cast<off_t>(offset) + static_cast<off_t>(done));
    if (got < 0) {
      if (errno == EINTR) continue;
      SetLastError(ErrorOfTransfer(errno));
      return -1;
    }
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<LONGLONG>(done);
}

void GetLocalTime(SYSTEMTIME* lpSystemTime) {
  if (lpSystemTime == nullptr) return;
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  // localtime_r reads the time zone only once; a changed TZ should show, as a changed zone does on Windows.
  ::tzset();
  std::tm calendar{};
  ::localtime_r(&now.tv_sec, &calendar);
  FillSystemTime(calendar, now.tv_nsec, lpSystemTime);
}

void GetSystemTime(SYSTEMTIME* lpSystemTime) {
  if (lpSystemTime == nullptr) return;
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  std::tm calendar{};
  ::gmtime_r(&now.tv_sec, &calendar);
  FillSystemTime(calendar, now.tv_nsec, lpSystemTime);
}
