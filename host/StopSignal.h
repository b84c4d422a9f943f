#pragma once

#include <atomic>
#include <chrono>

namespace host {

/// The user's wish to stop, and waits that it ends. Made and waited on by one thread; request() may come from any
/// thread and from a signal handler.
class StopSignal {
 public:
  StopSignal();
  /// Gives the signals back to their old handlers.
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// From here on SIGINT and SIGTERM are a request to this object, and interrupt system calls. One object at a time.
  void catchSignals();
  void request() noexcept;
  bool requested() const noexcept { return requested_.load(std::memory_order_relaxed); }

  /// Waits until `fd` has something to read, or has ended or failed. False when asked to stop.
  bool waitReadable(int fd) const;
  /// The same, but no longer than until that time: false then, too.
  bool waitReadable(int fd, std::chrono::steady_clock::time_point until) const;
  /// Waits until that time. False when asked to stop.
  bool waitUntil(std::chrono::steady_clock::time_point time) const;

 private:
  bool wait(int fd, const std::chrono::steady_clock::time_point* until) const;

  std::atomic<bool> requested_ = false;
  /// A request leaves a byte here, which ends a poll that began before it as well as one that begins after.
  int pipe_[2] = {-1, -1};
  bool catching_ = false;
};

}  // namespace host
