// UTF-8, the database's text, to and from UTF-16, the objects' text.
#pragma once

#include <string>
#include <string_view>

#include "ondrel/platform/codepage.h"

namespace ondrel::workstation {

inline std::string Utf8(std::u16string_view text) {
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), needed, nullptr, nullptr);
  return result;
}

inline std::u16string Utf16(std::string_view text) {
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::u16string result(static_cast<std::size_t>(needed), u'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), needed);
  return result;
}

}  // namespace ondrel::workstation
