#pragma once

#include <cerrno>

namespace platform::os {

/// Makes a system call again until no signal interrupts it, and returns its result. A host may use signals without
/// SA_RESTART, and a lost write would be a hole in a file. Not for close(), which must not be repeated.
template <typename Call>
auto retried(const Call& call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace platform::os
