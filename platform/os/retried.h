#pragma once

#include <cerrno>

namespace platform::os {

/// Makes a system call, again for as long as signals interrupt it.
template <typename Call>
auto retried(const Call& call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace platform::os
