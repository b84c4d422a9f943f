#include "host/input/ReadPause.h"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

namespace host {

bool ReadPause::await() {
  const auto length = pause();
  isDue_ = false;
  if (length.count() == 0) return false;
  stop_.waitUntil(std::chrono::steady_clock::now() + length);
  return true;
}

void ReadPause::add(std::size_t bytes, bool hasWaited) {
  constexpr std::chrono::milliseconds kStep{20};
  gathered_ += bytes;
  if (!hasWaited) return;
  pause_ = gathered_ > kMostGathered ? pause_ / 2 : std::min(pause_ + kStep, kLongest);
  gathered_ = 0;
  isDue_ = true;
}

// The time that a read took is not enough: on a busy machine a read that was only interrupted would count as one that
// waited, and a reader that is late would pause as well. But it spares most of the system calls.
bool ReadPause::hasWaited() {
  constexpr std::chrono::milliseconds kShort{1};
  if (Clock::now() - beganAt_ < kShort) return false;
  rusage usage{};
  ::getrusage(RUSAGE_THREAD, &usage);
  return std::exchange(switches_, usage.ru_nvcsw) != usage.ru_nvcsw;
}

}  // namespace host
