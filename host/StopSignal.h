#pragma once

#include <atomic>
#include <chrono>

namespace host {

/// The user's request to stop, and waits that it ends. One thread makes it and waits on it; request() may be called
/// from any thread and from a signal handler.
class StopSignal {
 public:
  /// Throws std::system_error if there are no more file descriptors.
  StopSignal();
  /// Restores the old signal handlers.
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// From now on SIGINT and SIGTERM request a stop and interrupt system calls. For one object at a time.
  void catchSignals();
  /// Requests the stop, and ends a wait. May be called again.
  void request() noexcept;
  /// Relaxed: only the flag is exchanged between threads, no other data.
  bool requested() const noexcept { return requested_.load(std::memory_order_relaxed); }

  /// Waits until `fd` has data, or has ended or failed. Returns false after a request to stop.
  bool waitReadable(int fd) const;
  /// The same, until the time `until` at the latest: it returns false then, too.
  bool waitReadable(int fd, std::chrono::steady_clock::time_point until) const;
  /// Waits until `time`. Returns false after a request to stop.
  bool waitUntil(std::chrono::steady_clock::time_point time) const;

 private:
  /// With null there is no end but data and a stop.
  bool wait(int fd, const std::chrono::steady_clock::time_point* until) const;

  std::atomic<bool> requested_ = false;
  /// A request writes a byte, which is never read: so it ends a poll that began before it and every later one.
  int pipe_[2] = {-1, -1};
  /// Whether the destructor has to restore the handlers.
  bool catching_ = false;
};

}  // namespace host
