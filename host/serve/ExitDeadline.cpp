#include "host/serve/ExitDeadline.h"

#include <cstdlib>
#include <utility>

namespace host::serve {

ExitDeadline::ExitDeadline(std::chrono::steady_clock::time_point time, LastWords lastWords)
    : time_(time), lastWords_(std::move(lastWords)), thread_([this](const std::stop_token& stop) { run(stop); }) {}

void ExitDeadline::run(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  changed_.wait_until(lock, stop, time_, [] { return false; });
  // No destructors run: they would wait for the part that hangs.
  if (!stop.stop_requested()) std::_Exit(static_cast<int>(lastWords_()));
}

}  // namespace host::serve
