#pragma once

#include <string>

namespace platform::os {

/// The native path of the directory with the program that runs, without a slash at its end but for the root's; empty
/// where the system does not tell.
std::string programDirectory();

}  // namespace platform::os
