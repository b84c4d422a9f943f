#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fragmentation/FragmentRunTable.h"
#include "fragmentation/SegmentRunTable.h"

namespace ruvo::k2r {

/// One `abst` box: which fragments a recording has, in which segments, and when each begins. All integers are
/// big-endian.
///
///     0  u32  box size             12  u32  bootstrap version     37  text  movie identifier
///     4  u32  'abst'               16  u8   bits, below            .  u8 count, that many texts: server entries
///     8  u8   version 0            17  u32  timescale              .  u8 count, that many texts: quality entries
///     9  u24  flags 0              21  u64  current media time     .  text  DRM data
///                                  29  u64  SMPTE offset           .  text  metadata
///                                                                  .  u8 count, that many `asrt` boxes
///                                                                  .  u8 count, that many `afrt` boxes
///
/// Bits at 16: 7-6 profile, 5 live, 4 update, the rest 0 and ignored on reading. A text ends at its first zero byte, so
/// it cannot contain one. Inside a fragment the box lacks its first 12 bytes. The layouts of `asrt` and `afrt` are at
/// SegmentRunTable and FragmentRunTable. A file with one run in one segment has 106 bytes.
///
/// Texts and entry lists come from the file that is continued and are written back; the recorder itself sets none.
struct BootstrapInfo {
  /// Counts the changes of the run tables, not the rewrites of the file.
  std::uint32_t bootstrapVersion = 0;
  /// 0 to 3.
  std::uint32_t profile = 0;
  /// Stays true in a finished recording, whose end the fragment run table marks.
  bool live = false;
  bool update = false;
  /// Ticks per second.
  std::uint32_t timescale = 1000;
  /// End of the last fragment added, held or written, in ticks of the timescale.
  std::uint64_t currentMediaTime = 0;
  std::uint64_t smpteOffset = 0;
  std::string movieIdentifier;
  std::vector<std::string> serverEntries;
  std::vector<std::string> qualityEntries;
  std::string drmData;
  std::string metadata;
  std::vector<SegmentRunTable> segmentRunTables;
  std::vector<FragmentRunTable> fragmentRunTables;

  bool operator==(const BootstrapInfo&) const = default;
};

}  // namespace ruvo::k2r
