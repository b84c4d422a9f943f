#include "host/input/LookAhead.h"

namespace host {

std::optional<std::uint32_t> LookAhead::timeOfFirst(const std::function<bool(const InputMessage&)>& wanted) {
  while (ahead_.size() < kMostMessages) {
    const auto message = source_->next();
    if (!message) return std::nullopt;
    ahead_.push_back({.message = *message, .data = {message->data.begin(), message->data.end()}});
    if (wanted(*message)) return message->timeMs;
  }
  return std::nullopt;
}

std::optional<InputMessage> LookAhead::next() {
  if (ahead_.empty()) return source_->next();
  current_ = std::move(ahead_.front());
  ahead_.pop_front();
  current_.message.data = current_.data;
  return current_.message;
}

}  // namespace host
