#pragma once

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// Makes of a whole answer what the request wants of it (RFC 9110, 13 and 14): nothing (304) if the client has it
/// already, one range of it (206), or the news that there is no such range (416). Only an answer with status 200 and an
/// `etag` to a GET or HEAD changes. A request for several ranges gets the whole answer.
void applyConditions(const HttpRequest& request, HttpResponse& response);

}  // namespace host::serve
