#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/StopSignal.h"

namespace host {

/// Delays each message until the real time since the first one equals the distance of their timestamps. Timestamps are
/// in ms and may wrap at 32 bits. One that falls moves the due time back. A message that comes late is not delayed, and
/// neither are those after it until the stream has caught up.
class RealTimePacer {
 public:
  /// `stop` outlives it.
  explicit RealTimePacer(const StopSignal& stop) : stop_(stop) {}
  /// Returns when the message is due, or at once if a stop is requested.
  void wait(std::uint32_t timeMs);

 private:
  const StopSignal& stop_;
  std::chrono::steady_clock::time_point due_;
  std::optional<std::uint32_t> lastTimeMs_;
};

}  // namespace host
