#pragma once

#include "host/Settings.h"
#include "host/input/Input.h"
#include "host/serve/ServeConfig.h"

namespace host::serve {

// What the configuration of a stream means for those that record it.

/// The settings of the module for a stream. Throws UsageError if they are wrong or incomplete, or name a file that
/// cannot be read.
Settings settingsOf(const StreamConfig& config);

/// How the source of a stream is opened: as configured, with buffers and pauses that fit a process with 1,000 inputs.
/// Without an observer.
InputOptions inputOptionsOf(const StreamConfig& config);

}  // namespace host::serve
