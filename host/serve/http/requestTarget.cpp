#include "host/serve/http/requestTarget.h"

#include <charconv>

#include "host/serve/http/HttpMessage.h"

namespace host::serve {
namespace {

/// The character of two hexadecimal digits.
char hexCharacter(std::string_view digits) {
  unsigned char value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  if (digits.size() != 2 || result.ec != std::errc() || result.ptr != digits.data() + 2) {
    throw HttpError{.status = 400, .text = "the address has a percent sign without two hexadecimal digits"};
  }
  return static_cast<char>(value);
}

std::string decoded(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      result += text[i];
    } else {
      result += hexCharacter(text.substr(i + 1, 2));
      i += 2;
    }
  }
  return result;
}

/// In queries and forms a plus is a space.
std::string decodedParameter(std::string_view text) {
  std::string spaced(text);
  for (char& c : spaced) {
    if (c == '+') c = ' ';
  }
  return decoded(spaced);
}

/// Takes what is before the next separator, or all, from the front of `rest`.
std::string_view takeUntil(std::string_view& rest, char separator) {
  const std::size_t end = rest.find(separator);
  const std::string_view part = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return part;
}

}  // namespace

Parameters parseParameters(std::string_view text) {
  Parameters parameters;
  while (!text.empty()) {
    std::string_view value = takeUntil(text, '&');
    if (value.empty()) continue;
    const std::string_view name = takeUntil(value, '=');
    parameters.insert_or_assign(decodedParameter(name), decodedParameter(value));
  }
  return parameters;
}

RequestTarget parseTarget(std::string_view target) {
  if (!target.starts_with('/')) throw HttpError{.status = 400, .text = "the address does not begin with a slash"};
  std::string_view query = target.substr(1);
  std::string_view path = takeUntil(query, '?');
  RequestTarget result{.path = {}, .query = parseParameters(query)};
  // Split before it is decoded: an encoded slash belongs to its part.
  bool isLast = false;
  while (!isLast) {
    isLast = path.find('/') == std::string_view::npos;
    result.path.push_back(decoded(takeUntil(path, '/')));
  }
  return result;
}

}  // namespace host::serve
