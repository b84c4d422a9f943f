#pragma once

#include <array>
#include <cstdint>

#include "platform/encryption/krvo_rkx.h"

namespace rkx {

/// Room in which the encryption library keeps its state for one user, such as the adaptor. Zero before initialise(); it
/// must not move before terminate(). 32 bytes, as the library asks for; their content is the library's alone.
using LibraryBlock = std::array<std::uint64_t, 4>;

/// To be called once before any other use of the library. Throws RKXException.
void initialise(LibraryBlock& block);
/// To be called once after a successful initialise().
void terminate(LibraryBlock& block) noexcept;

// The library's tables of functions, fetched at the first use and kept until the process ends. Any thread may call
// these; all get the same table. Each throws RKXException with status 1 if the library has no table, or one with fewer
// words than are used here; the next call then tries again.

const RKXEncryptorInterface& encryptorTable();
const RKXMetadataInterface& metadataTable();

}  // namespace rkx
