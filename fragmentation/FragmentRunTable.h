#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fragmentation/FragmentRunEntry.h"

namespace ruvo::k2r {

/// One `afrt` box: when the fragments begin and how long they last.
///
///     0  u32  box size             16  u8   quality entries q
///     4  u32  'afrt'               17       q zero-terminated texts
///     8  u8   version 0             .  u32  entries n
///     9  u24  flags: 1 update       .       n times u32 first fragment, u64 first timestamp, u32 duration,
///    12  u32  timescale                     and only where the duration is 0: u8 discontinuity
///
/// The size field does not bound the entries; their count does. Versions other than 0 are read as well.
struct FragmentRunTable {
  /// Bit 0 of the flags; the recorder writes whole tables, so false.
  bool update = false;
  /// Ticks per second; the recorder's is 1000.
  std::uint32_t timescale = 1000;
  std::vector<std::string> qualityEntries;
  std::vector<FragmentRunEntry> fragmentRuns;

  bool operator==(const FragmentRunTable&) const = default;
};

}  // namespace ruvo::k2r
