#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/output.h"
#include "host/serve/http/Body.h"

namespace host::serve {

/// A request, after limits and access were checked. Any bytes may be in its texts.
struct HttpRequest {
  /// Any name; most are unknown to every handler. Never "OPTIONS", which HttpFront handles.
  std::string method;
  /// The path, split at its slashes and then percent-decoded, without the empty first part: `/v1/streams` is
  /// {"v1", "streams"}, and `/` is {""}.
  std::vector<std::string> path;
  /// Percent-decoded; of a name that comes twice the last value.
  std::map<std::string, std::string, std::less<>> query;
  /// Names in lower case.
  std::map<std::string, std::string, std::less<>> headers = {};
  /// Of a POST; limited to a few KiB.
  std::string body = {};

  const std::string* parameter(std::string_view name) const {
    const auto found = query.find(name);
    return found == query.end() ? nullptr : &found->second;
  }
  /// `name` in lower case.
  const std::string* header(std::string_view name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? nullptr : &found->second;
  }
};

/// An answer. The server adds length, date and the headers of every answer to a whole request, and does ranges, HEAD
/// and conditional requests itself, by `etag`.
struct HttpResponse {
  unsigned status = 200;
  std::string type = "text/plain; charset=utf-8";
  Body body = {};
  /// With its quotes; empty for none. Only answers with one have ranges.
  std::string etag = {};
  /// For Cache-Control; the default is for answers that change.
  std::string cache = "no-store";
  std::vector<std::pair<std::string, std::string>> headers = {};

  /// A file or a fragment that never changes under its address.
  static constexpr const char* kForEver = "public, max-age=31536000, immutable";
};

/// A request that cannot be answered as asked. The server turns it into errorResponse().
struct HttpError {
  unsigned status = 400;
  std::string text = {};
};

/// The answer to an error: {"error": text}.
HttpResponse errorResponse(const HttpError& error);
/// 405 for an address that has these methods, such as "GET, HEAD". OPTIONS is added: every address has it.
HttpResponse methodNotAllowed(const std::string& allowed);
/// A JSON document, with status 200.
HttpResponse jsonResponse(const Json& document);

/// Answers a request. Runs on a worker thread, several at once, and may read from disk. Throws HttpError; any other
/// exception is answered with 500 and goes to the log.
using HttpHandler = std::function<HttpResponse(const HttpRequest&)>;

}  // namespace host::serve
