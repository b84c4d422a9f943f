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

// Not the time that a read took: on a busy machine a read that was only interrupted would count as one that waited, and
// a reader that is late would pause as well.
long ReadPause::switches() {
  rusage usage{};
  ::getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

}  // namespace host
