#include "host/serve/streams/RecordingBegins.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/serve/recordingName.h"

namespace host::serve {

std::int64_t systemClockMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::int64_t RecordingBegins::next(std::uint32_t mediaMs) {
  if (last_) {
    const std::int64_t exactMs = exactBegin(mediaMs);
    noteDelay(exactMs);
    if (std::min(delay_.leastMs, delayBefore_.leastMs) <= kToleranceMs) return move(mediaMs);
  }
  forgetDelays();
  last_ = {.wallMs = now_(), .mediaMs = mediaMs};
  return last_->wallMs;
}

std::int64_t RecordingBegins::move(std::uint32_t mediaMs) {
  last_ = {.wallMs = exactBegin(mediaMs), .mediaMs = mediaMs};
  return last_->wallMs;
}

void RecordingBegins::forgetDelays() {
  delay_ = delayBefore_ = {};
}

std::int64_t RecordingBegins::exactBegin(std::uint32_t mediaMs) const {
  // Signed: a first frame may be older than the last one, by the distance between audio and video.
  return last_->wallMs + static_cast<std::int32_t>(mediaMs - last_->mediaMs);
}

void RecordingBegins::noteDelay(std::int64_t exactMs) {
  if (!delay_.sinceMs || exactMs - *delay_.sinceMs >= kDelayPeriodMs) {
    delayBefore_ = std::exchange(delay_, Delay{.sinceMs = exactMs});
  }
  delay_.leastMs = std::min(delay_.leastMs, std::abs(now_() - exactMs));
}

std::string freeRecordingPath(const std::string& folder, std::int64_t beginMs) {
  for (RecordingName name{.beginMs = beginMs};; ++name.number) {
    std::string path = folder + "/" + recordingNameText(name);
    std::error_code ignored;
    // The caller finds out why a path cannot be examined.
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) return path;
  }
}

}  // namespace host::serve
