#pragma once

#include <cstddef>
#include <span>

namespace platform::os {

/// Overwrites bytes that are secret with zeros, also where nothing reads them any more.
void wipe(std::span<std::byte> bytes) noexcept;

/// Keeps the pages that hold secret bytes in memory, out of the swap space and out of core dumps, as far as the system
/// lets. They stay so when the bytes are wiped: what comes there next may be as secret.
void keepPrivate(std::span<const std::byte> bytes) noexcept;

/// From here on the process makes no core dump, and other processes of its user cannot look into it: for secrets that
/// lie in the memory of a library.
void makeNoDumps() noexcept;

}  // namespace platform::os
