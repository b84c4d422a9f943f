#include "host/serve/api/Router.h"

#include <algorithm>

#include "host/serve/http/requestTarget.h"

namespace host::serve {
namespace {

bool matches(const std::vector<std::string>& pattern, const std::vector<std::string>& path) {
  return std::ranges::equal(pattern, path, [](const std::string& wanted, const std::string& part) {
    return wanted == "*" ? !part.empty() : wanted == part;
  });
}

HttpResponse methodNotAllowed(const std::string& allowed) {
  HttpResponse response = errorResponse({.status = 405, .text = "this address has other methods only: " + allowed});
  response.headers.emplace_back("Allow", allowed);
  return response;
}

}  // namespace

void Router::add(std::string method, std::string_view pattern, HttpHandler handler) {
  routes_.push_back({std::move(method), parseTarget(pattern).path, std::move(handler)});
}

HttpResponse Router::operator()(const HttpRequest& request) const {
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  std::string allowed;
  for (const Route& route : routes_) {
    if (!matches(route.parts, request.path)) continue;
    if (route.method == method) return route.handler(request);
    const std::string names = route.method == "GET" ? "GET, HEAD" : route.method;
    if (allowed.find(names) == std::string::npos) allowed += (allowed.empty() ? "" : ", ") + names;
  }
  if (!allowed.empty()) return methodNotAllowed(allowed);
  throw HttpError{.status = 404, .text = "there is nothing at this address"};
}

}  // namespace host::serve
