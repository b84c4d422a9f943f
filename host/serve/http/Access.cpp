#include "host/serve/http/Access.h"

#include <fmt/format.h>

#include "host/serve/http/credentials.h"
#include "host/serve/http/loginPage.h"
#include "host/serve/http/origin.h"
#include "host/serve/http/requestTarget.h"
#include "host/serve/http/secrets.h"

namespace host::serve {
namespace {

bool isOnly(const HttpRequest& request, std::string_view part) {
  return request.path.size() == 1 && request.path.front() == part;
}

/// Methods that no address has need what a change needs.
bool isChange(const HttpRequest& request) {
  return request.method != "GET" && request.method != "HEAD";
}

/// A browser that fetches for a page would ask its user for a password if it saw Basic, over the page. One that shows
/// the answer itself may ask, and so do players.
bool isFetchOfAPage(const HttpRequest& request) {
  const std::string* mode = request.header("sec-fetch-mode");
  return (mode != nullptr && *mode != "navigate") || request.header("x-requested-with") != nullptr;
}

HttpResponse tokenMissing(const HttpRequest& request) {
  HttpResponse response = errorResponse({.status = 401, .text = "the token of this server is needed"});
  response.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"k2r\"");
  if (!isFetchOfAPage(request)) {
    response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"k2r\", charset=\"UTF-8\"");
  }
  return response;
}

HttpResponse foreignPage() {
  return errorResponse({.status = 403, .text = "the request comes from a page of another site"});
}

}  // namespace

Access::Access(AccessOptions options)
    : options_(std::move(options)),
      cookieName_("k2r_" + hmacHex(options_.token, "name of the cookie").substr(0, 8)),
      cookieValue_(hmacHex(options_.token, "value of the cookie")) {}

std::optional<HttpResponse> Access::intercept(const HttpRequest& request) const {
  const bool isProbe = isOnly(request, "livez") || isOnly(request, "readyz");
  if (isProbe && !isChange(request)) return std::nullopt;
  return options_.token.empty() ? withoutToken(request) : withToken(request);
}

std::optional<HttpResponse> Access::withoutToken(const HttpRequest& request) const {
  const std::string* host = request.header("host");
  if (host == nullptr || !isLoopbackHost(*host)) {
    return errorResponse({.status = 403, .text = "Host: without a token, only localhost and loopback addresses"});
  }
  if (isChange(request) && senderOf(request, options_.allowOrigins) == Sender::kForeign) return foreignPage();
  return std::nullopt;
}

Access::Proof Access::proofOf(const HttpRequest& request) const {
  const auto proves = [](const std::optional<std::string>& presented, const std::string& secret) {
    return presented && isSameSecret(*presented, secret);
  };
  if (proves(bearerToken(request), options_.token)) return Proof::kBearer;
  if (proves(basicPassword(request), options_.token)) return Proof::kBasic;
  if (proves(cookie(request, cookieName_), cookieValue_)) return Proof::kCookie;
  return Proof::kNone;
}

std::optional<HttpResponse> Access::withToken(const HttpRequest& request) const {
  if (isOnly(request, "login")) {
    if (!isChange(request)) return loginPage(200, false);
    return request.method == "POST" ? logIn(request) : methodNotAllowed("GET, HEAD, POST");
  }
  if (!isChange(request) && !options_.readToken) return std::nullopt;
  const Proof proof = proofOf(request);
  if (proof == Proof::kNone) {
    return isOnly(request, "") && !isChange(request) ? loginPage(401, false) : tokenMissing(request);
  }
  if (isChange(request) && !mayChange(request, proof)) return foreignPage();
  return std::nullopt;
}

bool Access::mayChange(const HttpRequest& request, Proof proof) const {
  // Browsers add cookies and passwords to the requests of any page, but a token only to those of a page that knows it.
  if (proof == Proof::kBearer) return true;
  const Sender sender = senderOf(request, options_.allowOrigins);
  return sender == Sender::kOurs || (sender == Sender::kUnknown && proof == Proof::kBasic);
}

HttpResponse Access::logIn(const HttpRequest& request) const {
  if (senderOf(request, options_.allowOrigins) == Sender::kForeign) return foreignPage();
  const Parameters form = parseParameters(request.body);
  const auto token = form.find("token");
  if (token == form.end() || !isSameSecret(token->second, options_.token)) return loginPage(401, true);
  // Without a Path the cookie belongs to the folder of `login` as the browser sees it, whatever a proxy puts before it.
  constexpr int kThirtyDays = 30 * 24 * 3600;
  const std::string* scheme = request.header("x-forwarded-proto");
  HttpResponse response{.status = 303};
  response.headers.emplace_back("Location", "./");
  response.headers.emplace_back("Set-Cookie",
                                fmt::format("{}={}; Max-Age={}; HttpOnly; SameSite=Strict{}", cookieName_, cookieValue_,
                                            kThirtyDays, scheme != nullptr && *scheme == "https" ? "; Secure" : ""));
  return response;
}

}  // namespace host::serve
