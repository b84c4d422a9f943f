#pragma once

#include <string>

#include "host/Log.h"
#include "host/errors.h"
#include "host/serve/ServeConfig.h"

namespace host::serve {

/// Runs `k2r serve`: records the streams of `config` until SIGTERM or SIGINT comes, and reads the configuration at
/// `configPath` again at each SIGHUP; one with faults is logged, and changes nothing. Reports to the service manager.
///
/// Call it on the main thread before there is another one: it blocks these signals for all threads, and unblocks them
/// before it returns. If a recording cannot be finished within the time that a service manager gives, this ends the
/// process. Throws CommandError if the module cannot be loaded.
ExitStatus runServer(const std::string& configPath, const ServeConfig& config, Log& log);

}  // namespace host::serve
