#pragma once

#include <cstdint>
#include <optional>

#include "fragmentation/Fragmenter.h"

namespace ruvo::k2r {

/// Fragments of a stream without video: the first sample in a later slot ends the open fragment. Turns video samples
/// away with DropSample. A silence of several slots gives one WriteFragment, whose range ends at the sample after the
/// silence; the slots in between get no decision. Copyable; a copy continues by itself from the same state.
class AudioFragmenter final : public Fragmenter {
 public:
  /// `fragmentDuration` in milliseconds, not 0: each sample's time is divided by it. With `dropLeadIn` a first slot
  /// whose first sample is not on its grid line is given up, by StartRecording.
  AudioFragmenter(std::uint32_t fragmentDuration, bool dropLeadIn)
      : fragmentDuration_(fragmentDuration), dropLeadIn_(dropLeadIn) {}

  FragmentDecision addSample(const SampleInfo& sample) override;
  /// The range ends at `sample`, not after it as that of an AVFragmenter. Changes no state.
  FragmentDecision endOfStream(const SampleInfo& sample) override;
  /// Number of the open fragment; nothing before the first sample. A lead-in has a number as well, since StartRecording
  /// names the slot of the first sample.
  std::optional<std::uint64_t> openNumber() const;

 private:
  /// In kLeadIn the first slot is not recorded, because it did not begin on its line.
  enum class State : std::uint32_t { kNothingSeen = 0, kLeadIn = 1, kOpen = 2 };

  /// A decision about the fragment from `start` to the sample at `end`, both in milliseconds.
  FragmentDecision decide(FragmentAction action, std::uint64_t start, std::uint64_t end) const;

  std::uint32_t fragmentDuration_;
  bool dropLeadIn_;
  /// Of the first sample, in ms.
  std::uint64_t firstTime_ = 0;
  /// Start of the open fragment, in milliseconds.
  std::uint64_t fragmentStart_ = 0;
  /// Highest slot that the timeline has entered.
  std::uint64_t currentNumber_ = 0;
  State state_ = State::kNothingSeen;
};

}  // namespace ruvo::k2r
