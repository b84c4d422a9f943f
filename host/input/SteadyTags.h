#pragma once

#include <deque>
#include <memory>
#include <optional>

#include "host/input/Input.h"
#include "host/input/SourceClock.h"
#include "host/input/messageKind.h"

namespace host {

/// The messages of a tag stream at the times that they get in a recording: all moved by one distance where it continues
/// one, and by another where a new clock begins (see SourceClock). With `keepTimes` they stay as they are.
///
/// Only frames tell the time. Other messages often have none of their own, but 0 or what a server had at hand: those
/// that are far from the frames around them get the time of the frame before.
class SteadyTags : public Input {
 public:
  /// `log` outlives it.
  SteadyTags(std::unique_ptr<Input> tags, const InputOptions& options, Log& log);

  void continueAt(std::uint32_t timeMs) override { startMs_ = timeMs; }
  bool isVerbatim() const override { return true; }
  std::optional<std::uint32_t> keptStart() override;
  std::optional<InputMessage> next() override;

 private:
  /// Takes the messages up to the first frame.
  void readAhead();
  std::optional<InputMessage> take();
  std::int64_t map(const InputMessage& message);

  std::unique_ptr<Input> tags_;
  bool keepTimes_;
  std::int64_t maxGapMs_;
  SourceClock clock_;
  std::optional<std::uint32_t> startMs_;
  bool readAhead_ = false;
  std::deque<OwnedMessage> ahead_;
  std::optional<std::uint32_t> firstFrameMs_;
  /// Of the last frame.
  std::optional<std::int64_t> frameMs_;
  OwnedMessage current_;
};

}  // namespace host
