#pragma once

#include <deque>
#include <memory>
#include <optional>

#include "host/input/Input.h"
#include "host/input/SourceClock.h"
#include "host/input/messageKind.h"

namespace host {

/// The messages of a tag stream with the times that they get in the recording. An append moves all of them by the same
/// distance, and so does each new clock of the source (see SourceClock). With `keepTimes` the times are not changed.
///
/// Only frames have reliable times. The other messages often have 0, or some time that a server had at hand; if that is
/// far from the frames around them, they get the time of the frame before.
class RetimedTags : public Input {
 public:
  /// `tags` is not null. `log` outlives it.
  RetimedTags(std::unique_ptr<Input> tags, const InputOptions& options, Log& log);

  void continueAt(std::uint32_t timeMs) override { startMs_ = timeMs; }
  /// Only times are changed; type and data of a message never are.
  bool isVerbatim() const override { return true; }
  std::optional<std::uint32_t> keptStart() override;
  std::uint32_t newClocks() const override { return clock_.newClocks(); }
  std::optional<InputMessage> next() override;

 private:
  /// Reads the messages up to the first frame into `ahead_`, once.
  void readAhead();
  /// The next message of the stream, with its own time.
  std::optional<InputMessage> take();
  /// The time in ms of a message in the recording.
  std::int64_t map(const InputMessage& message);

  std::unique_ptr<Input> tags_;
  bool keepTimes_;
  /// Up to this distance from the last frame, the time of another message is believed.
  std::int64_t maxGapMs_;
  SourceClock clock_;
  /// Time of the first frame of an append.
  std::optional<std::uint32_t> startMs_;
  /// Whether readAhead() was called.
  bool readAhead_ = false;
  std::deque<OwnedMessage> ahead_;
  /// Time of the first frame, if it was read ahead.
  std::optional<std::uint32_t> firstFrameMs_;
  /// Time of the last frame in the recording.
  std::optional<std::int64_t> frameMs_;
  /// Owner of the data of the message that next() returned last.
  OwnedMessage current_;
};

}  // namespace host
