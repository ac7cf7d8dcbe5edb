// Code-page conversion. The ANSI code page of every thread is Windows-1252, so narrow text in the core
// is Windows-1252 (byte 0xB0 is the degree sign) and wide text is UTF-16.
#pragma once

#include "ondrel/platform/wintypes.h"

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr UINT CP_WINDOWS_1252 = 1252;

// The ANSI code page: 1252.
UINT GetACP();

// Converts `cbMultiByte` bytes (-1: up to and including the terminating null) of code page `CodePage`
// (CP_ACP, CP_THREAD_ACP, 1252 or CP_UTF8) to UTF-16. With `cchWideChar` 0 it returns the characters
// needed and writes nothing. Returns 0 on failure and sets the last error: ERROR_INSUFFICIENT_BUFFER
// (122) when the output is too small, ERROR_INVALID_PARAMETER for bad arguments or an unknown code page,
// ERROR_NO_UNICODE_TRANSLATION for malformed UTF-8. Bytes 0x81, 0x8D, 0x8F, 0x90 and 0x9D, which
// Windows-1252 leaves undefined, map to the control characters of the same value, as on Windows.
int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar);
// The reverse. A character the code page lacks becomes `lpDefaultChar` (or "?") and sets
// *lpUsedDefaultChar; both must be null for CP_UTF8, where an unpaired surrogate becomes U+FFFD.
int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                        BOOL* lpUsedDefaultChar);
