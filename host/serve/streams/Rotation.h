#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>

#include "host/serve/streams/RecordingBegins.h"

namespace host::serve {

/// When the recordings of a stream end by the time of day: at the multiples of a period. Belongs to one thread.
class Rotation {
 public:
  /// Without a period, or with one of 0, no recording ends by the time of day. `now` outlives it.
  Rotation(std::optional<std::chrono::milliseconds> period, const WallClock& now) : period_(period), now_(now) {}

  /// A recording begins at `beginMs`, in ms since 1970-01-01 UTC.
  void begin(std::int64_t beginMs);
  /// Whether it should end now.
  bool isDue() const { return now_() >= nextMs_; }
  /// Whether the time of day is before its begin by more than a tolerance. Never without a period.
  bool isClockSetBack() const;

 private:
  static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

  std::optional<std::chrono::milliseconds> period_;
  const WallClock& now_;
  /// When the recording began, and when the next multiple of the period comes.
  std::int64_t begunAtMs_ = 0;
  std::int64_t nextMs_ = kNever;
};

}  // namespace host::serve
