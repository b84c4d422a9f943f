#pragma once

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// The page with the form for the token, which is posted to `login` beside `/`. Status 401 if it replaces a page
/// that needs the token.
HttpResponse loginPage(unsigned status, bool wasWrong);

}  // namespace host::serve
