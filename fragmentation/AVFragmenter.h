#pragma once

#include <cstdint>
#include <optional>

#include "fragmentation/Fragmenter.h"

namespace ruvo::k2r {

/// Fragments of a stream with video, each of which begins on a key frame. Where key frames are rarer than the grid, a
/// fragment overruns its slot, or is closed at a grid line and held until a key frame lets it be written; the slots
/// that no key frame opened are skipped. Goes by `keyFrame` alone: audio and data are samples without one.
class AVFragmenter final : public Fragmenter {
 public:
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
    /// As kOpen; the fragment ends at a grid line behind the timeline, on or after which a key frame came first.
    kOpenBehind = 5,
    /// A fragment is held; no key frame since.
    kHeld = 6,
    /// A fragment is held; the current slot began with a key frame.
    kHeldThenKey = 7,
    /// As kSlotOver, behind kHeldThenKey: the held fragment is flushed, the open one began on that key frame.
    kFlushed = 8,
  };

  /// `fragmentDuration` in milliseconds, not 0. With `dropLeadIn` what lies before the first key frame is given up.
  AVFragmenter(std::uint32_t fragmentDuration, bool dropLeadIn)
      : fragmentDuration_(fragmentDuration), dropLeadIn_(dropLeadIn) {}

  FragmentDecision addSample(const SampleInfo& sample) override;
  FragmentDecision endOfStream(const SampleInfo& sample) override;
  /// Number of the open fragment; nothing during the lead-in.
  std::optional<std::uint64_t> openNumber() const;

 private:
  void begin(std::uint64_t time);
  FragmentDecision startAtKey(std::uint64_t time, std::uint64_t number);
  /// Moves the current slot.
  void enterSlot(std::uint64_t number);
  /// A decision about the fragment from `start` to where the open one starts now; of None, only what is for inspection.
  FragmentDecision decide(FragmentAction action, std::uint64_t start, std::uint64_t number, std::uint64_t before) const;

  std::uint32_t fragmentDuration_;
  bool dropLeadIn_;
  State state_ = State::kNothingSeen;
  std::uint64_t firstTime_ = 0;
  /// Start of the open fragment.
  std::uint64_t fragmentStart_ = 0;
  /// Highest slot that the timeline has entered, and the one before it.
  std::uint64_t currentNumber_ = 0;
  std::uint64_t previousNumber_ = 0;
};

}  // namespace ruvo::k2r
