// Text for the terminal, which reads UTF-8, from the core's texts.
#pragma once

#include <string>
#include <string_view>

namespace ondrel::cli {

// UTF-8 of UTF-16 text.
std::string ToConsole(const std::u16string& text);
// UTF-8 of the core's narrow text, which is Windows-1252.
std::string NarrowToConsole(std::string_view text);

}  // namespace ondrel::cli
