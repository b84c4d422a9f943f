#pragma once

#include <cstdint>
#include <ostream>

#include "fragmentation/BootstrapInfo.h"
#include "util/bytes.h"

namespace ruvo::k2r {

/// Appends the `abst` box (the layout is at BootstrapInfo); with `bodyOnly` all but its first 12 bytes, as a fragment
/// carries it. The `asrt` and `afrt` boxes are whole in both forms. A text is cut at its first zero byte. Throws
/// std::out_of_range for more than 255 texts or tables, or 2^32 runs; `out` then ends in part of a box.
void appendBootstrap(qvs::util::ByteWriter& out, const BootstrapInfo& info, bool bodyOnly);

/// The same to a stream, in one write. Returns the number of bytes. Also throws std::ios_base::failure if the stream
/// takes less.
std::uint64_t writeBootstrap(std::ostream& out, const BootstrapInfo& info, bool bodyOnly);

}  // namespace ruvo::k2r
