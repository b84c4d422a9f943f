#include "host/input/RetimedTags.h"

#include <algorithm>
#include <utility>

namespace host {
namespace {

constexpr std::size_t kVideo = 0;
constexpr std::size_t kAudio = 1;
/// A stream has a few messages before its first frame. One that has so many has no frames, and is not kept in memory.
constexpr std::size_t kMostAhead = 1000;

}  // namespace

RetimedTags::RetimedTags(std::unique_ptr<Input> tags, const InputOptions& options, Log& log)
    : tags_(std::move(tags)),
      keepTimes_(options.keepTimes),
      maxGapMs_(options.maxGap.count()),
      clock_(2, maxGapMs_, log) {}

std::optional<std::uint32_t> RetimedTags::keptStart() {
  if (!keepTimes_) return std::nullopt;
  readAhead();
  return firstFrameMs_;
}

void RetimedTags::readAhead() {
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

std::optional<InputMessage> RetimedTags::next() {
  // The first frame decides by how much all messages move, also those before it.
  if (startMs_ && !keepTimes_ && !readAhead_) {
    readAhead();
    clock_.restartAt(*startMs_);
  }
  auto message = take();
  if (message && !keepTimes_) message->timeMs = static_cast<std::uint32_t>(map(*message));
  return message;
}

std::optional<InputMessage> RetimedTags::take() {
  if (ahead_.empty()) return tags_->next();
  current_ = std::move(ahead_.front());
  ahead_.pop_front();
  return current_.view();
}

std::int64_t RetimedTags::map(const InputMessage& message) {
  const MessageKind kind(message);
  const std::int64_t earliestMs = startMs_.value_or(0);
  const bool hasNoFrames = readAhead_ && !firstFrameMs_;
  // Without frames, only the times of other messages are known.
  if (kind.isFrame() || hasNoFrames) {
    frameMs_ = std::max(clock_.map(kind.isVideo() ? kVideo : kAudio, message.timeMs), earliestMs);
    return *frameMs_;
  }
  // Before the first frame of an append: the time of that frame.
  if (!frameMs_) return startMs_.value_or(message.timeMs);
  const std::int64_t timeMs = message.timeMs + clock_.latestDistance();
  const std::int64_t distanceMs = timeMs - *frameMs_;
  // Servers repeat metadata and sequence headers with the time 0, so a message far from the frames has no time of its
  // own.
  return distanceMs < -SourceClock::kReorderMs || distanceMs > maxGapMs_ ? *frameMs_ : timeMs;
}

}  // namespace host
