#include "host/record/Progress.h"

#include <fmt/format.h>

namespace host {

Progress::Progress(ProgressStyle style, Log& log) : style_(style), log_(log) {}

void Progress::add(std::uint32_t timeMs, std::uint64_t bytes) {
  if (!firstTimeMs_) firstTimeMs_ = timeMs;
  // Unsigned: timestamps wrap at 32 bits, the distance does not.
  mediaMs_ = timeMs - *firstTimeMs_;
  bytes_ += bytes;
  if (style_ == ProgressStyle::kNone) return;
  // The clock is read only if somebody looks: a recording may get thousands of messages a second.
  if (const auto now = Clock::now(); now >= nextShow_) show(now);
}

void Progress::finish() {
  if (style_ != ProgressStyle::kNone) show(Clock::now());
}

std::string Progress::text(Clock::duration elapsed) const {
  const double seconds = std::chrono::duration<double>(elapsed).count();
  const double speed = seconds > 0 ? mediaMs_ / 1000.0 / seconds : 0;
  return fmt::format("received {:02}:{:02}:{:02}.{:03}  speed {:.1f}x  {:.1f} MB", mediaMs_ / 3600000,
                     mediaMs_ / 60000 % 60, mediaMs_ / 1000 % 60, mediaMs_ % 1000, speed,
                     static_cast<double>(bytes_) / 1e6);
}

void Progress::show(Clock::time_point now) {
  using std::chrono::milliseconds;
  if (style_ == ProgressStyle::kTerminal) {
    log_.setStatusLine(text(now - start_));
  } else {
    log_.note(text(now - start_));
  }
  nextShow_ = now + milliseconds(style_ == ProgressStyle::kTerminal ? 200 : 1000);
}

}  // namespace host
