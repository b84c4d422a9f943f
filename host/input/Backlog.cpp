#include "host/input/Backlog.h"

#include <algorithm>
#include <array>
#include <utility>

namespace host {
namespace {

/// How long an input may take to show its video, in media time and in messages.
constexpr std::uint32_t kPatienceMs = 1000;
constexpr std::size_t kMostAhead = 1000;
/// Memory that a message takes beside its data, about.
constexpr std::uint64_t kOverhead = 64;

/// Metadata and sequence headers take no time, and later frames need the last of each.
std::optional<std::size_t> headerIndex(const MessageKind& kind) {
  if (kind.isMetadata()) return 0;
  if (!kind.isSequenceHeader()) return std::nullopt;
  return kind.isVideo() ? 1 : 2;
}

}  // namespace

bool Backlog::read() {
  const auto message = input_.read();
  if (!message) return false;
  queue_.push_back({.message = OwnedMessage(*message), .newClocks = source().newClocks()});
  bytes_ += message->data.size() + kOverhead;
  sawVideo_ = sawVideo_ || MessageKind(*message).isVideo();
  return true;
}

bool Backlog::canBegin(const Held& held) const {
  const MessageKind kind(held.message.view());
  return source().hasVideo().value_or(sawVideo_) ? kind.isKeyFrame() : !headerIndex(kind);
}

std::optional<std::uint32_t> Backlog::awaitBegin() {
  const auto first = [this] {
    return std::ranges::find_if(queue_, [this](const Held& held) { return canBegin(held); });
  };
  while (read()) {
    const bool isKnown = source().hasVideo().has_value() || sawVideo_;
    const auto begin = first();
    if (begin == queue_.end()) {
      // Nothing in it can be decoded.
      drop(queue_.size(), beforeBegin_);
      continue;
    }
    const bool isLate =
        queue_.size() > kMostAhead || queue_.back().message.timeMs - begin->message.timeMs > kPatienceMs;
    if (isKnown || isLate) break;
  }
  const auto begin = first();
  if (begin == queue_.end()) return std::nullopt;
  const std::uint32_t timeMs = begin->message.timeMs;
  drop(static_cast<std::size_t>(begin - queue_.begin()), beforeBegin_);
  return timeMs;
}

bool Backlog::hold(std::uint64_t limit) {
  if (!read()) return false;
  if (waitsForBegin_) {
    waitsForBegin_ = !canBegin(queue_.back());
    drop(queue_.size() - (waitsForBegin_ ? 0 : 1), overLimit_);
  }
  while (bytes_ > limit && !queue_.empty() && !waitsForBegin_) {
    const auto oldest = std::ranges::find_if(queue_, [this](const Held& held) { return canBegin(held); });
    const auto next = oldest == queue_.end()
                          ? oldest
                          : std::find_if(oldest + 1, queue_.end(), [this](const Held& held) { return canBegin(held); });
    waitsForBegin_ = next == queue_.end();
    drop(static_cast<std::size_t>(next - queue_.begin()), overLimit_);
  }
  return true;
}

void Backlog::putBack(std::vector<OwnedMessage> messages) {
  for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
    bytes_ += message->data.size() + kOverhead;
    queue_.push_front({.message = std::move(*message), .newClocks = newClocks_});
  }
}

std::optional<std::uint32_t> Backlog::beginMs() const {
  const auto first = std::ranges::find_if(queue_, [this](const Held& held) { return canBegin(held); });
  return first == queue_.end() ? std::nullopt : std::optional(first->message.timeMs);
}

void Backlog::drop(std::size_t count, Dropped& dropped) {
  std::array<std::optional<Held>, 3> headers;
  std::optional<std::uint32_t> firstMs;
  std::uint32_t lastMs = 0;
  for (; count > 0; --count) {
    Held& held = queue_.front();
    bytes_ -= held.message.data.size() + kOverhead;
    if (const auto header = headerIndex(MessageKind(held.message.view()))) {
      headers[*header] = std::move(held);
    } else {
      dropped.messages.add(held.message.data.size());
      firstMs = firstMs.value_or(held.message.timeMs);
      lastMs = held.message.timeMs;
    }
    queue_.pop_front();
  }
  if (firstMs) countDroppedTime(*firstMs, lastMs, dropped);
  if (!queue_.empty()) droppedUpToMs_.reset();
  for (auto header = headers.rbegin(); header != headers.rend(); ++header) {
    if (!*header) continue;
    bytes_ += (*header)->message.data.size() + kOverhead;
    queue_.push_front(std::move(**header));
  }
}

void Backlog::countDroppedTime(std::uint32_t firstMs, std::uint32_t lastMs, Dropped& dropped) {
  // Up to what follows. At the end of the queue that has not come yet, and the next drop counts from here.
  const std::uint32_t endMs = queue_.empty() ? lastMs : queue_.front().message.timeMs;
  const auto ms = static_cast<std::int32_t>(endMs - droppedUpToMs_.value_or(firstMs));
  dropped.ms += static_cast<std::uint32_t>(std::max(ms, 0));
  droppedUpToMs_ = endMs;
}

std::optional<InputMessage> Backlog::next() {
  // The stretch that hold() dropped ends here.
  waitsForBegin_ = false;
  droppedUpToMs_.reset();
  if (queue_.empty()) {
    auto message = input_.read();
    newClocks_ = source().newClocks();
    throwFailure();
    return message;
  }
  current_ = std::move(queue_.front().message);
  newClocks_ = queue_.front().newClocks;
  bytes_ -= current_.data.size() + kOverhead;
  queue_.pop_front();
  return current_.view();
}

}  // namespace host
