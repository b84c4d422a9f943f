#pragma once

#include <cstdint>

namespace ruvo::k2r {

/// What a fragment run entry of duration 0 marks; the values are those of the file.
enum class Discontinuity : std::uint8_t {
  /// The recording was stopped. Number and timestamp of the entry are 0.
  kEndOfPresentation = 0,
  /// A fragment number without data of its own; more such numbers may follow.
  kFragmentGap = 1,
  /// The time jumps at this number. The entry's timestamp is 0.
  kTimestampGap = 2,
  /// Found in foreign files only; counts as each of the two gaps.
  kBothGaps = 3,
};

/// One entry of a fragment run table. With a duration it is a run: the fragments from `firstFragment` up to that of the
/// next entry each last `duration`, and the first of them begins at `firstTimestamp`. With duration 0 it is a marker,
/// and has one byte more in the file. Times are in ticks of the table's timescale.
struct FragmentRunEntry {
  std::uint32_t firstFragment = 0;
  std::uint64_t firstTimestamp = 0;
  /// Of each fragment of the run; 0 for a marker.
  std::uint32_t duration = 0;
  /// Of a marker: a value of Discontinuity, or a foreign file's byte. Not stored with a run.
  std::uint32_t discontinuity = 0;

  FragmentRunEntry() = default;
  /// A run.
  FragmentRunEntry(std::uint32_t first, std::uint64_t timestamp, std::uint32_t durationOfEach)
      : firstFragment(first), firstTimestamp(timestamp), duration(durationOfEach) {}
  /// A marker.
  FragmentRunEntry(std::uint32_t first, std::uint64_t timestamp, Discontinuity indicator)
      : firstFragment(first), firstTimestamp(timestamp), discontinuity(static_cast<std::uint32_t>(indicator)) {}

  /// Whether this is a marker of any kind, the end included.
  bool isDiscontinuity() const { return duration == 0; }
  /// A marker of numbers without data, alone or together with a jump in time.
  bool isFragmentGap() const { return marks(Discontinuity::kFragmentGap) || marks(Discontinuity::kBothGaps); }
  /// A marker of a jump in time, alone or together with numbers without data.
  bool isTimestampGap() const { return marks(Discontinuity::kTimestampGap) || marks(Discontinuity::kBothGaps); }
  bool isEndOfPresentation() const { return marks(Discontinuity::kEndOfPresentation); }

  bool operator==(const FragmentRunEntry&) const = default;

 private:
  bool marks(Discontinuity indicator) const {
    return isDiscontinuity() && discontinuity == static_cast<std::uint32_t>(indicator);
  }
};

}  // namespace ruvo::k2r
