#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ruvo::k2r {

/// One segment and its count; neighbours with the same count stay two entries. The format allows one entry for several
/// segments, which the recorder never writes.
struct SegmentRunEntry {
  std::uint32_t firstSegment = 0;
  /// Fragment numbers, those without data included.
  std::uint32_t fragmentsPerSegment = 0;

  bool operator==(const SegmentRunEntry&) const = default;
};

/// One `asrt` box: how many fragment numbers belong to each segment.
///
///     0  u32  box size             12  u8   quality entries q
///     4  u32  'asrt'               13       q zero-terminated texts
///     8  u8   version 0             .  u32  entries n
///     9  u24  flags: 1 update       .       n times u32 first segment, u32 fragments per segment
///
/// The size field does not bound the entries; their count does. Versions other than 0 are read as well.
struct SegmentRunTable {
  /// Bit 0 of the flags; the recorder writes whole tables, so false.
  bool update = false;
  std::vector<std::string> qualityEntries;
  std::vector<SegmentRunEntry> segmentRuns;

  bool operator==(const SegmentRunTable&) const = default;
};

}  // namespace ruvo::k2r
