// Basic Windows-shaped types of the platform layer: integer aliases, handles, HRESULT and its codes,
// SYSTEMTIME and the thread's last error.
//
// The core is written against these names so that it reads like the Windows code it was designed as;
// on Linux the platform layer implements them. Handles are distinct pointer types (the DECLARE_HANDLE
// pattern), so a device context passed where a window is expected does not compile.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using INT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using BOOL = std::int32_t;
using CHAR = char;
using WCHAR = char16_t;  // Windows' 16-bit wide character; wchar_t is 32 bits here and never used for text
using OLECHAR = char16_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = char16_t*;
using LPCWSTR = const char16_t*;
using LPOLESTR = char16_t*;
using LPCOLESTR = const char16_t*;
using LPVOID = void*;
using LPCVOID = const void*;
using HANDLE = void*;
using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using VARIANT_BOOL = std::int16_t;
using LCID = DWORD;
using DATE = double;  // OLE automation date: days since 1899-12-30, time of day as the fraction

#define DECLARE_HANDLE(name) \
  struct name##__;           \
  using name = name##__*

DECLARE_HANDLE(HINSTANCE);
using HMODULE = HINSTANCE;

// Macros as in the Windows headers, so that other C headers that define them (jpeglib) agree.
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
constexpr bool FAILED(HRESULT hr) { return hr < 0; }

constexpr HRESULT MakeHResult(std::uint32_t value) { return static_cast<HRESULT>(value); }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = MakeHResult(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = MakeHResult(0x80004002);
inline constexpr HRESULT E_POINTER = MakeHResult(0x80004003);
inline constexpr HRESULT E_ABORT = MakeHResult(0x80004004);
inline constexpr HRESULT E_FAIL = MakeHResult(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = MakeHResult(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = MakeHResult(0x80070005);
inline constexpr HRESULT E_HANDLE = MakeHResult(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = MakeHResult(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = MakeHResult(0x80070057);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = MakeHResult(0x80020005);
inline constexpr HRESULT DISP_E_EXCEPTION = MakeHResult(0x80020009);
inline constexpr HRESULT DISP_E_BADINDEX = MakeHResult(0x8002000B);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = MakeHResult(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = MakeHResult(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = MakeHResult(0x80040154);
inline constexpr HRESULT CO_E_CLASSSTRING = MakeHResult(0x800401F3);
inline constexpr HRESULT INTSAFE_E_ARITHMETIC_OVERFLOW = MakeHResult(0x80070216);

// Windows error codes (GetLastError values) that the platform layer reports.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_ARITHMETIC_OVERFLOW = 534;

// HRESULT_FROM_WIN32: the error code in the lower 16 bits under 0x80070000; zero and negative values
// pass through unchanged.
constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
  return static_cast<HRESULT>(error) <= 0 ? static_cast<HRESULT>(error)
                                          : MakeHResult((error & 0x0000FFFFu) | 0x80070000u);
}

static_assert(E_POINTER == MakeHResult(0x80004003));
static_assert(E_FAIL == MakeHResult(0x80004005));
static_assert(HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW) == INTSAFE_E_ARITHMETIC_OVERFLOW);
static_assert(HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY) != E_OUTOFMEMORY);

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;  // 1 = January
  WORD wDayOfWeek;  // 0 = Sunday
  WORD wDay;  // day of the month
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};

// The calling thread's last error, as Windows keeps it. Platform calls that fail set it; the file
// calls set it from errno mapped to the nearest Windows code.
DWORD GetLastError();
void SetLastError(DWORD error);
