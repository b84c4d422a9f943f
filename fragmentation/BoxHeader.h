#pragma once

#include <cstdint>
#include <string>

#include "util/StreamReader.h"
#include "util/fourcc.h"

namespace ruvo::k2r {

/// The header of a box on a stream, with the version and flags of a full box (ISO/IEC 14496-12, 4.2).
///
///     0  u32  size; 1: a u64 after the type     .  16 bytes, only with the type 'uuid'
///     4  u32  type                              .  u8   version
///     8       u64 size, only with the size 1    .  u24  flags
struct BoxHeader {
  /// Whole box in bytes, header included. Stays 0 for a stored size of 0, "up to the end of the file".
  std::uint64_t size = 0;
  qvs::util::FourCC type = 0;
  /// The 16 bytes of a `uuid` box, else empty.
  std::string uuid;
  std::uint8_t version = 0;
  std::uint32_t flags = 0;

  bool operator==(const BoxHeader&) const = default;
};

/// Reads one header; the stream is then at the payload. The size is not checked against anything, not even the header's
/// own: the boxes read through here are bounded by their counts. Throws std::ios_base::failure if the input ends early.
BoxHeader readBoxHeader(qvs::util::StreamReader& in);

}  // namespace ruvo::k2r
