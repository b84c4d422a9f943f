#pragma once

#include <cstdint>
#include <string>

#include "util/StreamReader.h"
#include "util/fourcc.h"

namespace ruvo::k2r {

/// The header of a box on a stream, with the version and flags of a full box (ISO/IEC 14496-12, 4.2).
struct BoxHeader {
  /// Whole box in bytes. A stored size of 0 leaves it as it was.
  std::uint64_t size = 0;
  qvs::util::FourCC type = 0;
  /// The 16 bytes of a `uuid` box, else empty.
  std::string uuid;
  std::uint8_t version = 0;
  std::uint32_t flags = 0;

  bool operator==(const BoxHeader&) const = default;
};

/// Reads size, type, a 64-bit size and a `uuid` where they are there, version and flags.
BoxHeader readBoxHeader(qvs::util::StreamReader& in);

}  // namespace ruvo::k2r
