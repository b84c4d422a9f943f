#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/Log.h"

namespace host {

/// How the user follows a recording.
enum class ProgressStyle {
  kNone,
  /// One line, rewritten a few times a second.
  kTerminal,
  /// A line each second, for what is no terminal.
  kLines,
};

/// Tells how much of a stream has come: media time since the first message, speed against real time, bytes of media.
/// What of it is stored, RecordSummary tells at the end.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  /// `log` outlives it.
  Progress(ProgressStyle style, Log& log);
  /// Counts a message, and shows the state where that is due.
  void add(std::uint32_t timeMs, std::uint64_t bytes);
  /// Shows the state a last time.
  void finish();
  /// The state as shown, when `elapsed` of real time has gone by.
  std::string text(Clock::duration elapsed) const;

 private:
  void show(Clock::time_point now);

  ProgressStyle style_;
  Log& log_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point nextShow_ = start_;
  std::optional<std::uint32_t> firstTimeMs_;
  std::uint32_t mediaMs_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace host
