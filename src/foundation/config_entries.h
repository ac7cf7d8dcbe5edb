// The entries of the configuration files the workstation's programs share (the settings file, the
// user's preferences, the global configuration): one `<add key="NAME" value="VALUE"/>` a line, read the
// way these files have always been read, by searching rather than parsing XML.
#pragma once

#include <optional>
#include <string_view>
#include <utility>

// The key and value of the first entry on `line`, narrow or wide. Each search goes on from where the
// one before it stopped ("<add", then "key=", its quoted text, "value=", its quoted text), so pieces out
// of order leave the line without an entry; only the first entry of a line is read.
template <class Char>
std::optional<std::pair<std::basic_string_view<Char>, std::basic_string_view<Char>>> ScanAddEntry(
    std::basic_string_view<Char> line) {
  constexpr auto npos = std::basic_string_view<Char>::npos;
  const Char add[] = {'<', 'a', 'd', 'd', 0};
  const Char key[] = {'k', 'e', 'y', '=', 0};
  const Char value[] = {'v', 'a', 'l', 'u', 'e', '=', 0};
  const std::size_t addAt = line.find(add);
  if (addAt == npos) return std::nullopt;
  const std::size_t keyMark = line.find(key, addAt);
  if (keyMark == npos) return std::nullopt;
  const std::size_t keyQuote = line.find(Char('"'), keyMark);
  if (keyQuote == npos) return std::nullopt;
  const std::size_t keyStart = keyQuote + 1;
  const std::size_t keyEnd = line.find(Char('"'), keyStart);
  if (keyEnd == npos) return std::nullopt;
  const std::size_t valueMark = line.find(value, keyStart);
  if (valueMark == npos) return std::nullopt;
  const std::size_t valueQuote = line.find(Char('"'), valueMark);
  if (valueQuote == npos) return std::nullopt;
  const std::size_t valueStart = valueQuote + 1;
  const std::size_t valueEnd = line.find(Char('"'), valueStart);
  if (valueEnd == npos) return std::nullopt;
  return std::pair{line.substr(keyStart, keyEnd - keyStart), line.substr(valueStart, valueEnd - valueStart)};
}
