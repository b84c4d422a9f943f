#include "host/record/RecordSession.h"

#include <fmt/format.h>

#include "util/tagHeader.h"

namespace host {

void RecordSession::run(Input& input) {
  while (const auto message = input.next()) {
    if (pacer_ != nullptr) pacer_->wait(message->timeMs);
    take(*message);
    betweenMessages_();
    progress_.add(message->timeMs, message->data.size());
  }
}

void RecordSession::take(const InputMessage& message) {
  ++messages_;
  if (message.data.size() > qvs::util::kMaxTagDataSize) {
    const std::string reason =
        fmt::format("a message of {} bytes at {} ms is too large; at most {} bytes can be stored", message.data.size(),
                    message.timeMs, qvs::util::kMaxTagDataSize);
    log_.error(reason);
    refuse(message, reason);
    return;
  }
  const std::uint64_t errorsBefore = context_.errorCount();
  if (recording_.record(message)) return;
  const std::string reason = context_.errorCount() > errorsBefore ? context_.lastError() : "the module gave no reason";
  // Only a second answer tells why: a message that is refused is refused again, and one that was lost with a fragment
  // that could not be written is kept now, since the stream has moved on. One from before the recording's end is not
  // sent again: no index would ever reach it.
  context_.hideRepeats(true);
  const bool isKept = message.timeMs >= expectedMs_ && recording_.record(message);
  context_.hideRepeats(false);
  if (!isKept) refuse(message, reason);
}

void RecordSession::refuse(const InputMessage& message, const std::string& reason) {
  if (refused_++ > 0) return;
  firstReason_ = reason;
  if (message.timeMs < expectedMs_) {
    log_.warning(
        fmt::format("the refused message at {} ms lies ahead of the recording's end; what is appended has to go "
                    "on from {} ms",
                    message.timeMs, expectedMs_));
  }
}

}  // namespace host
