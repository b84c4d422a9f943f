#pragma once

#include "host/serve/api/ApiSources.h"
#include "host/serve/http/HttpMessage.h"

namespace host::serve {

// The JSON documents of the HTTP interface. docs/http.md describes their fields.

/// The configured streams, by name: state, last error, rate, and what is held of them.
Json streamsDocument(const ApiSources& sources);
/// The streams that do not record, and why; hooks that keep failing.
Json healthDocument(const ApiSources& sources);
/// One page of a stream's recordings, by the parameters of the request. Throws HttpError.
Json recordingsDocument(const ApiSources& sources, const HttpRequest& request, const std::string& stream);

}  // namespace host::serve
