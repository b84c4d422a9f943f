#pragma once

#include <cstdint>

namespace platform::os {

/// Keeps the calling thread waiting for at least `ms` milliseconds. 0 gives up the rest of its time slice.
void sleepMs(std::uint32_t ms);

}  // namespace platform::os
