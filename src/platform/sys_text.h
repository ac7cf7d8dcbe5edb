// Text conversions the platform layer uses inside itself, above all to hand paths to the file system
// (which takes UTF-8) and to give back the paths it reports. Implemented beside the code-page
// conversions in codepage.cpp, so that both share one Windows-1252 table and one UTF-8 decoder.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ondrel::platform::sys {

// UTF-8 of UTF-16 text; nullopt when the text holds an unpaired surrogate, which UTF-8 can't carry.
// Paths are not converted lossily: two different names must never open the same file.
std::optional<std::string> Utf16ToUtf8(std::u16string_view text);
// UTF-8 of Windows-1252 text; every byte has a character.
std::string Cp1252ToUtf8(std::string_view text);
// UTF-16 of UTF-8 text that came from the system; a byte outside a well-formed sequence becomes U+FFFD.
std::u16string Utf8ToUtf16Lossy(std::string_view text);
// Windows-1252 of UTF-8 text that came from the system; a character 1252 lacks, or a byte outside a
// well-formed sequence, becomes '?'.
std::string Utf8ToCp1252Lossy(std::string_view text);

}  // namespace ondrel::platform::sys
