#pragma once

#include "platform/encryption/krvo_rkx.h"

namespace rkx {

// The library's tables of functions, fetched at the first use and kept until the process ends. Any thread may call
// these; all get the same table. Each throws RKXException with status 1 if the library has no table, or one with fewer
// words than are used here; the next call then tries again.

const RKXEncryptorInterface& encryptorTable();
const RKXMetadataInterface& metadataTable();

}  // namespace rkx
