#pragma once

#include <string>
#include <string_view>

namespace platform::os {

/// Returns the operating system's form of a path: each backslash becomes a slash, everything else is unchanged. Hosts
/// use both, so every path passes this function on its way to the operating system. Converting a path twice does no
/// harm. There is no file name with a backslash for the module: it would become a directory and a name.
std::string toNative(std::string_view path);

/// Returns the native path of the directory that contains the running program, links resolved, without a slash at its
/// end except for the root; empty if the system does not say. Inside a host that is the directory of the host's
/// program.
std::string programDirectory();

/// The directory that a native path is in: "." for a name alone, "/" for an entry of the root.
std::string directoryOf(const std::string& native);

}  // namespace platform::os
