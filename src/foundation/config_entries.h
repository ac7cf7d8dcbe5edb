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
  // Where the quoted text after `mark` begins and ends, `mark` searched for from `from`.
  using Span = std::pair<std::size_t, std::size_t>;
  const auto quotedAfter = [line](const Char* mark, std::size_t from) -> std::optional<Span> {
    const std::size_t at = line.find(mark, from);
    const std::size_t open = at == npos ? npos : line.find(Char('"'), at);
    const std::size_t close = open == npos ? npos : line.find(Char('"'), open + 1);
    if (close == npos) return std::nullopt;
    return std::pair{open + 1, close};
  };
  const Char add[] = {'<', 'a', 'd', 'd', 0};
  const Char key[] = {'k', 'e', 'y', '=', 0};
  const Char value[] = {'v', 'a', 'l', 'u', 'e', '=', 0};
  const std::size_t addAt = line.find(add);
  if (addAt == npos) return std::nullopt;
  const auto keyText = quotedAfter(key, addAt);
  // The value is searched for from the key's first character, as these files have always been read.
  const auto valueText = keyText ? quotedAfter(value, keyText->first) : std::nullopt;
  if (!valueText) return std::nullopt;
  return std::pair{line.substr(keyText->first, keyText->second - keyText->first),
                   line.substr(valueText->first, valueText->second - valueText->first)};
}
