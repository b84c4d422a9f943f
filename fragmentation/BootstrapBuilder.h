#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"

namespace ruvo::k2r {

/// Keeps the bootstrap of a recording while it grows: owns the rules by which runs are extended. Works on the first
/// table of each kind. Times are milliseconds. Belongs to the thread that records its stream.
class BootstrapBuilder {
 public:
  /// For a new recording. Durations are rounded to multiples of `durationPrecision`, above 0; a fragment that begins
  /// more than `allowedDrift` from where its run predicts it begins a new run.
  BootstrapBuilder(double durationPrecision, std::uint32_t allowedDrift);
  /// For an append to what was read back; `lastFragment` is the last one that the index knows. A kind of table that a
  /// foreign file lacks is given an empty one.
  BootstrapBuilder(double durationPrecision, std::uint32_t allowedDrift, BootstrapInfo bootstrap,
                   std::uint32_t lastFragment);

  /// A fragment with data.
  void addFragment(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start, std::uint32_t duration);
  /// A number without data of its own. Nothing before the first fragment.
  void addEmptyFragment(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start);
  /// A jump in time before the number after `fragment`. Nothing before the first fragment. `start` is not stored.
  void addTimestampGap(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start);

  /// After the append's constructor: takes back the end marker, and the runs that the index does not know.
  void resume();
  void endPresentation();

  const BootstrapInfo& info() const { return bootstrap_; }
  /// For the fields beside the run tables, and to trim these.
  BootstrapInfo& info() { return bootstrap_; }
  std::vector<FragmentRunEntry>& fragmentRuns() { return bootstrap_.fragmentRunTables.front().fragmentRuns; }
  std::vector<SegmentRunEntry>& segmentRuns() { return bootstrap_.segmentRunTables.front().segmentRuns; }

 private:
  /// Stands for no segment and no fragment.
  static constexpr std::uint32_t kNoNumber = 0xFFFFFFFF;

  void beginSegment(std::uint32_t segment);
  void uncountFragment();
  void markHoleBefore(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start);
  /// Counts the numbers up to `fragment` in the last segment; the next fragment begins a run.
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
  std::uint32_t lastFragment_;
  /// Rounded duration of the current run; none at the start and behind a marker, where the next fragment begins a run.
  std::optional<std::uint32_t> lastDuration_;
  /// Where the current run predicts the next fragment to begin.
  std::uint32_t nextTimestamp_ = 0;
};

}  // namespace ruvo::k2r
