#pragma once

#include "host/serve/api/ApiSources.h"
#include "host/serve/api/Router.h"

namespace host::serve {

/// Adds lists, control, metrics and health. `sources` outlives the router.
void addApiRoutes(Router& router, const ApiSources& sources);

}  // namespace host::serve
