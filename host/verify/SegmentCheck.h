#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"
#include "host/files/RecordingDirectory.h"
#include "host/verify/BaseTimes.h"
#include "host/verify/Findings.h"
#include "host/verify/FragmentChain.h"
#include "host/verify/IndexFile.h"
#include "platform/container/Movie.h"

namespace host {

/// What the segments of a recording share.
struct RecordingContext {
  const RecordingDirectory& directory;
  Findings& findings;
  BaseTimes bases;
  FragmentChain chain;
  /// Tracks of the first segment that tells any.
  krvo::container::Movie movie;

  FileFindings in(const std::string& file) const { return {findings, file}; }
};

/// Where a segment stands in its recording.
struct SegmentRole {
  /// The bootstrap has fragments in it.
  bool known = true;
  /// A roll-over or a stop has ended it.
  bool ended = false;
  /// Nothing but its index could name a fragment in it: it may just have been begun.
  bool unannounced = false;
  /// How bad it is that something stands behind the last fragment that the index names.
  Severity leftover = Severity::kDamage;
};

struct SegmentResult {
  /// Nothing where it cannot be read.
  std::optional<IndexFile> index;
  std::uint64_t fragments = 0;
  std::uint64_t tags = 0;
  /// Whole fragments behind those that the index names, and the bootstrap in the last of them.
  std::uint64_t unindexedFragments = 0;
  std::optional<ruvo::k2r::BootstrapInfo> unindexed;
  std::optional<std::uint32_t> firstTagTime;
  std::optional<std::uint32_t> lastTagTime;
};

/// Checks a segment file and its index, of which at least one is there.
SegmentResult checkSegment(RecordingContext& recording, std::uint32_t number, SegmentRole role);

}  // namespace host
