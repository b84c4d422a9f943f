#include "host/record/RecordSession.h"

#include <fmt/format.h>

#include <chrono>

#include "fragmentation/SampleInfo.h"
#include "util/tagHeader.h"

namespace host {

using ruvo::k2r::FragmentAction;
using ruvo::k2r::SampleInfo;
using ruvo::k2r::SampleKind;

namespace {

/// After this much media time without a key frame the user is warned.
constexpr std::uint32_t kKeyFramePatienceMs = 10000;

Tally tallyOf(const InputMessage& message) {
  return {.messages = 1, .bytes = message.data.size()};
}

SampleInfo sampleOf(const InputMessage& message) {
  return SampleInfo::ofMessage(message.type, message.data, message.timeMs);
}

}  // namespace

void RecordSession::run(Input& input) {
  isVerbatim_ = input.isVerbatim();
  while (const auto message = input.next()) {
    if (pacer_ != nullptr) pacer_->wait(message->timeMs);
    take(*message);
    betweenMessages_();
    report();
    progress_.add(message->timeMs, message->data.size());
  }
}

void RecordSession::finish() {
  // Before the stop, which drops the module's queue.
  if (options_.keepsTail) {
    for (const InputMessage& message : follower_.closing()) recordMadeUp(message);
  }
  settleWaiting();
  report();
}

void RecordSession::report() const {
  if (observer_ == nullptr) return;
  const FragmentModel& model = follower_.model();
  observer_->recorded({.account = account_,
                       .waiting = model.waiting(),
                       .queueBytes = model.queueSize(),
                       .fragments = model.fragments(),
                       .failure = writeFailure_,
                       .isFull = limit_.isFull()});
}

void RecordSession::settleWaiting() {
  const Tally& waiting = follower_.model().waiting();
  if (waiting.messages == 0) return;
  if (options_.keepsTail) {
    account_.lose(LossReason::kTail, waiting, reasonOfWaiting());
    account_.loseTime(LossReason::kTail, follower_.model().lastTimeMs() - follower_.model().firstWaitingMs());
  } else {
    account_.leftOut += waiting;
  }
}

void RecordSession::take(InputMessage message) {
  // Judged before it is recorded: afterwards the module's tracks may have changed.
  const Reception reception = follower_.judge(message);
  if (reception == Reception::kSkipped) {
    recording_.record(message);
    return;
  }
  account_.receive(message.data.size());
  if (reception == Reception::kRefused) {
    takeRefused(message);
    return;
  }
  moveTime(message);
  account_.seeTime(message.timeMs);
  if (message.isAfterBreak) beginAfterBreak(message);
  if (!isDecodable(message)) {
    account_.lose(LossReason::kNoKeyFrame, tallyOf(message), "pictures before the first key frame");
  } else if (limit_.admits(message)) {
    recordHead(message);
    recordMessage(message, reception);
    limit_.update();
  }
  watchKeyFrames(message);
}

void RecordSession::takeRefused(const InputMessage& message) {
  if (message.data.size() > qvs::util::kMaxTagDataSize) {
    const std::string reason =
        fmt::format("a message of {} bytes at {} ms is too large; at most {} bytes can be stored", message.data.size(),
                    message.timeMs, qvs::util::kMaxTagDataSize);
    log_.error(reason);
    account_.refuse(tallyOf(message), reason);
    return;
  }
  // The module's own reason is better than ours, but it has one only if it logged something for this message.
  const std::uint64_t errorsBefore = context_.errorCount();
  if (recording_.record(message)) {
    follower_.take(message, true);
    return;
  }
  account_.refuse(tallyOf(message),
                  context_.errorCount() > errorsBefore ? context_.lastError() : "the module gave no reason");
}

void RecordSession::moveTime(InputMessage& message) {
  if (!options_.startMs) return;
  // Modulo 2^32, as timestamps are: the distance may be negative.
  if (!distanceMs_) distanceMs_ = *options_.startMs - message.timeMs;
  message.timeMs += *distanceMs_;
}

void RecordSession::beginAfterBreak(const InputMessage& message) {
  // The pictures on which the next ones depend may be among those that are missing.
  hasKeyFrame_ = false;
  // The time of the break is not one in which key frames were missing.
  if (noKeyFrameSinceMs_) noKeyFrameSinceMs_ = message.timeMs;
  if (sampleOf(message).keyFrame) return;
  if (const auto key = follower_.keyFrameThatCloses(message.timeMs)) recordMadeUp(*key);
}

void RecordSession::recordMadeUp(const InputMessage& message) {
  context_.beginAttempt();
  const bool recorded = recording_.record(message);
  const FragmentModel::Step step = follower_.take(message, recorded);
  // As in recordMessage(): it may close a fragment.
  if (!recorded || step.action != FragmentAction::None) writeFailure_ = context_.attemptError();
}

bool RecordSession::isDecodable(const InputMessage& message) {
  const SampleInfo sample = sampleOf(message);
  if (sample.kind != SampleKind::Video) return true;
  hasKeyFrame_ = hasKeyFrame_ || sample.keyFrame;
  return hasKeyFrame_ || isVerbatim_;
}

void RecordSession::recordHead(const InputMessage& message) {
  // Media files often begin with some sound before the first picture. A tag stream is passed to the module unchanged.
  const auto head = follower_.headFor(message, !isVerbatim_);
  headIsMissing_ = headIsMissing_ || (head && !options_.keepsHead);
  if (head && options_.keepsHead) recordMadeUp(*head);
}

void RecordSession::recordMessage(const InputMessage& message, Reception reception) {
  using Clock = std::chrono::steady_clock;
  const auto start = observer_ != nullptr ? Clock::now() : Clock::time_point();
  context_.beginAttempt();
  if (!recording_.record(message) && !sendOnceMore(message)) return;
  const std::uint64_t fragmentsBefore = follower_.model().fragments();
  const FragmentModel::Step step = follower_.take(message, true);
  if (observer_ != nullptr && follower_.model().fragments() > fragmentsBefore) {
    observer_->wroteFragment(Clock::now() - start);
  }
  note(message, step);
  // Also after a success there may be an error: a fragment is then in its segment, and no index or bootstrap names it.
  if (step.action != FragmentAction::None) writeFailure_ = context_.attemptError();
  if (reception == Reception::kPassedOver) {
    account_.lose(LossReason::kRefused, tallyOf(message), "a codec or type of message that is not stored");
  }
}

bool RecordSession::sendOnceMore(const InputMessage& message) {
  writeFailure_ = context_.attemptError();
  // While the queue is full, nothing is sent again: the message would be queued without a limit if the disk stays full.
  // Nor is a message from before the recording's end, because no index would ever name its fragment.
  if (limit_.isFull() || message.timeMs < follower_.firstLineMs()) {
    follower_.take(message, false);
    account_.lose(LossReason::kQueue, tallyOf(message), writeFailure_);
    return false;
  }
  // The second result shows the reason. If the fragment could not be written, the fragmenter has moved on, and the
  // message is queued now. If the message itself is refused, it is refused again, and nothing has changed.
  context_.hideRepeats(true);
  const bool isKept = recording_.record(message);
  context_.hideRepeats(false);
  if (isKept) {
    follower_.take(message, false);
  } else {
    account_.refuse(tallyOf(message), writeFailure_);
  }
  return isKept;
}

void RecordSession::note(const InputMessage& message, const FragmentModel::Step& step) {
  // A time that is later, and was raised nevertheless. Said here and not where times are made, since only a recording
  // has this end: the next one can begin at 0.
  const bool isLater = static_cast<std::int32_t>(message.timeMs - follower_.model().lastTimeMs()) > 0;
  if (!step.keptTime && isLater) {
    log_.error("the times have passed 2^32 ms, where a recording ends: what follows cannot be recorded");
  }
  if (step.action == FragmentAction::StartRecording) noteDiscarded(step);
  if (step.action != FragmentAction::DropSample) return;
  constexpr const char* kReason = "video that began after the recording had been bound to its sound";
  account_.lose(LossReason::kRefused, tallyOf(message), kReason);
  if (hasWarnedOfVideo_) return;
  hasWarnedOfVideo_ = true;
  log_.warning(fmt::format("{} is left out, from {} ms on", kReason, message.timeMs));
}

void RecordSession::noteDiscarded(const FragmentModel::Step& step) {
  if (step.discarded.messages == 0) return;
  if (headIsMissing_) {
    account_.leftOut += step.discarded;
    return;
  }
  constexpr const char* kReason = "what came before the first key frame";
  account_.lose(LossReason::kNoKeyFrame, step.discarded, kReason);
  account_.loseTime(LossReason::kNoKeyFrame, step.discardedMs);
  log_.warning(fmt::format("{} is left out: {} messages, {} ms", kReason, step.discarded.messages, step.discardedMs));
}

void RecordSession::watchKeyFrames(const InputMessage& message) {
  const SampleInfo sample = sampleOf(message);
  const bool needsKeyFrames = sample.kind == SampleKind::Video || follower_.goesByVideo();
  if (sample.keyFrame || (needsKeyFrames && !noKeyFrameSinceMs_)) noKeyFrameSinceMs_ = message.timeMs;
  if (!noKeyFrameSinceMs_ || hasWarnedOfKeyFrames_) return;
  if (static_cast<std::int32_t>(message.timeMs - *noKeyFrameSinceMs_) <= std::int32_t{kKeyFramePatienceMs}) return;
  hasWarnedOfKeyFrames_ = true;
  log_.warning(fmt::format("no key frame for {} s, at {} ms: nothing can be written until one comes",
                           kKeyFramePatienceMs / 1000, message.timeMs));
}

std::string RecordSession::reasonOfWaiting() const {
  if (follower_.goesByVideo() && !hasKeyFrame_) return "no key frame came with which a fragment could begin";
  if (!writeFailure_.empty()) return writeFailure_;
  return "no fragment could be made of the last messages";
}

}  // namespace host
