#pragma once

#include <cstdint>
#include <ostream>

#include "fragmentation/BootstrapInfo.h"
#include "util/bytes.h"

namespace ruvo::k2r {

/// Appends the `abst` box; with `bodyOnly` what follows its first 12 bytes, as a fragment carries it. Texts end at
/// their first zero byte. Throws std::out_of_range for a list that its count cannot tell; `out` then ends in part of a
/// box.
void appendBootstrap(qvs::util::ByteWriter& out, const BootstrapInfo& info, bool bodyOnly);

/// The same to a stream, in one write. Answers the number of bytes. Throws std::ios_base::failure, too, where the
/// stream takes less.
std::uint64_t writeBootstrap(std::ostream& out, const BootstrapInfo& info, bool bodyOnly);

}  // namespace ruvo::k2r
