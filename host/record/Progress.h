#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/Log.h"

namespace host {

/// How progress is shown to the user. Chosen by the options, and by whether standard error is a terminal.
enum class ProgressStyle {
  kNone,
  /// One line, rewritten a few times a second.
  kTerminal,
  /// A line each second, for a file or a pipe.
  kLines,
};

/// Shows how much of a stream was received: media time since the first message, speed relative to real time, bytes of
/// media. RecordSummary says at the end how much of it is stored. Belongs to one thread.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  /// `log` outlives it.
  Progress(ProgressStyle style, Log& log);
  /// Counts a message, and shows the state if the last display is old enough.
  void add(std::uint32_t timeMs, std::uint64_t bytes);
  /// Shows the state a last time, whatever the time since the last display.
  void finish();
  /// The text that is shown after `elapsed` of real time, from which the speed is computed.
  std::string text(Clock::duration elapsed) const;

 private:
  void show(Clock::time_point now);

  ProgressStyle style_;
  Log& log_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point nextShow_ = start_;
  std::optional<std::uint32_t> firstTimeMs_;
  /// From the first message to the last one.
  std::uint32_t mediaMs_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace host
