#pragma once

#include <cstddef>
#include <ostream>
#include <span>

#include "util/ExceptionMask.h"
#include "util/narrow.h"

namespace ruvo::k2r {

/// Throws std::ios_base::failure where the stream takes less, or has failed before.
inline void writeBytes(std::ostream& out, std::span<const std::byte> bytes) {
  const qvs::util::ExceptionMask mask(out, std::ios_base::eofbit | std::ios_base::failbit | std::ios_base::badbit);
  out.write(reinterpret_cast<const char*>(bytes.data()), qvs::util::narrow<std::streamsize>(bytes.size()));
}

}  // namespace ruvo::k2r
