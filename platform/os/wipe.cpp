#include "platform/os/wipe.h"

#include <string.h>

namespace platform::os {

void wipe(std::span<std::byte> bytes) noexcept {
  if (!bytes.empty()) ::explicit_bzero(bytes.data(), bytes.size());
}

}  // namespace platform::os
