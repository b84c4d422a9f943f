#pragma once

#include <string_view>

#include "host/Log.h"

namespace host {

/// An error in the log for each line of the text: a configuration file may have several faults.
void logErrorLines(Log& log, std::string_view text);

}  // namespace host
