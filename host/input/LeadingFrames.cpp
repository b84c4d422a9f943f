#include "host/input/LeadingFrames.h"

extern "C" {
#include <libavutil/avutil.h>
}

#include <utility>

namespace host {

std::vector<RawFrame> LeadingFrames::push(RawFrame frame) {
  const bool known = frame.times.dts != AV_NOPTS_VALUE;
  if (known && !done_) countBack(frame.times.dts);
  // The limit: a track may have no decode times at all, and the memory must stay bounded.
  done_ = done_ || known || waiting_.size() == kMaxWaiting;
  waiting_.push_back(std::move(frame));
  return done_ ? flush() : std::vector<RawFrame>();
}

std::vector<RawFrame> LeadingFrames::flush() {
  return std::exchange(waiting_, {});
}

void LeadingFrames::countBack(std::int64_t dts) {
  for (auto frame = waiting_.rbegin(); frame != waiting_.rend(); ++frame) {
    // The times of all frames before this one would be guesses.
    if (frame->times.duration <= 0) return;
    dts -= frame->times.duration;
    frame->times.dts = dts;
  }
}

}  // namespace host
