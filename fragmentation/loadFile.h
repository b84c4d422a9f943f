#pragma once

#include <string>

#include "util/ByteBuffer.h"

namespace ruvo::k2r {

/// The whole content of a file, which may be secret: no other copy of it stays in memory, and its pages are kept out of
/// swap and core dumps. The caller owns the buffer and wipes it. `path` may have slashes or backslashes. An empty file
/// gives an empty buffer. Throws CantOpenFileException, and K2RUtilFileException with code 2 for a file that cannot be
/// read (a directory, for one) or has more than 16 MiB.
qvs::util::ByteBuffer loadFile(const std::string& path);

}  // namespace ruvo::k2r
