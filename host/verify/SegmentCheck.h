#pragma once

#include <cstdint>
#include <optional>

#include "fragmentation/BootstrapInfo.h"
#include "host/files/RecordingDirectory.h"
#include "host/verify/BaseTimes.h"
#include "host/verify/Findings.h"
#include "host/verify/FragmentChain.h"
#include "host/verify/IndexFile.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// What the checks of all segments of a recording share. `directory` and `findings` outlive it.
struct RecordingContext {
  const RecordingDirectory& directory;
  Findings& findings;
  /// Compared over all segments, since a recording has one base time.
  BaseTimes bases;
  /// Runs across segments, since the numbers do.
  FragmentChain chain;
  /// The tracks of the first segment with a readable header.
  krvo::container::Movie movie;

  /// The findings of one file of the recording.
  FileFindings in(const std::string& file) const { return {findings, file}; }
};

/// What the rest of the recording says about a segment.
struct SegmentRole {
  /// Whether it is not after the last segment of the bootstrap.
  bool known = true;
  /// Whether a roll-over or a stop has ended it.
  bool ended = false;
  /// Whether only its index could name a fragment in it, because the bootstrap does not know it: it may just have
  /// begun.
  bool unannounced = false;
  /// Severity of bytes after the last fragment that the index names.
  Severity leftover = Severity::kDamage;
};

/// Times are those of the tags, in ms.
struct SegmentResult {
  /// Nothing if it is missing or cannot be read.
  std::optional<IndexFile> index;
  std::uint64_t fragments = 0;
  std::uint64_t tags = 0;
  /// Number of whole fragments after those that the index names, and the bootstrap in the last of them.
  std::uint64_t unindexedFragments = 0;
  std::optional<ruvo::k2r::BootstrapInfo> unindexed;
  std::optional<std::uint32_t> firstTagTime;
  std::optional<std::uint32_t> lastTagTime;
};

/// Checks the segment file `number` and its index, of which at least one exists. Adds the fragments to
/// `recording.chain`, so segments must be checked in rising order. Reads one fragment at a time. Never throws for what
/// the files contain.
SegmentResult checkSegment(RecordingContext& recording, std::uint32_t number, SegmentRole role);

}  // namespace host
