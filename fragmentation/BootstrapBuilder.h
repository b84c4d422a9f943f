#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"

namespace ruvo::k2r {

/// The bootstrap of a recording while it grows, and the rules by which runs are extended. Reads and writes the first
/// table of each kind only; others of a foreign file are kept as they are. Owns its BootstrapInfo. Times are
/// milliseconds. Belongs to the thread that records its stream. No operation fails but for want of memory.
///
/// A run predicts: each of its fragments is expected where the one before it ends by its rounded duration, not where it
/// really ended. A fragment further from there than the allowed drift begins a run, so errors of rounding never add up
/// to more than the drift.
///
/// Order of calls: a constructor; after that of an append resume(), before anything is added; then numbers that rise;
/// endPresentation() once, at the stop.
class BootstrapBuilder {
 public:
  /// For a new recording. Durations are rounded to multiples of `durationPrecision` (above 0, need not be whole); a
  /// fragment that begins more than `allowedDrift` from where its run predicts it begins a new run.
  BootstrapBuilder(double durationPrecision, std::uint32_t allowedDrift);
  /// For an append to the bootstrap that was read back; `lastFragment` is the last number in the index of the last
  /// segment. A foreign file without a table of a kind gets an empty one.
  BootstrapBuilder(double durationPrecision, std::uint32_t allowedDrift, BootstrapInfo bootstrap,
                   std::uint32_t lastFragment);

  /// A fragment with data. Numbers left out since the last call become a timestamp gap.
  void addFragment(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start, std::uint32_t duration);
  /// A number without data of its own. Does nothing before the first fragment: the table then begins with its number.
  void addEmptyFragment(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start);
  /// A jump in time before the number after `fragment`. Does nothing before the first fragment. `start` is not stored.
  void addTimestampGap(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start);

  /// Removes the end marker, and the runs of fragments that the index does not know: the bootstrap may have announced a
  /// held fragment whose samples were lost with the process.
  void resume();
  /// Adds the end marker. bootstrapVersion stays, since no run changes.
  void endPresentation();

  const BootstrapInfo& info() const { return bootstrap_; }
  /// For the fields other than the run tables, and for trimming the tables at a stop.
  BootstrapInfo& info() { return bootstrap_; }
  std::vector<FragmentRunEntry>& fragmentRuns() { return bootstrap_.fragmentRunTables.front().fragmentRuns; }
  std::vector<SegmentRunEntry>& segmentRuns() { return bootstrap_.segmentRunTables.front().segmentRuns; }

 private:
  /// Stands for "no segment yet" and "no fragment yet".
  static constexpr std::uint32_t kNoNumber = 0xFFFFFFFF;

  void beginSegment(std::uint32_t segment);
  /// Takes one number off the last segment run, and the run away with its last number.
  void uncountFragment();
  /// Adds a timestamp gap if `fragment` does not follow the last number.
  void markHoleBefore(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start);
  /// Counts the numbers up to `fragment` in the last segment run, whether they have data or not; the next fragment then
  /// begins a run.
  void skipTo(std::uint32_t fragment);
  bool continuesRun(std::uint32_t start, std::uint32_t duration) const;
  void append(const FragmentRunEntry& entry);
  /// To the nearest multiple of the precision, halves upwards, but never to 0.
  std::uint32_t roundDuration(std::uint32_t duration) const;

  double durationPrecision_;
  std::uint32_t allowedDrift_;
  BootstrapInfo bootstrap_;
  /// Segment of the last segment run.
  std::uint32_t lastSegment_ = kNoNumber;
  /// Highest number that the tables account for, with data or without.
  std::uint32_t lastFragment_;
  /// Rounded duration of the current run; none at the start and after a marker, so that the next fragment begins a run.
  std::optional<std::uint32_t> lastDuration_;
  /// Time at which the current run predicts the next fragment to begin.
  std::uint32_t nextTimestamp_ = 0;
};

}  // namespace ruvo::k2r
