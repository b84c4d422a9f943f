#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"

namespace host {

// Each fragment carries the bootstrap as it stood when the fragment was written, and the bootstrap file goes on from
// the last one. What can have come between two of them is little; the rest of the later one follows from the earlier
// one.

using FragmentRuns = std::vector<ruvo::k2r::FragmentRunEntry>;

const FragmentRuns& fragmentRuns(const ruvo::k2r::BootstrapInfo& info);
const std::vector<ruvo::k2r::SegmentRunEntry>& segmentRuns(const ruvo::k2r::BootstrapInfo& info);
/// Numbers in all segments.
std::uint64_t countedNumbers(const ruvo::k2r::BootstrapInfo& info);

/// The bootstrap of a recorder that has added nothing yet.
ruvo::k2r::BootstrapInfo emptyBootstrap();

/// A fragment, as its index entry has it.
struct HistoryStep {
  std::uint32_t segment = 0;
  std::uint32_t fragment = 0;
  /// Where it begins.
  std::uint64_t time = 0;
  /// Of its last tag; nothing where it has none.
  std::optional<std::uint32_t> lastTagTime = std::nullopt;
};

/// What a table has behind the entries of an earlier one, when a fragment has been added.
struct AddedRuns {
  /// The earlier table is the beginning of the later one.
  bool goesOn = false;
  FragmentRuns entries;
  /// Of the fragment's own run in `entries`, or their number: the fragment then goes on with the last run.
  std::size_t ownRun = 0;

  bool joins() const { return ownRun == entries.size(); }
  /// Whether an append may have begun with the fragment `step`.
  bool mayBeAppend(const HistoryStep& step) const;
};
AddedRuns addedRuns(const FragmentRuns& before, const FragmentRuns& after);

/// What `after` has to be: the bootstrap in the fragment `step`, where that in the fragment written before it is
/// `before`. Values that may be one or another are those of `after` where that is possible.
ruvo::k2r::BootstrapInfo expectNext(const ruvo::k2r::BootstrapInfo& before, const ruvo::k2r::BootstrapInfo& after,
                                    const HistoryStep& step);

/// What there is behind the fragment written last.
struct Unwritten {
  /// Numbers without a fragment that are indexed.
  std::uint32_t numbers = 0;
  /// A segment that had begun, of which the bootstrap file does not know.
  bool segment = false;
};

/// What the file `found` has to be, where `last` is the bootstrap in the fragment written last.
ruvo::k2r::BootstrapInfo expectFile(const ruvo::k2r::BootstrapInfo& last, const ruvo::k2r::BootstrapInfo& found,
                                    const Unwritten& unwritten);

}  // namespace host
