#include "host/record/RealTimePacer.h"

namespace host {

void RealTimePacer::wait(std::uint32_t timeMs) {
  if (!lastTimeMs_) due_ = std::chrono::steady_clock::now();
  // Signed, so that a timestamp that falls moves the due time back instead of 49 days ahead.
  const auto step = static_cast<std::int32_t>(timeMs - lastTimeMs_.value_or(timeMs));
  due_ += std::chrono::milliseconds(step);
  lastTimeMs_ = timeMs;
  stop_.waitUntil(due_);
}

}  // namespace host
