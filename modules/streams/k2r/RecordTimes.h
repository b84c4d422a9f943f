#pragma once

#include <cstdint>

namespace qvs::k2r {

/// The two clocks of a message, in milliseconds, modulo 2^32.
struct RecordTimes {
  /// Since the recording's start, across all appends.
  std::uint32_t relative = 0;
  /// The stream's own time plus the offset that the host gave.
  std::uint32_t absolute = 0;
};

}  // namespace qvs::k2r
