#pragma once

#include <cstdint>
#include <optional>

#include "fragmentation/Fragmenter.h"

namespace ruvo::k2r {

/// Fragments of a stream with video, each of which begins on a key frame.
///
/// If key frames are rarer than the grid, a fragment overruns its slot, or it is closed at a grid line and held until a
/// key frame lets it be written; slots that no key frame opened are skipped. Only `keyFrame` and `time` of a sample
/// matter: audio and data count as samples that are not key frames. The source has the table of all transitions.
///
/// Copyable; a copy continues by itself from the same state. A stream without any key frame stays in kAwaitingKey and
/// never gets a fragment.
class AVFragmenter final : public Fragmenter {
 public:
  /// The values are part of every decision (FragmentRange::nextState) and index the table of transitions. From
  /// kSlotOver on a fragment is open.
  enum class State : std::uint32_t {
    kNothingSeen = 0,
    /// Samples seen, the first grid line not yet crossed.
    kLeadIn = 1,
    /// The first grid line was crossed without a key frame.
    kAwaitingKey = 2,
    /// The slot of the open fragment is over; waiting for a key frame.
    kSlotOver = 3,
    /// The open fragment began on a key frame.
    kOpen = 4,
    /// As kOpen, but the open fragment starts at a grid line in the past, and the first sample on or after that line
    /// was a key frame.
    kOpenBehind = 5,
    /// A fragment is held; no key frame has come since.
    kHeld = 6,
    /// A fragment is held; the current slot began with a key frame.
    kHeldThenKey = 7,
    /// As kSlotOver, reached from kHeldThenKey: the held fragment was flushed, the open one began on that key frame.
    kFlushed = 8,
  };

  /// `fragmentDuration` in milliseconds, not 0: each sample's time is divided by it. With `dropLeadIn` the samples
  /// before the first key frame are given up, by StartRecording.
  AVFragmenter(std::uint32_t fragmentDuration, bool dropLeadIn)
      : fragmentDuration_(fragmentDuration), dropLeadIn_(dropLeadIn) {}

  FragmentDecision addSample(const SampleInfo& sample) override;
  /// The range ends one millisecond after `sample`, so that the sample itself is inside. Changes no state.
  FragmentDecision endOfStream(const SampleInfo& sample) override;
  /// Number of the open fragment; nothing during the lead-in, which is never written.
  std::optional<std::uint64_t> openNumber() const;

 private:
  /// Takes the first sample, which sets the first slot.
  void begin(std::uint64_t time);
  /// The first key frame: opens the first fragment, and gives up the lead-in unless it is kept.
  FragmentDecision startAtKey(std::uint64_t time, std::uint64_t number);
  /// Makes `number` the current slot, and the current one the previous.
  void enterSlot(std::uint64_t number);
  /// A decision about the fragment from `start` to the start of the now open one. With None only the fields for
  /// inspection are set.
  FragmentDecision decide(FragmentAction action, std::uint64_t start, std::uint64_t number, std::uint64_t before) const;

  std::uint32_t fragmentDuration_;
  bool dropLeadIn_;
  State state_ = State::kNothingSeen;
  /// Of the first sample, in ms.
  std::uint64_t firstTime_ = 0;
  /// Start of the open fragment, in milliseconds.
  std::uint64_t fragmentStart_ = 0;
  /// Highest slot that the timeline has entered, and the value before its last change. A fragment that is closed at the
  /// grid ends with the previous slot.
  std::uint64_t currentNumber_ = 0;
  std::uint64_t previousNumber_ = 0;
};

}  // namespace ruvo::k2r
