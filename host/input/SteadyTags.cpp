#include "host/input/SteadyTags.h"

#include <algorithm>
#include <utility>

namespace host {
namespace {

constexpr std::size_t kVideo = 0;
constexpr std::size_t kAudio = 1;
/// A stream has a handful of messages in front of its first frame. One that has more has no frames.
constexpr std::size_t kMostAhead = 1000;

}  // namespace

SteadyTags::SteadyTags(std::unique_ptr<Input> tags, const InputOptions& options, Log& log)
    : tags_(std::move(tags)),
      keepTimes_(options.keepTimes),
      maxGapMs_(options.maxGap.count()),
      clock_(2, maxGapMs_, log) {}

std::optional<std::uint32_t> SteadyTags::keptStart() {
  if (!keepTimes_) return std::nullopt;
  readAhead();
  return firstFrameMs_;
}

void SteadyTags::readAhead() {
  if (std::exchange(readAhead_, true)) return;
  while (ahead_.size() < kMostAhead) {
    const auto message = tags_->next();
    if (!message) return;
    ahead_.emplace_back(*message);
    if (!MessageKind(*message).isFrame()) continue;
    firstFrameMs_ = message->timeMs;
    return;
  }
}

std::optional<InputMessage> SteadyTags::next() {
  if (startMs_ && !keepTimes_ && !readAhead_) {
    readAhead();
    clock_.restartAt(*startMs_);
  }
  auto message = take();
  if (message && !keepTimes_) message->timeMs = static_cast<std::uint32_t>(map(*message));
  return message;
}

std::optional<InputMessage> SteadyTags::take() {
  if (ahead_.empty()) return tags_->next();
  current_ = std::move(ahead_.front());
  ahead_.pop_front();
  return current_.view();
}

std::int64_t SteadyTags::map(const InputMessage& message) {
  const MessageKind kind(message);
  const std::int64_t earliestMs = startMs_.value_or(0);
  const bool hasNoFrames = readAhead_ && !firstFrameMs_;
  if (kind.isFrame() || hasNoFrames) {
    frameMs_ = std::max(clock_.map(kind.isVideo() ? kVideo : kAudio, message.timeMs), earliestMs);
    return *frameMs_;
  }
  // In front of the first frame of what goes on, the frame's own time.
  if (!frameMs_) return startMs_.value_or(message.timeMs);
  const std::int64_t timeMs = message.timeMs + clock_.latestDistance();
  const std::int64_t distanceMs = timeMs - *frameMs_;
  return distanceMs < -SourceClock::kReorderMs || distanceMs > maxGapMs_ ? *frameMs_ : timeMs;
}

}  // namespace host
