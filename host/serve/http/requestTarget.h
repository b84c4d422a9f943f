#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace host::serve {

using Parameters = std::map<std::string, std::string, std::less<>>;

/// The target of a request line, as HttpRequest has it.
struct RequestTarget {
  std::vector<std::string> path;
  Parameters query;
};

/// Splits and decodes `/v1/streams?limit=3`. Throws HttpError (400) if the text does not begin with a slash, or has a
/// percent sign without two hexadecimal digits after it.
RequestTarget parseTarget(std::string_view target);

/// Decodes `a=b&c=d`, of an address or of a form. Of a name that comes twice the last value. Throws as parseTarget().
Parameters parseParameters(std::string_view text);

}  // namespace host::serve
