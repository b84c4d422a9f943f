#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

namespace host::serve {

/// Cuts connections that exceed a deadline: a thread shuts their sockets down, and their owner then sees the end of the
/// input. Any thread may call it.
class DeadlineWatch {
 public:
  using Clock = std::chrono::steady_clock;

  DeadlineWatch();
  ~DeadlineWatch();
  DeadlineWatch(const DeadlineWatch&) = delete;
  DeadlineWatch& operator=(const DeadlineWatch&) = delete;

  /// Sets the deadline of an open socket, or removes it. The caller calls forget() before it closes the socket.
  void set(int socket, std::optional<Clock::time_point> deadline);
  void forget(int socket) { set(socket, std::nullopt); }

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  /// All guarded by the mutex, also while a socket is shut down, so that its number is not another socket's by then.
  std::map<int, Clock::time_point> deadlines_;
  std::set<std::pair<Clock::time_point, int>> order_;
  bool isStopping_ = false;
  /// When the thread wakes in any case.
  Clock::time_point wakesAt_ = Clock::time_point::max();
  std::thread thread_;
};

}  // namespace host::serve
