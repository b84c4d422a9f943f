#pragma once

#include "shared_nqserver/NQDataValue.h"

namespace test {

/// Whether a value that was written in its own format is what was read back, member by member, with cycles where there
/// were cycles. A strict array may have become an array with its indexes for names, a 64-bit integer a number (or, in
/// AMF3, undefined), and what has no form on the wire undefined. `isAMF3`: it was written as AMF3 from the front on.
bool sameValue(const NQDataValue& written, const NQDataValue& read, bool isAMF3 = false);

}  // namespace test
