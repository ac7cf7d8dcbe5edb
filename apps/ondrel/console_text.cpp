#include "console_text.h"

#include "foundation/text_utils.h"
#include "ondrel/platform/codepage.h"

namespace ondrel::cli {

std::string ToConsole(const std::u16string& text) {
  if (text.empty()) return {};
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                       nullptr, nullptr);
  std::string out(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
  if (size > 0)
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size, nullptr,
                        nullptr);
  return out;
}

std::string NarrowToConsole(std::string_view text) { return ToConsole(ToWide(text)); }

std::u16string FromConsole(std::string_view text) {
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::u16string wide(static_cast<std::size_t>(size > 0 ? size : 0), u'\0');
  if (size > 0) MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

}  // namespace ondrel::cli
