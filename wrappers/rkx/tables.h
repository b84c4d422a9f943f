#pragma once

#include "platform/encryption/krvo_rkx.h"

namespace rkx {

// The library's function tables: asked for on first need and kept as long as the process lives. Any thread may ask; all
// get the same table. Each throws RKXException with status 1 where the library has no table, or one with fewer words
// than are used here; the next call then asks again.

const RKXEncryptorInterface& encryptorTable();
const RKXMetadataInterface& metadataTable();

}  // namespace rkx
