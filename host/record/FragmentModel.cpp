#include "host/record/FragmentModel.h"

#include <algorithm>

namespace host {

using ruvo::k2r::FragmentAction;
using ruvo::k2r::FragmentDecision;
using ruvo::k2r::SampleInfo;
using ruvo::k2r::SampleKind;

namespace {

/// Estimated bytes that a queued message takes in the module beside its data: tag header and back pointer, the block's
/// own header, the queue's node.
constexpr std::uint64_t kMessageOverhead = 192;

std::uint64_t sizeInQueue(std::uint32_t bytes) {
  return bytes + kMessageOverhead;
}

}  // namespace

FragmentModel::FragmentModel(std::uint32_t fragmentDuration) : fragmentDuration_(fragmentDuration) {
  fragmenter_.makeForNew(fragmentDuration);
}

FragmentModel::FragmentModel(std::uint32_t fragmentDuration, bool hasVideo, std::uint32_t baseMs)
    : fragmentDuration_(fragmentDuration), baseMs_(baseMs) {
  fragmenter_.makeForAppend(fragmentDuration, hasVideo);
}

FragmentModel::Step FragmentModel::add(const InputMessage& message, bool recorded) {
  // The first message that reaches the fragmenter sets the base time, as in the module; the base of an append is given.
  if (!baseMs_) baseMs_ = message.timeMs;
  const std::uint32_t timeMs = lift(message.timeMs);
  Step step{.keptTime = timeMs == message.timeMs};
  if (step.keptTime) lastRelativeMs_ = timeMs - *baseMs_;
  lastTimeMs_ = timeMs;
  started_ = true;
  const auto sample = SampleInfo::ofMessage(message.type, message.data, timeMs);
  const FragmentDecision decision = fragmenter_.get()->addSample(sample);
  step.action = decision.action;
  settle(decision, recorded, step);
  if (recorded && step.possible && step.action != FragmentAction::DropSample) {
    push({.timeMs = timeMs,
          .bytes = static_cast<std::uint32_t>(message.data.size()),
          .isVideo = sample.kind == SampleKind::Video,
          .isKeyFrame = sample.keyFrame,
          .isMadeUp = (message.type & kMadeUpBit) != 0});
  }
  return step;
}

FragmentAction FragmentModel::actionFor(const InputMessage& message) const {
  ruvo::k2r::FragmenterChoice fragmenter(fragmenter_);
  return fragmenter.get()->addSample(SampleInfo::ofMessage(message.type, message.data, lift(message.timeMs))).action;
}

bool FragmentModel::isEmptiedBy(std::span<const InputMessage> messages) const {
  // On a copy: whether a sequence closes the fragment depends on all that came before, and the real model must not move
  // until a sequence is chosen.
  FragmentModel trial(*this);
  for (const InputMessage& message : messages) {
    const Step step = trial.add(message, true);
    const bool drops = step.action == FragmentAction::StartRecording || step.action == FragmentAction::DropSample;
    if (drops || !step.possible || !step.keptTime) return false;
  }
  return trial.waiting_.messages == 0 && !trial.isHeld_;
}

std::uint32_t FragmentModel::firstWaitingMs() const {
  const auto first =
      std::find_if(queue_.begin(), queue_.end(), [](const Queued& message) { return !message.isMadeUp; });
  return first == queue_.end() ? lastTimeMs_ : first->timeMs;
}

std::uint32_t FragmentModel::lift(std::uint32_t timeMs) const {
  // Unsigned on purpose: relative times wrap with the 32 bits of timestamps, exactly as the module computes them.
  const bool isBackward = started_ && timeMs - *baseMs_ < lastRelativeMs_;
  return isBackward ? lastTimeMs_ : timeMs;
}

void FragmentModel::settle(const FragmentDecision& decision, bool recorded, Step& step) {
  const auto limitMs = static_cast<std::uint32_t>(decision.range.endTime);
  switch (decision.action) {
    case FragmentAction::WriteFragment:
      step.possible = beginsWithKeyFrame();
      if (recorded && step.possible) finishFragment(limitMs);
      break;
    case FragmentAction::HoldFragment:
      isHeld_ = true;
      break;
    case FragmentAction::FlushHeldFragment:
      // If the module could not write it, it takes the fragment back, and the messages go into the next fragment.
      // Either way no fragment is held any more.
      isHeld_ = false;
      if (recorded) finishFragment(limitMs);
      break;
    case FragmentAction::StartRecording:
      step.discarded = waiting_;
      step.discardedMs = lastTimeMs_ - firstWaitingMs();
      while (!queue_.empty()) popFront();
      break;
    default:
      break;
  }
}

bool FragmentModel::beginsWithKeyFrame() const {
  const auto picture =
      std::find_if(queue_.begin(), queue_.end(), [](const Queued& message) { return message.isVideo; });
  return picture == queue_.end() || picture->isKeyFrame;
}

void FragmentModel::finishFragment(std::uint32_t limitMs) {
  ++fragments_;
  while (!queue_.empty() && queue_.front().timeMs < limitMs) popFront();
}

void FragmentModel::push(const Queued& message) {
  queue_.push_back(message);
  queueSize_ += sizeInQueue(message.bytes);
  if (!message.isMadeUp) waiting_.add(message.bytes);
}

void FragmentModel::popFront() {
  const Queued& message = queue_.front();
  queueSize_ -= sizeInQueue(message.bytes);
  if (!message.isMadeUp) waiting_ -= {.messages = 1, .bytes = message.bytes};
  queue_.pop_front();
}

}  // namespace host
