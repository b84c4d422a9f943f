#pragma once

#include <string>

#include "host/Log.h"
#include "host/serve/ServeConfig.h"

namespace host::serve {

/// Reads and checks the configuration at `path` and the files with secrets that it names. Relative paths in it begin at
/// its own folder. Throws ConfigError with all that is wrong, and UsageError if the file cannot be read. Warnings, for
/// example about a secret that all users can read, go to `log` if it is given.
ServeConfig readServeConfig(const std::string& path, Log* log = nullptr);

}  // namespace host::serve
