#pragma once

#include <cstddef>
#include <span>

namespace platform::os {

/// Overwrites secret bytes with zeros. The compiler does not remove this, even if nothing reads the bytes afterwards.
void wipe(std::span<std::byte> bytes) noexcept;

/// Keeps the pages that contain secret bytes out of the swap space and of core dumps, as far as the system allows; a
/// refusal is not reported, as a recording must not fail for it. The pages stay so after the bytes are wiped, because
/// another secret may be on the same page (docs/decisions.md, "Memory that contained a secret stays locked and out of
/// core dumps").
void keepPrivate(std::span<const std::byte> bytes) noexcept;

/// Turns off core dumps for the process from here on, and access by other processes of the same user: for secrets in
/// memory of a library, which cannot be locked. For programs only; the module must not decide this for its host.
void makeNoDumps() noexcept;

}  // namespace platform::os
