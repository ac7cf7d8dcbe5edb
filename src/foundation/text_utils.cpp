#include "foundation/text_utils.h"

#include <climits>

#include "ondrel/platform/codepage.h"
#include "ondrel/platform/hresult_exception.h"

namespace {

using ondrel::platform::HResultException;

constexpr int kStackCharacters = 128;

[[noreturn]] void ThrowLastError() {
  const DWORD error = GetLastError();
  // A refusal that left no error code is still a failure, so it must not become S_OK.
  throw HResultException(error != ERROR_SUCCESS ? HRESULT_FROM_WIN32(error) : E_FAIL);
}

int CheckedLength(std::size_t length) {
  if (length > static_cast<std::size_t>(INT_MAX)) throw HResultException(E_INVALIDARG);
  return static_cast<int>(length);
}

}  // namespace

std::u16string ToWide(std::string_view narrow) {
  if (narrow.empty()) return std::u16string();
  const int length = CheckedLength(narrow.size());
  char16_t stackBuffer[kStackCharacters];
  int written = MultiByteToWideChar(CP_THREAD_ACP, 0, narrow.data(), length, stackBuffer, kStackCharacters);
  if (written > 0) return std::u16string(stackBuffer, static_cast<std::size_t>(written));
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) ThrowLastError();

  const int needed = MultiByteToWideChar(CP_THREAD_ACP, 0, narrow.data(), length, nullptr, 0);
  if (needed <= 0) ThrowLastError();
  std::u16string result(static_cast<std::size_t>(needed), u'\0');
  written = MultiByteToWideChar(CP_THREAD_ACP, 0, narrow.data(), length, result.data(), needed);
  if (written <= 0) ThrowLastError();
  result.resize(static_cast<std::size_t>(written));
  return result;
}

std::string ToNarrow(std::u16string_view wide) {
  if (wide.empty()) return std::string();
  const int length = CheckedLength(wide.size());
  char stackBuffer[kStackCharacters];
  int written =
      WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), length, stackBuffer, kStackCharacters, nullptr, nullptr);
  if (written > 0) return std::string(stackBuffer, static_cast<std::size_t>(written));
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) ThrowLastError();

  const int needed = WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) ThrowLastError();
  std::string result(static_cast<std::size_t>(needed), '\0');
  written = WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), length, result.data(), needed, nullptr, nullptr);
  if (written <= 0) ThrowLastError();
  result.resize(static_cast<std::size_t>(written));
  return result;
}

std::optional<std::string> ToNarrowExact(std::u16string_view wide) {
  if (wide.find(u'\0') != std::u16string_view::npos) return std::nullopt;
  if (wide.empty()) return std::string();
  const int length = CheckedLength(wide.size());
  BOOL lossy = FALSE;
  const int needed = WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), length, nullptr, 0, nullptr, &lossy);
  if (needed <= 0) ThrowLastError();
  if (lossy) return std::nullopt;
  std::string result(static_cast<std::size_t>(needed), '\0');
  if (WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), length, result.data(), needed, nullptr, nullptr) <= 0)
    ThrowLastError();
  return result;
}

std::string ToNarrow(const char16_t* wide) {
  if (wide == nullptr) return std::string();
  return ToNarrow(std::u16string_view(wide));
}

namespace {

template <class String>
void TrimBlanks(String& text) {
  using Char = typename String::value_type;
  const auto first = text.find_first_not_of(Char(' '));
  if (first == String::npos) {
    text.clear();
    return;
  }
  const auto last = text.find_last_not_of(Char(' '));
  text.erase(last + 1);
  text.erase(0, first);
}

}  // namespace

void Trim(std::string& text) { TrimBlanks(text); }

void Trim(std::u16string& text) { TrimBlanks(text); }
