#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"

namespace host {

// Each fragment contains the bootstrap as it was when the fragment was written, and the bootstrap file continues the
// last of these. Only few events are possible between two of them: numbers without a key frame, an append, a fragment
// that was announced and taken back. Everything else in the later bootstrap follows from the earlier one.
//
// A check does not know the settings of the recording, so it cannot compute what a recorder would have written. It
// takes the later bootstrap, keeps each value that one of those events explains, and computes the rest.

using FragmentRuns = std::vector<ruvo::k2r::FragmentRunEntry>;

/// The first table of each kind; recordings have one. Empty if there is none. The result lives as long as `info`.
const FragmentRuns& fragmentRuns(const ruvo::k2r::BootstrapInfo& info);
const std::vector<ruvo::k2r::SegmentRunEntry>& segmentRuns(const ruvo::k2r::BootstrapInfo& info);
/// How many fragment numbers the segment runs count, in all segments.
std::uint64_t countedNumbers(const ruvo::k2r::BootstrapInfo& info);

/// The bootstrap of a recorder that has not added a fragment yet.
ruvo::k2r::BootstrapInfo emptyBootstrap();

/// A fragment as its index entry describes it. Times are in ms.
struct HistoryStep {
  std::uint32_t segment = 0;
  std::uint32_t fragment = 0;
  /// Time at which it begins.
  std::uint64_t time = 0;
  /// Time of its last tag; nothing if it has no tag.
  std::optional<std::uint32_t> lastTagTime = std::nullopt;
};

/// The entries that a later fragment run table has after those of an earlier one.
struct AddedRuns {
  /// Whether the later table begins with the earlier one. If not, `entries` is empty.
  bool extendsEarlier = false;
  FragmentRuns entries;
  /// Subscript of the first run with a duration in `entries`; their number if there is none.
  std::size_t ownRun = 0;

  /// Whether the fragment belongs to the last run of the earlier table, so that it has no run of its own.
  bool continuesRun() const { return ownRun == entries.size(); }
  /// Whether `step` may be the first fragment of an append.
  bool mayBeAppend(const HistoryStep& step) const;
};
AddedRuns addedRuns(const FragmentRuns& before, const FragmentRuns& after);

/// The bootstrap that the fragment `step` must contain, if the fragment before it contains `before`. `after` is the one
/// that it does contain: each of its values that a recorder may have written is kept. So the result equals `after` if
/// nothing is wrong.
ruvo::k2r::BootstrapInfo expectNext(const ruvo::k2r::BootstrapInfo& before, const ruvo::k2r::BootstrapInfo& after,
                                    const HistoryStep& step);

/// What the recording has after the last fragment.
struct Unwritten {
  /// Index entries without a position.
  std::uint32_t numbers = 0;
  /// Whether there is a segment that the bootstrap file does not name.
  bool segment = false;
};

/// The bootstrap file that a recording must have, if its last fragment contains `last`. Values of `found`, the file
/// that it has, are kept as in expectNext().
ruvo::k2r::BootstrapInfo expectFile(const ruvo::k2r::BootstrapInfo& last, const ruvo::k2r::BootstrapInfo& found,
                                    const Unwritten& unwritten);

}  // namespace host
