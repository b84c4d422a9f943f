#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// The token of `Authorization: Bearer TOKEN`.
std::optional<std::string> bearerToken(const HttpRequest& request);
/// The password of `Authorization: Basic`, whatever the user is.
std::optional<std::string> basicPassword(const HttpRequest& request);
/// The value of a cookie.
std::optional<std::string> cookie(const HttpRequest& request, std::string_view name);

}  // namespace host::serve
