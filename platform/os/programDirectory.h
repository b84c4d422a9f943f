#pragma once

#include <string>

namespace platform::os {

/// Returns the native path of the directory that contains the running program, links resolved, without a slash at its
/// end except for the root; empty if the system does not say. Inside a host that is the directory of the host's
/// program.
std::string programDirectory();

}  // namespace platform::os
