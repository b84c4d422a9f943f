#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/serve/http/Access.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/http/origin.h"

namespace host::serve {

/// A request as it came over the wire, limited in size.
struct RawRequest {
  std::string method;
  /// Path and query, not decoded.
  std::string target;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

/// Everything between the wire and the handlers that needs no socket: decodes a request, decides on access, asks the
/// handler, does conditions and ranges, and adds the headers that every answer has. Any thread may call it.
class HttpFront {
 public:
  using LogLine = std::function<void(const std::string&)>;

  /// `logLine` gets a line for each answer that failed by our own fault; any thread calls it.
  HttpFront(AccessOptions access, HttpHandler handler, LogLine logLine);

  /// Always an answer: every exception becomes one. What is sent of it for HEAD is the caller's business.
  HttpResponse answer(RawRequest raw) const;

 private:
  HttpResponse respond(const HttpRequest& request) const;
  void addHeaders(const HttpRequest& request, HttpResponse& response) const;

  Access access_;
  CrossOrigin crossOrigin_;
  HttpHandler handler_;
  LogLine logLine_;
};

}  // namespace host::serve
