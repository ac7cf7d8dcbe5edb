// Files, folders, modules and clocks in their Windows shape, over POSIX.
//
// Wide paths are UTF-16 and narrow paths are in the ANSI code page (Windows-1252); both are handed to
// the file system as UTF-8. The path separator is '/'. Share modes are accepted and not enforced: POSIX
// has no mandatory locks, so "deny write" only documents intent here. Failures set the last error
// from errno mapped to the nearest Windows code.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "ondrel/platform/wintypes.h"

inline constexpr DWORD GENERIC_READ = 0x80000000u;
inline constexpr DWORD GENERIC_WRITE = 0x40000000u;
inline constexpr DWORD FILE_SHARE_READ = 0x1;
inline constexpr DWORD FILE_SHARE_WRITE = 0x2;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFFu;
inline constexpr DWORD MAX_PATH = 260;

// Opens or creates a file as `dwCreationDisposition` says (CREATE_NEW, CREATE_ALWAYS, OPEN_EXISTING,
// OPEN_ALWAYS, TRUNCATE_EXISTING). New files get read and write permission for everyone the process's
// umask allows. INVALID_HANDLE_VALUE on failure. With OPEN_ALWAYS or CREATE_ALWAYS the last error is
// ERROR_ALREADY_EXISTS when the file was there, else 0.
HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode, void* lpSecurityAttributes,
                   DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);
HANDLE CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode, void* lpSecurityAttributes,
                   DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);
// Writes all `nNumberOfBytesToWrite` bytes unless the file system fails; *lpNumberOfBytesWritten (may
// be null) says how many went out. Overlapped I/O is not supported: lpOverlapped must be null.
BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite, DWORD* lpNumberOfBytesWritten,
               void* lpOverlapped);
BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, DWORD* lpNumberOfBytesRead,
              void* lpOverlapped);
// Moves the file pointer; returns the low 32 bits of the new position (the high ones in
// *lpDistanceToMoveHigh when given), or INVALID_SET_FILE_POINTER with the last error set. On success the
// last error is 0, so that a position whose low part is 0xFFFFFFFF can be told from a failure. Without
// lpDistanceToMoveHigh, a new position beyond 32 bits fails (ERROR_INVALID_PARAMETER) as on Windows,
// but the pointer has moved there.
DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, LONG* lpDistanceToMoveHigh, DWORD dwMoveMethod);
// Closes a handle from CreateFile. FALSE and ERROR_INVALID_HANDLE for anything else.
BOOL CloseHandle(HANDLE hObject);
// Creates one folder. FALSE with ERROR_ALREADY_EXISTS when it is there, ERROR_PATH_NOT_FOUND when its
// parent is missing.
BOOL CreateDirectoryW(LPCWSTR lpPathName, void* lpSecurityAttributes);
BOOL CreateDirectoryA(LPCSTR lpPathName, void* lpSecurityAttributes);

// The full path of the module: the host executable for a null module; for another value, the shared
// library or executable that holds that address (a module is named by an address inside it). Copies at
// most nSize characters with the null; returns the characters copied without the null, or nSize with
// ERROR_INSUFFICIENT_BUFFER when the path was cut, or 0 on failure.
DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);
DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize);

namespace ondrel::platform {
// Names the file that stands for the host executable from now on, for a host that is not the
// process's executable: a Python extension module, whose data files (the dictionary, the settings,
// the preferences) stand beside it and not beside the interpreter. GetModuleFileName of the null
// module, and of addresses in the executable, then answers `path` (UTF-8); an empty path goes back
// to the process's executable.
void SetHostExecutablePath(std::string path);
}  // namespace ondrel::platform

// The C runtime's fopen for a narrow path in the ANSI code page. On failure null, with errno and the
// last error set (as the Windows runtime's fopen leaves a last error behind).
std::FILE* OpenFileAnsi(LPCSTR path, LPCSTR mode);

// The size of a stream's file, or -1 when the stream is not a regular file (a pipe, a device).
LONGLONG FileSizeOf(std::FILE* file);

// Whether a stream is a terminal, where a long run may show its progress on one line.
bool IsTerminal(std::FILE* stream);

// Reads `n` bytes at `offset` of a stream's file into `target`, whatever the stream's position and
// buffer, which are left as they are; safe to call from several threads on one stream. Returns the
// bytes read, short only at the end of the file, or -1 with errno and the last error set.
LONGLONG ReadFileAt(std::FILE* file, LONGLONG offset, BYTE* target, std::size_t n);

// A hint for a freshly allocated block of `size` bytes that is about to be written whole: a block of
// several megabytes (a radiograph's pixels) is backed by large pages where the system offers them,
// which makes its first touch about ten times cheaper. Smaller blocks and failures are ignored: the
// block works the same either way. Call it before the first write.
void AdviseLargeBlock(void* block, std::size_t size);

// Local time and UTC, with milliseconds and the day of the week.
void GetLocalTime(SYSTEMTIME* lpSystemTime);
void GetSystemTime(SYSTEMTIME* lpSystemTime);
