#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace host::serve {

/// The time of day in milliseconds since 1970-01-01 UTC.
using WallClock = std::function<std::int64_t()>;
/// That of the system.
std::int64_t systemClockMs();

/// When the recordings from one opening of a source begin. What is played from one recording into the next must have no
/// seam, so the next one begins exactly as much later as its first frame is later in the stream. Only if that is off
/// from the time of day, after a break, a drift or a change of the clock, it begins at the time of day. Frames that
/// come late, because this process or its disk stood still, or early are no reason: of the distances in the last minute
/// of the stream the least one counts.
class RecordingBegins {
 public:
  static constexpr std::int64_t kToleranceMs = 2000;
  /// The least distance is that of this period and of the one before, in the time of the stream.
  static constexpr std::int64_t kDelayPeriodMs = 30'000;

  explicit RecordingBegins(WallClock now) : now_(std::move(now)) {}

  /// The begin, in ms since 1970-01-01 UTC, of the recording whose first frame has just been received. `mediaMs` is the
  /// time of that frame in the input, modulo 2^32.
  std::int64_t next(std::uint32_t mediaMs);
  /// The begin of the same recording, whose first frames were lost, so that it begins with this one.
  std::int64_t move(std::uint32_t mediaMs);
  /// A frame has been received that is so much later than the first one of the recording.
  void received(std::uint32_t recordedMs) { noteDelay(last_->wallMs + recordedMs); }
  /// The clock of the stream or of the system was changed, so that what was before says nothing.
  void forgetDelays();

 private:
  struct Begin {
    std::int64_t wallMs = 0;
    std::uint32_t mediaMs = 0;
  };

  struct Delay {
    /// When the period has begun, by the stream.
    std::optional<std::int64_t> sinceMs = {};
    std::int64_t leastMs = std::numeric_limits<std::int64_t>::max();
  };

  std::int64_t exactBegin(std::uint32_t mediaMs) const;
  void noteDelay(std::int64_t exactMs);

  WallClock now_;
  /// Of the recording in progress, or the one before.
  std::optional<Begin> last_;
  Delay delay_;
  Delay delayBefore_;
};

/// The first directory that does not exist for a recording that begins then: `FOLDER/<name>`, with `-2` and so on. A
/// native path.
std::string freeRecordingPath(const std::string& folder, std::int64_t beginMs);

}  // namespace host::serve
