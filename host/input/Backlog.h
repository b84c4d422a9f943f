#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "host/input/EndingInput.h"
#include "host/input/InputFilter.h"
#include "host/input/messageKind.h"
#include "host/record/Tally.h"

namespace host {

/// An input whose messages may be read before they are recorded: up to the frame with which a recording can begin, and
/// while there is no place for a recording. Belongs to one thread.
class Backlog : public InputFilter {
 public:
  /// Messages that were left out, without metadata and sequence headers, and the media time that they cover.
  struct Dropped {
    Tally messages;
    std::uint64_t ms = 0;
  };

  /// `input` is not null.
  explicit Backlog(std::unique_ptr<Input> input) : InputFilter(std::move(input)) {}

  /// Reads up to the first key frame, without video up to the first audio frame, without both up to the first message,
  /// and leaves out all frames before it. Returns its time in ms, or nothing if the input ends before. An input that
  /// does not know whether it has video is given a second of media time to show it. If the input fails, that is its
  /// end: what came before can be recorded, and next() or throwFailure() throws after it.
  std::optional<std::uint32_t> awaitBegin();
  /// Reads one message and keeps it. If the messages take more than `limit` bytes, the oldest are dropped, so that the
  /// rest begins with a key frame. Returns false at the end of the input, which a failure is, too.
  bool hold(std::uint64_t limit);
  /// Messages that were returned by next() and not recorded, the last ones, are kept as if they had not been returned.
  void putBack(std::vector<OwnedMessage> messages);
  /// The time in ms of the first message that is kept and with which a recording can begin; nothing if there is none.
  std::optional<std::uint32_t> beginMs() const;
  /// Throws what the input has failed with, unless that was thrown already.
  void throwFailure() { input_.throwFailure(); }
  /// Drops all of them: there will be no place for them.
  void giveUp() { drop(queue_.size(), overLimit_); }
  /// Memory in bytes of the messages that were read and not returned, about.
  std::uint64_t bytes() const { return bytes_; }
  /// The messages that awaitBegin() has left out, and those that hold() and giveUp() have dropped.
  const Dropped& beforeBegin() const { return beforeBegin_; }
  const Dropped& overLimit() const { return overLimit_; }

  std::uint32_t newClocks() const override { return newClocks_; }
  std::optional<InputMessage> next() override;

 private:
  struct Held {
    OwnedMessage message;
    /// Input::newClocks() up to it.
    std::uint32_t newClocks = 0;
  };

  /// Reads one message to the end of the queue. Returns false at the end.
  bool read();
  /// Drops the first `count` messages, except for the last metadata and the last sequence header of each kind.
  void drop(std::size_t count, Dropped& dropped);
  /// Adds the media time of messages that were just dropped.
  void countDroppedTime(std::uint32_t firstMs, std::uint32_t lastMs, Dropped& dropped);
  /// Whether what follows can be decoded if the recording begins with the message.
  bool canBegin(const Held& held) const;

  EndingInput input_{source()};
  std::deque<Held> queue_;
  std::uint64_t bytes_ = 0;
  /// Whether a message of video has come.
  bool sawVideo_ = false;
  /// Everything was dropped, so that nothing can be decoded before the next key frame.
  bool waitsForBegin_ = false;
  /// Time of the last message that was dropped, until one is kept.
  std::optional<std::uint32_t> droppedUpToMs_;
  Dropped beforeBegin_;
  Dropped overLimit_;
  /// Of the message that next() returned last, which `current_` owns.
  std::uint32_t newClocks_ = 0;
  OwnedMessage current_;
};

}  // namespace host
