#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// Finds the handler of a request by its method and path.
class Router {
 public:
  /// `pattern` is a path such as `/v1/streams/*/recordings`, in which a part may have one `*`, for any text but an
  /// empty one; the handler finds the part in HttpRequest::path and compares it with the names that it knows. Of
  /// several patterns that match, the first one added counts. A handler for GET is also called for HEAD.
  void add(std::string method, std::string_view pattern, HttpHandler handler);

  /// An HttpHandler itself. Without a handler: 404, or 405 if the path has one for another method.
  HttpResponse operator()(const HttpRequest& request) const;

 private:
  struct Route {
    std::string method;
    std::vector<std::string> parts;
    HttpHandler handler;
  };

  std::vector<Route> routes_;
};

}  // namespace host::serve
