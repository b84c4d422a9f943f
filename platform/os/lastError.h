#pragma once

#include <cerrno>
#include <system_error>

namespace platform::os {

/// Returns the reason of the last failed system call. To be called at once: any other call may change errno.
inline std::error_code lastError() {
  return {errno, std::generic_category()};
}

}  // namespace platform::os
