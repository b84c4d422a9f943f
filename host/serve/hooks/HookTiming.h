#pragma once

#include <chrono>
#include <functional>

namespace host::serve {

/// The clock of the hooks, and how long they wait for what. Only tests have other values than these.
struct HookTiming {
  using Clock = std::chrono::steady_clock;

  /// Called by any thread that uses the hooks.
  std::function<Clock::time_point()> now = Clock::now;
  /// After the first failure of a hook; twice as long after each further one, up to the longest.
  Clock::duration firstPause = std::chrono::seconds(10);
  Clock::duration longestPause = std::chrono::hours(1);
  /// Between SIGTERM and SIGKILL. A stop of the service has 5 s in all.
  Clock::duration grace = std::chrono::seconds(2);
};

}  // namespace host::serve
