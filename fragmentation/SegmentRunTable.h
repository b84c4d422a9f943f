#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ruvo::k2r {

struct SegmentRunEntry {
  std::uint32_t firstSegment = 0;
  std::uint32_t fragmentsPerSegment = 0;

  bool operator==(const SegmentRunEntry&) const = default;
};

/// One `asrt` box: how many fragment numbers each segment holds.
///
///     0  u32  box size             12  u8   quality entries q
///     4  u32  'asrt'               13       q zero-terminated texts
///     8  u8   version 0             .  u32  entries n
///     9  u24  flags: 1 update       .       n times u32 first segment, u32 fragments per segment
struct SegmentRunTable {
  bool update = false;
  std::vector<std::string> qualityEntries;
  std::vector<SegmentRunEntry> segmentRuns;

  bool operator==(const SegmentRunTable&) const = default;
};

}  // namespace ruvo::k2r
