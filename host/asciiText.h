#pragma once

#include <algorithm>
#include <string_view>

namespace host {

/// Whether it is a control character of ASCII, whatever the locale: these break lines, move a terminal's cursor, or end
/// a text.
constexpr bool isControl(char c) {
  return (c >= '\0' && c < ' ') || c == '\x7f';
}

/// The text without these characters at its ends.
constexpr std::string_view trimmed(std::string_view text, std::string_view characters) {
  text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
  return text.substr(0, text.find_last_not_of(characters) + 1);
}

}  // namespace host
