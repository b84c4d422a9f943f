#pragma once

#include <string>
#include <string_view>

namespace platform::os {

/// The disk's form of a path: each backslash becomes a slash, all else stays. Every path goes through here on its way
/// to the operating system, and only here. A path that has been through stays as it is.
std::string toNative(std::string_view path);

}  // namespace platform::os
