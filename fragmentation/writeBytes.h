#pragma once

#include <cstddef>
#include <ostream>
#include <span>

#include "util/ExceptionMask.h"
#include "util/narrow.h"

namespace ruvo::k2r {

/// Writes all of `bytes` by one call of the stream. Throws std::ios_base::failure if it takes less or has failed
/// before: a box that is cut off must not pass for a written one. The stream's exception mask is restored.
inline void writeBytes(std::ostream& out, std::span<const std::byte> bytes) {
  const qvs::util::ExceptionMask mask(out, std::ios_base::eofbit | std::ios_base::failbit | std::ios_base::badbit);
  out.write(reinterpret_cast<const char*>(bytes.data()), qvs::util::narrow<std::streamsize>(bytes.size()));
}

}  // namespace ruvo::k2r
