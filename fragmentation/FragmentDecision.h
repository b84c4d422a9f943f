#pragma once

#include <cstdint>

namespace ruvo::k2r {

/// What is to be done before the sample that a fragmenter was just given is queued. What is written never contains the
/// sample that caused it: that one begins the next fragment.
enum class FragmentAction : std::uint32_t {
  /// No boundary here.
  None = 0,
  /// The open fragment is complete: write what is queued below its end.
  WriteFragment = 1,
  /// The fragment is closed in the timeline, but the key frame that would let it be written has not come: announce it
  /// and keep what is queued.
  HoldFragment = 2,
  /// The slot passed without a fragment while an earlier one is held: mark its number as empty.
  SkipFragment = 3,
  /// As SkipFragment; then write the held fragment with what is queued below this range's end.
  FlushHeldFragment = 4,
  /// The first fragment that counts begins here: discard what is queued.
  StartRecording = 5,
  /// Release the sample without queueing it: a video sample in a recording that has become an audio one.
  DropSample = 6,
};

/// The fragment that an action is about. The first three fields are 0 for None and DropSample. The last three serve
/// inspection, the record path does not read them; an AudioFragmenter sets them with an action only.
struct FragmentRange {
  /// Cut to 32 bits, unlike the other numbers.
  std::uint32_t fragmentNumber = 0;
  /// First millisecond of the fragment, on the recording's timeline.
  std::uint64_t startTime = 0;
  /// Exclusive, in milliseconds. With FlushHeldFragment the end of all that is written, held fragment included.
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

/// The number of the slot of the grid that contains `time`: slot k covers [(k - 1) * duration, k * duration), both in
/// milliseconds; `duration` is not 0. The grid is that of the timeline, not of the first sample, so a number depends on
/// the time alone and is still right after a stop and an append.
constexpr std::uint64_t fragmentNumberAt(std::uint64_t time, std::uint32_t duration) {
  return time / duration + 1;
}

/// The number that is current before the first sample, which comes at `time`. One less than its slot if the sample is
/// on a grid line, so that it crosses the line at once and no lead-in is dropped.
constexpr std::uint64_t fragmentNumberBefore(std::uint64_t time, std::uint32_t duration) {
  return fragmentNumberAt(time, duration) - (time % duration == 0 ? 1 : 0);
}

}  // namespace ruvo::k2r
