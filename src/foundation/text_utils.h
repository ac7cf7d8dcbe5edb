// Text conversion between the core's narrow text (the ANSI code page, Windows-1252) and wide text
// (UTF-16), and trimming.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// Convert through the thread's ANSI code page; an empty input gives an empty output. A conversion the
// platform refuses throws ondrel::platform::HResultException with the last error as an HRESULT.
std::u16string ToWide(std::string_view narrow);
std::string ToNarrow(std::u16string_view wide);
// A null pointer gives an empty string.
std::string ToNarrow(const char16_t* wide);

// The narrow form of a file name, which must not change on the way: nothing when the name holds a NUL
// or a character the ANSI code page lacks, since either would name another file ('?' in its place, or
// the name cut short).
std::optional<std::string> ToNarrowExact(std::u16string_view wide);

// Removes blanks (0x20), and only blanks, at both ends, in place.
void Trim(std::string& text);
void Trim(std::u16string& text);
