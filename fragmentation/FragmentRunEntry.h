#pragma once

#include <cstdint>

namespace ruvo::k2r {

/// What a fragment run entry of duration 0 marks.
enum class Discontinuity : std::uint8_t {
  kEndOfPresentation = 0,
  /// A fragment number without data of its own.
  kFragmentGap = 1,
  kTimestampGap = 2,
  kBothGaps = 3,
};

/// One entry of a fragment run table. With a duration: the fragments from `firstFragment` up to the next entry's each
/// last `duration`, and the first of them begins at `firstTimestamp`. Without one: a marker.
struct FragmentRunEntry {
  std::uint32_t firstFragment = 0;
  std::uint64_t firstTimestamp = 0;
  std::uint32_t duration = 0;
  /// Of a marker: a value of Discontinuity, or a foreign file's byte. Not stored with a run.
  std::uint32_t discontinuity = 0;

  FragmentRunEntry() = default;
  FragmentRunEntry(std::uint32_t first, std::uint64_t timestamp, std::uint32_t durationOfEach)
      : firstFragment(first), firstTimestamp(timestamp), duration(durationOfEach) {}
  FragmentRunEntry(std::uint32_t first, std::uint64_t timestamp, Discontinuity indicator)
      : firstFragment(first), firstTimestamp(timestamp), discontinuity(static_cast<std::uint32_t>(indicator)) {}

  bool isDiscontinuity() const { return duration == 0; }
  bool isFragmentGap() const { return marks(Discontinuity::kFragmentGap) || marks(Discontinuity::kBothGaps); }
  bool isTimestampGap() const { return marks(Discontinuity::kTimestampGap) || marks(Discontinuity::kBothGaps); }
  bool isEndOfPresentation() const { return marks(Discontinuity::kEndOfPresentation); }

  bool operator==(const FragmentRunEntry&) const = default;

 private:
  bool marks(Discontinuity indicator) const {
    return isDiscontinuity() && discontinuity == static_cast<std::uint32_t>(indicator);
  }
};

}  // namespace ruvo::k2r
