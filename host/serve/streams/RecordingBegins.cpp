#include "host/serve/streams/RecordingBegins.h"

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
  std::int64_t wallMs = now_();
  if (last_) {
    // Signed: a first frame may be older than the one before by what audio and video are apart.
    const std::int64_t exactMs = last_->wallMs + static_cast<std::int32_t>(mediaMs - last_->mediaMs);
    if (std::abs(exactMs - wallMs) <= kToleranceMs) wallMs = exactMs;
  }
  last_ = {.wallMs = wallMs, .mediaMs = mediaMs};
  return wallMs;
}

std::string freeRecordingPath(const std::string& folder, std::int64_t beginMs) {
  for (RecordingName name{.beginMs = beginMs};; ++name.number) {
    std::string path = folder + "/" + recordingNameText(name);
    std::error_code ignored;
    // What cannot be examined is for the caller to find out.
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) return path;
  }
}

}  // namespace host::serve
