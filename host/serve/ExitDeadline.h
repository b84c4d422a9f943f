#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

#include "host/errors.h"

namespace host::serve {

/// Ends the process at a set time, whatever hangs then: a handler or a hook that waits for a disk which does not
/// respond, or a name server. Destroying the object before that cancels it. Belongs to one thread.
class ExitDeadline {
 public:
  /// Called at the time, on another thread. Returns the status with which the process ends.
  using LastWords = std::function<ExitStatus()>;

  /// Throws std::system_error if the system has no thread.
  ExitDeadline(std::chrono::steady_clock::time_point time, LastWords lastWords);

 private:
  void run(const std::stop_token& stop);

  const std::chrono::steady_clock::time_point time_;
  const LastWords lastWords_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  /// Last: it uses all of the above.
  std::jthread thread_;
};

}  // namespace host::serve
