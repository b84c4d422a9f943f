#pragma once

#include <string>

#include "util/ByteBuffer.h"

namespace ruvo::k2r {

/// The whole content of a file, of which no other copy stays in memory. `path` may have slashes or backslashes. Throws
/// CantOpenFileException, and K2RUtilFileException for a file that cannot be read or has more than 16 MiB.
qvs::util::ByteBuffer loadFile(const std::string& path);

}  // namespace ruvo::k2r
