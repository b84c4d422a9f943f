#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/StopSignal.h"

namespace host {

/// Holds messages back until as much real time has gone by since the first one as lies between their timestamps, which
/// may run over the end of their 32 bits.
class RealTimePacer {
 public:
  /// `stop` outlives it.
  explicit RealTimePacer(const StopSignal& stop) : stop_(stop) {}
  /// Comes back when the message is due, or at once after a request to stop.
  void wait(std::uint32_t timeMs);

 private:
  const StopSignal& stop_;
  std::chrono::steady_clock::time_point due_;
  std::optional<std::uint32_t> lastTimeMs_;
};

}  // namespace host
