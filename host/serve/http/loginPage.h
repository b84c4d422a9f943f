#pragma once

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// The page with the form for the token, which is posted to `login` beside `/`. Status 401 where it takes the place of
/// another page, since that one needs the token.
HttpResponse loginPage(unsigned status, bool wasWrong);

}  // namespace host::serve
