// Numbers in command-line options, read whole or not at all.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace ondrel::cli {

// The whole of `text` as a number of type T; nothing for anything else, out-of-range values included.
template <typename T>
std::optional<T> NumberOf(std::string_view text) {
  T value{};
  const char* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value);
  if (text.empty() || error != std::errc() || end != last) return std::nullopt;
  return value;
}

// The two numbers of text like 512x512 or 10,-5, split at `separator`; nothing unless both are numbers
// of type T.
template <typename T>
std::optional<std::pair<T, T>> PairOf(std::string_view text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string_view::npos) return std::nullopt;
  const std::optional<T> first = NumberOf<T>(text.substr(0, at));
  const std::optional<T> second = NumberOf<T>(text.substr(at + 1));
  if (!first || !second) return std::nullopt;
  return std::pair{*first, *second};
}

}  // namespace ondrel::cli
