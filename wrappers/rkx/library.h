#pragma once

#include <array>
#include <cstdint>

namespace rkx {

/// What the encryption library keeps for one user of it. Zero until initialise().
using LibraryBlock = std::array<std::uint64_t, 4>;

/// Throws RKXException.
void initialise(LibraryBlock& block);
void terminate(LibraryBlock& block) noexcept;

}  // namespace rkx
