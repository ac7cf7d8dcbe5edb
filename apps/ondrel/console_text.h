// Text for the terminal, which reads UTF-8, from the core's texts.
#pragma once

#include <string>
#include <string_view>

namespace ondrel::cli {

// UTF-8 of UTF-16 text.
std::string ToConsole(const std::u16string& text);
// UTF-8 of the core's narrow text, which is Windows-1252.
std::string NarrowToConsole(std::string_view text);
// UTF-16 of the terminal's UTF-8 text (a name from the command line), for the engine's wide names.
std::u16string FromConsole(std::string_view text);

}  // namespace ondrel::cli
