#include "host/input/ReadPause.h"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

namespace host {
namespace {

/// How often this thread has given up its processor to wait.
long voluntarySwitches() {
  rusage usage{};
  ::getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

}  // namespace

bool ReadPause::await() {
  const auto length = pause();
  isDue_ = false;
  if (length.count() == 0) return false;
  stop_.waitUntil(std::chrono::steady_clock::now() + length);
  // The pause is no wait of a read.
  switches_ = voluntarySwitches();
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
// waited, and a reader that is late would pause as well. But it spares most of the system calls. A wait for the disk
// since the last look counts as well, which makes a pause at most once.
bool ReadPause::hasWaited() {
  constexpr std::chrono::milliseconds kShort{1};
  if (Clock::now() - beganAt_ < kShort) return false;
  const long switches = voluntarySwitches();
  return std::exchange(switches_, switches) != switches;
}

}  // namespace host
