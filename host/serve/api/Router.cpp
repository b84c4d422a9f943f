#include "host/serve/api/Router.h"

#include <algorithm>
#include <cstddef>

#include "host/serve/http/requestTarget.h"

namespace host::serve {
namespace {

bool matchesPart(std::string_view wanted, std::string_view part) {
  const std::size_t star = wanted.find('*');
  if (star == std::string_view::npos) return wanted == part;
  return part.size() >= wanted.size() && part.starts_with(wanted.substr(0, star)) &&
         part.ends_with(wanted.substr(star + 1));
}

bool matches(const std::vector<std::string>& pattern, const std::vector<std::string>& path) {
  return std::ranges::equal(pattern, path, matchesPart);
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
