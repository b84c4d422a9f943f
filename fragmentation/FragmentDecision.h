#pragma once

#include <cstdint>

namespace ruvo::k2r {

/// What is to be done before the sample that a fragmenter was just shown is queued.
enum class FragmentAction : std::uint32_t {
  /// No boundary here.
  None = 0,
  /// The open fragment is complete: write what is queued below its end.
  WriteFragment = 1,
  /// The fragment is closed in the timeline, but the key frame that would let it be written has not come: announce it
  /// and keep what is queued.
  HoldFragment = 2,
  /// The slot passed with nothing of its own while a fragment is held: mark its number as empty.
  SkipFragment = 3,
  /// As SkipFragment; then write the held fragment with what is queued below this range's end.
  FlushHeldFragment = 4,
  /// The first fragment that counts begins here: discard what is queued.
  StartRecording = 5,
  /// The sample has no place in this recording.
  DropSample = 6,
};

/// The fragment that an action is about. All zero for None and DropSample, but for the last three fields, which the
/// record path does not need: they show an AVFragmenter's inner course.
struct FragmentRange {
  std::uint32_t fragmentNumber = 0;
  /// First millisecond.
  std::uint64_t startTime = 0;
  /// Exclusive.
  std::uint64_t endTime = 0;
  /// Number of the sample that caused the decision.
  std::uint64_t nextNumber = 0;
  /// The fragmenter's current number before this sample moved it.
  std::uint64_t previousNumber = 0;
  /// AVFragmenter::State after the decision; all ones from AVFragmenter::endOfStream, 0 from an AudioFragmenter.
  std::uint32_t nextState = 0;

  bool operator==(const FragmentRange&) const = default;
};

struct FragmentDecision {
  FragmentAction action = FragmentAction::None;
  FragmentRange range;

  bool operator==(const FragmentDecision&) const = default;
};

/// The number of the slot of the grid in which `time` lies: fragment k covers [(k - 1) * duration, k * duration).
/// `duration` is not 0.
constexpr std::uint64_t fragmentNumberAt(std::uint64_t time, std::uint32_t duration) {
  return time / duration + 1;
}

/// The number that a stream counts as its current one before its first sample, at `time`: a first sample on a grid line
/// crosses that line at once.
constexpr std::uint64_t fragmentNumberBefore(std::uint64_t time, std::uint32_t duration) {
  return fragmentNumberAt(time, duration) - (time % duration == 0 ? 1 : 0);
}

}  // namespace ruvo::k2r
