#pragma once

#include <cstdint>
#include <optional>

namespace host {

/// Places the frames of a track, whose times are rounded to milliseconds, on the time line of an MP4 file. Times rise.
class TrackClock {
 public:
  /// `samplesPerFrame` is 0 for video: audio frames that follow each other within the rounding are placed by their
  /// number of samples, or players would hear the rounding as gaps. `unitsPerSecond` is the sample rate then.
  explicit TrackClock(std::int64_t unitsPerSecond = 1000, std::int64_t samplesPerFrame = 0)
      : unitsPerSecond_(unitsPerSecond), samplesPerFrame_(samplesPerFrame) {}

  std::int64_t unitsPerSecond() const { return unitsPerSecond_; }
  std::int64_t samplesPerFrame() const { return samplesPerFrame_; }

  /// The time of the next frame in units, of one that is `timeMs` after the beginning of the file.
  std::int64_t place(std::int64_t timeMs);

 private:
  std::int64_t unitsPerSecond_;
  std::int64_t samplesPerFrame_;
  std::optional<std::int64_t> last_;
};

}  // namespace host
