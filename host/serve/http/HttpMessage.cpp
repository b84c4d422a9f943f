#include "host/serve/http/HttpMessage.h"

namespace host::serve {

HttpResponse jsonResponse(const Json& document) {
  // Bytes that are not UTF-8 are replaced: names and errors come from outside.
  std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
  return {.type = "application/json", .body = Body(std::move(text))};
}

HttpResponse errorResponse(const HttpError& error) {
  HttpResponse response = jsonResponse(Json{{"error", error.text}});
  response.status = error.status;
  return response;
}

HttpResponse methodNotAllowed(const std::string& allowed) {
  HttpResponse response = errorResponse({.status = 405, .text = "this address has other methods only: " + allowed});
  response.headers.emplace_back("Allow", allowed + ", OPTIONS");
  return response;
}

}  // namespace host::serve
