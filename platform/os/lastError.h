#pragma once

#include <cerrno>
#include <system_error>

namespace platform::os {

/// Why the system call before has failed.
inline std::error_code lastError() {
  return {errno, std::generic_category()};
}

}  // namespace platform::os
