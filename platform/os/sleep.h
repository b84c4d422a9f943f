#pragma once

#include <cstdint>

namespace platform::os {

/// Blocks the calling thread for at least `ms` milliseconds. 0 gives up the rest of its time slice and returns.
void sleepMs(std::uint32_t ms);

}  // namespace platform::os
