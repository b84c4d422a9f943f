#pragma once

#include <cstdint>
#include <functional>
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
/// from the time of day, after a break, a drift or a change of the clock, it begins at the time of day.
class RecordingBegins {
 public:
  static constexpr std::int64_t kToleranceMs = 2000;

  explicit RecordingBegins(WallClock now) : now_(std::move(now)) {}

  /// The begin, in ms since 1970-01-01 UTC, of the recording whose first frame has just been received. `mediaMs` is the
  /// time of that frame in the input, modulo 2^32.
  std::int64_t next(std::uint32_t mediaMs);

 private:
  struct Begin {
    std::int64_t wallMs = 0;
    std::uint32_t mediaMs = 0;
  };

  WallClock now_;
  /// Of the recording before.
  std::optional<Begin> last_;
};

/// The first directory that does not exist for a recording that begins then: `FOLDER/<name>`, with `-2` and so on. A
/// native path.
std::string freeRecordingPath(const std::string& folder, std::int64_t beginMs);

}  // namespace host::serve
