#pragma once

#include <array>
#include <cstdint>

namespace rkx {

/// Room in which the encryption library keeps its state for one user, such as the adaptor. Zero before initialise(); it
/// must not move before terminate().
using LibraryBlock = std::array<std::uint64_t, 4>;

/// To be called once before any other use of the library. Throws RKXException.
void initialise(LibraryBlock& block);
/// To be called once after a successful initialise().
void terminate(LibraryBlock& block) noexcept;

}  // namespace rkx
