#include "host/serve/streams/Rotation.h"

#include <algorithm>

namespace host::serve {

void Rotation::begin(std::int64_t beginMs) {
  begunAtMs_ = beginMs;
  nextMs_ = kNever;
  if (!period_ || period_->count() <= 0) return;
  // The time of day counts: the exact begin may be a little before the multiple at which the last recording ended.
  const std::int64_t periodMs = period_->count();
  nextMs_ = (std::max(now_(), beginMs) / periodMs + 1) * periodMs;
}

bool Rotation::isClockSetBack() const {
  // After such a change the rotation may be hours away, and the name of the recording is as many hours wrong.
  return nextMs_ != kNever && now_() < begunAtMs_ - RecordingBegins::kToleranceMs;
}

}  // namespace host::serve
