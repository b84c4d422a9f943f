#pragma once

#include "host/Settings.h"
#include "host/serve/ServeConfig.h"

namespace host::serve {

/// The settings of the module for a stream. Throws UsageError if they are wrong or incomplete, or name a file that
/// cannot be read.
Settings settingsOf(const StreamConfig& config);

}  // namespace host::serve
