#pragma once

#include <cstdint>
#include <optional>

#include "fragmentation/Fragmenter.h"

namespace ruvo::k2r {

/// Fragments of a stream without video: the first sample in a later slot ends the open fragment. Turns video samples
/// away with DropSample.
class AudioFragmenter final : public Fragmenter {
 public:
  /// `fragmentDuration` in milliseconds, not 0. With `dropLeadIn` a first slot that was entered in its middle is given
  /// up.
  AudioFragmenter(std::uint32_t fragmentDuration, bool dropLeadIn)
      : fragmentDuration_(fragmentDuration), dropLeadIn_(dropLeadIn) {}

  FragmentDecision addSample(const SampleInfo& sample) override;
  FragmentDecision endOfStream(const SampleInfo& sample) override;
  /// Number of the open fragment. A lead-in has one as well: StartRecording names the slot of the first sample. Nothing
  /// before that sample.
  std::optional<std::uint64_t> openNumber() const;

 private:
  enum class State : std::uint32_t { kNothingSeen = 0, kLeadIn = 1, kOpen = 2 };

  /// About the fragment from `start` to the sample at `end`.
  FragmentDecision decide(FragmentAction action, std::uint64_t start, std::uint64_t end) const;

  std::uint32_t fragmentDuration_;
  bool dropLeadIn_;
  std::uint64_t firstTime_ = 0;
  /// Start of the open fragment.
  std::uint64_t fragmentStart_ = 0;
  /// Highest slot that the timeline has entered.
  std::uint64_t currentNumber_ = 0;
  State state_ = State::kNothingSeen;
};

}  // namespace ruvo::k2r
