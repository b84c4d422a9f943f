#include "fragmentation/AudioFragmenter.h"

namespace ruvo::k2r {

FragmentDecision AudioFragmenter::addSample(const SampleInfo& sample) {
  // Before any state moves: a dropped sample must not move the slots of the samples that are kept.
  if (sample.kind == SampleKind::Video) return {.action = FragmentAction::DropSample, .range = {}};
  if (state_ == State::kNothingSeen) {
    firstTime_ = sample.time;
    currentNumber_ = fragmentNumberBefore(sample.time, fragmentDuration_);
    state_ = State::kLeadIn;
  }
  const std::uint64_t number = fragmentNumberAt(sample.time, fragmentDuration_);
  if (number <= currentNumber_) return {};

  FragmentDecision decision;
  if (state_ == State::kOpen) {
    decision = decide(FragmentAction::WriteFragment, fragmentStart_, sample.time);
  } else if (dropLeadIn_ && sample.time != firstTime_) {
    // From the first sample on, and not an empty range at the crossing as of an AVFragmenter: the number named here is
    // the slot that is given up.
    decision = decide(FragmentAction::StartRecording, firstTime_, sample.time);
  }
  // The sample's own time and not the grid line: the next range begins with its first sample.
  fragmentStart_ = sample.time;
  currentNumber_ = number;
  state_ = State::kOpen;
  return decision;
}

FragmentDecision AudioFragmenter::endOfStream(const SampleInfo& sample) {
  return decide(FragmentAction::WriteFragment, fragmentStart_, sample.time);
}

std::optional<std::uint64_t> AudioFragmenter::openNumber() const {
  if (state_ == State::kNothingSeen) return std::nullopt;
  return fragmentNumberAt(state_ == State::kOpen ? fragmentStart_ : firstTime_, fragmentDuration_);
}

FragmentDecision AudioFragmenter::decide(FragmentAction action, std::uint64_t start, std::uint64_t end) const {
  return {.action = action,
          .range = {.fragmentNumber = static_cast<std::uint32_t>(fragmentNumberAt(start, fragmentDuration_)),
                    .startTime = start,
                    .endTime = end,
                    .nextNumber = fragmentNumberAt(end, fragmentDuration_),
                    .previousNumber = currentNumber_,
                    .nextState = 0}};
}

}  // namespace ruvo::k2r
