#include "host/record/QueueLimit.h"

#include <fmt/format.h>

#include "fragmentation/SampleInfo.h"

namespace host {

using ruvo::k2r::FragmentAction;

bool QueueLimit::admits(const InputMessage& message) {
  const FragmentModel& model = follower_.model();
  if (!isFull_) {
    // The first message is always admitted; one that is larger than the limit could otherwise never be recorded.
    if (model.waiting().messages == 0 || model.queueSize() + message.data.size() <= bytes_) return true;
    isFull_ = true;
    sizeWhenFull_ = model.queueSize();
    dropped_ = {};
    firstDroppedMs_ = message.timeMs;
    log_.warning(
        fmt::format("{} messages ({:.1f} MB) wait for a fragment to be written, as many as the queue limit allows; "
                    "from {} ms on messages are dropped until one has been",
                    model.waiting().messages, static_cast<double>(model.waiting().bytes) / 1e6, message.timeMs));
  }
  // A message that creates its track is admitted: after the first fragment the module creates no track any more.
  if (follower_.madeTrack() || bringsFragment(message)) return true;
  dropped_.add(message.data.size());
  account_.lose(LossReason::kQueue, {.messages = 1, .bytes = message.data.size()},
                "more than the queue limit allows waited for a fragment");
  return false;
}

bool QueueLimit::bringsFragment(const InputMessage& message) const {
  const auto sample = ruvo::k2r::SampleInfo::ofMessage(message.type, message.data, message.timeMs);
  if (follower_.goesByVideo() && !sample.keyFrame) return false;
  // Any action of the fragmenter moves it closer to a written fragment: one that is held is flushed by a later message.
  const FragmentAction action = follower_.model().actionFor(message);
  return action != FragmentAction::None && action != FragmentAction::DropSample;
}

void QueueLimit::update() {
  const FragmentModel& model = follower_.model();
  // What comes in meanwhile only adds to the queue: it is shorter once a fragment has been written.
  if (!isFull_ || model.queueSize() >= sizeWhenFull_) return;
  isFull_ = false;
  if (dropped_.messages == 0) return;
  const std::uint32_t gapMs = model.lastTimeMs() - firstDroppedMs_;
  ++account_.gaps;
  account_.gapMs += gapMs;
  account_.loseTime(LossReason::kQueue, gapMs);
  log_.warning(fmt::format("the recording continues at {} ms; {} messages ({:.1f} MB) were dropped", model.lastTimeMs(),
                           dropped_.messages, static_cast<double>(dropped_.bytes) / 1e6));
}

}  // namespace host
