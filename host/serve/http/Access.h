#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

struct AccessOptions {
  /// Empty: none is asked for, and the server listens on the loopback interface only.
  std::string token = {};
  /// Whether requests that change nothing need the token, too.
  bool readToken = true;
  /// Origins of pages that may use the server, as `https://example.org`.
  std::vector<std::string> allowOrigins = {};

  bool operator==(const AccessOptions&) const = default;
};

/// Decides who may do what. The token comes as `Authorization: Bearer TOKEN`, as the password of Basic with any user,
/// or as a cookie, which `login` sets for whoever gives the token to its form. Without a token, requests have to be
/// made to a name of this machine. A request that changes something has to come from our own page or from no page at
/// all.
/// `/livez` and `/readyz` are open: probes have no token, and they reveal nothing.
class Access {
 public:
  /// Throws std::runtime_error if the digest of the token cannot be computed.
  explicit Access(AccessOptions options);

  /// Nothing if the request may be answered; otherwise its answer: a refusal, the form for the token, or what the form
  /// leads to.
  std::optional<HttpResponse> intercept(const HttpRequest& request) const;
  /// Whether reading needs the token, so that no shared cache may keep an answer.
  bool isPrivate() const { return !options_.token.empty() && options_.readToken; }

 private:
  /// How a request shows that it knows the token, the strongest first.
  enum class Proof { kBearer, kBasic, kCookie, kNone };

  Proof proofOf(const HttpRequest& request) const;
  std::optional<HttpResponse> withoutToken(const HttpRequest& request) const;
  std::optional<HttpResponse> withToken(const HttpRequest& request) const;
  bool mayChange(const HttpRequest& request, Proof proof) const;
  HttpResponse logIn(const HttpRequest& request) const;

  AccessOptions options_;
  /// Other servers on this machine get our cookies, since ports do not separate them. So the name depends on the token,
  /// and the value is no token.
  std::string cookieName_;
  std::string cookieValue_;
};

}  // namespace host::serve
