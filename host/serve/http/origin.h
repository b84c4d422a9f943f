#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// Whether a Host header names this machine: `localhost`, 127.0.0.0/8 or [::1], with or without a port. A page of
/// another site whose name was made to point to this machine sends the name of that site.
bool isLoopbackHost(std::string_view host);

/// Which page a request comes from, as the browser reports it.
enum class Sender {
  /// No browser, or one that says nothing.
  kUnknown,
  /// A page that this server sent, or one of `allowOrigins`.
  kOurs,
  kForeign,
};
Sender senderOf(const HttpRequest& request, const std::vector<std::string>& allowOrigins);

/// Cross-origin requests (CORS) of the pages in `allowOrigins`. Cookies are never sent with them, so such a page has to
/// know the token.
class CrossOrigin {
 public:
  explicit CrossOrigin(std::vector<std::string> allowOrigins) : allowOrigins_(std::move(allowOrigins)) {}

  /// Adds the headers by which a browser decides whether a page may read the answer.
  void addHeaders(const HttpRequest& request, HttpResponse& response) const;
  /// The answer to an OPTIONS request, by which a browser asks first.
  static HttpResponse preflight();

 private:
  std::vector<std::string> allowOrigins_;
};

}  // namespace host::serve
