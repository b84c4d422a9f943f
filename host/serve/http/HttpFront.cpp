#include "host/serve/http/HttpFront.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <exception>

#include "host/asciiText.h"
#include "host/serve/http/conditions.h"
#include "host/serve/http/requestTarget.h"
#include "util/asciiCase.h"

namespace host::serve {
namespace {

/// Two of these could mean one thing to a proxy and another to us.
constexpr std::array kSingleHeaders = {"host",     "authorization",  "origin",         "range",
                                       "if-range", "content-length", "sec-fetch-site", "x-forwarded-host"};

const HttpError kServerFailed{.status = 500, .text = "the server failed; its log has the reason"};

void addHeader(HttpRequest& request, std::string name, const std::string& value) {
  std::ranges::transform(name, name.begin(), qvs::util::lowerCase);
  const auto [entry, isNew] = request.headers.try_emplace(name, value);
  if (isNew) return;
  if (std::ranges::find(kSingleHeaders, name) != kSingleHeaders.end()) {
    throw HttpError{.status = 400, .text = fmt::format("{}: the header comes more than once", name)};
  }
  entry->second += (name == "cookie" ? "; " : ", ") + value;
}

void parse(RawRequest& raw, HttpRequest& request) {
  for (const auto& [name, value] : raw.headers) addHeader(request, name, value);
  RequestTarget target = parseTarget(raw.target);
  request.path = std::move(target.path);
  request.query = std::move(target.query);
}

/// The path for a log line, without control characters. Queries are never logged: they are where people put secrets.
std::string loggedPath(const HttpRequest& request) {
  std::string text;
  for (const auto& part : request.path) text += "/" + part;
  std::ranges::replace_if(text, isControl, '?');
  return text;
}

}  // namespace

HttpFront::HttpFront(AccessOptions access, HttpHandler handler, LogLine logLine)
    : access_(access),
      crossOrigin_(std::move(access.allowOrigins)),
      handler_(std::move(handler)),
      logLine_(std::move(logLine)) {}

HttpResponse HttpFront::answer(RawRequest raw) const {
  HttpRequest request;
  request.method = std::move(raw.method);
  request.body = std::move(raw.body);
  HttpResponse response;
  try {
    parse(raw, request);
    response = respond(request);
    applyConditions(request, response);
  } catch (const HttpError& error) {
    response = errorResponse(error);
  } catch (const std::exception& error) {
    logLine_(fmt::format("{} {}: {}", request.method, loggedPath(request), error.what()));
    response = errorResponse(kServerFailed);
  } catch (...) {
    logLine_(fmt::format("{} {}: an unknown exception", request.method, loggedPath(request)));
    response = errorResponse(kServerFailed);
  }
  addHeaders(request, response);
  return response;
}

HttpResponse HttpFront::respond(const HttpRequest& request) const {
  if (request.method == "OPTIONS") return CrossOrigin::preflight();
  if (auto intercepted = access_.intercept(request)) return std::move(*intercepted);
  return handler_(request);
}

void HttpFront::addHeaders(const HttpRequest& request, HttpResponse& response) const {
  constexpr std::string_view kPublic = "public";
  auto& headers = response.headers;
  if (access_.isPrivate() && response.cache.starts_with(kPublic)) response.cache.replace(0, kPublic.size(), "private");
  headers.emplace_back("Cache-Control", response.cache);
  if (!response.etag.empty()) headers.emplace_back("ETag", response.etag);
  const bool hasType = response.body.size() != 0 && response.status != 304;
  if (hasType) headers.emplace_back("Content-Type", response.type);
  headers.emplace_back("X-Content-Type-Options", "nosniff");
  headers.emplace_back("Referrer-Policy", "same-origin");
  crossOrigin_.addHeaders(request, response);
}

}  // namespace host::serve
