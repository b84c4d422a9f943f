#pragma once

#include <optional>
#include <string>
#include <utility>

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// The name in an address `/v1/streams/NAME/...`.
inline const std::string& requestedStream(const HttpRequest& request) {
  return request.path.at(2);
}

/// What is asked of a name that no stream has.
inline HttpError noSuchStream() {
  return {.status = 404, .text = "there is no such stream"};
}

/// The folder of a stream. Throws noSuchStream() if there is none.
inline std::string knownFolder(std::optional<std::string> folder) {
  if (!folder) throw noSuchStream();
  return *std::move(folder);
}

}  // namespace host::serve
