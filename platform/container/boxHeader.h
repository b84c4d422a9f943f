#pragma once

#include <cstdint>
#include <limits>

#include "platform/container/Movie.h"
#include "util/bytes.h"

namespace krvo::container {

// Headers of boxes whose payload is not in memory with them (ISO/IEC 14496-12, 4.2): 8 bytes, or 16 with a 64-bit size
// where 32 bits do not suffice.

inline std::uint32_t boxHeaderSize(std::uint64_t boxSize) {
  return boxSize <= std::numeric_limits<std::uint32_t>::max() ? 8 : 16;
}

/// Of the whole box around that many bytes.
inline std::uint64_t boxSizeFor(std::uint64_t payload) {
  return payload + boxHeaderSize(payload + 8);
}

/// `boxSize` is that of the whole box.
inline void writeBoxHeader(qvs::util::ByteWriter& out, FourCC type, std::uint64_t boxSize) {
  const bool large = boxHeaderSize(boxSize) == 16;
  out.u32(large ? 1 : static_cast<std::uint32_t>(boxSize));
  out.u32(type);
  if (large) out.u64(boxSize);
}

}  // namespace krvo::container
