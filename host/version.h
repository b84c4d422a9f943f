#pragma once

#include <string>

namespace host {

/// "k2r" with its version, then a line for each library: name and version. It is the version that runs, where the
/// library has a call for that, else the one that the program was built with.
std::string versionText();

}  // namespace host
