#pragma once

#include <cstddef>
#include <span>

namespace platform::os {

/// Overwrites bytes that are secret with zeros, also where nothing reads them any more.
void wipe(std::span<std::byte> bytes) noexcept;

}  // namespace platform::os
