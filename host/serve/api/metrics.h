#pragma once

#include <string>

#include "host/serve/api/ApiSources.h"

namespace host::serve {

/// The answer to `/metrics`: all metrics of the process, prefix `k2r_`. docs/http.md lists them.
std::string metricsText(const ApiSources& sources);

}  // namespace host::serve
