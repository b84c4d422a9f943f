#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace host::serve {

/// Threads that run jobs in the order in which they came. A job must not throw.
class WorkerPool {
 public:
  explicit WorkerPool(unsigned threads);
  ~WorkerPool() { close(); }
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// False after close(): then the job is not run. Any thread may call it.
  bool push(std::function<void()> job);
  /// Runs what was pushed, and returns when all of it has ended. Only one thread may call it.
  void close();

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  /// Both guarded by the mutex.
  std::deque<std::function<void()>> jobs_;
  bool isClosed_ = false;
  std::vector<std::jthread> threads_;
};

}  // namespace host::serve
