#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace host::serve {

/// Threads that run jobs in the order in which they came. A thread is started when all others are busy, up to a limit,
/// and stays. A job must not throw.
class WorkerPool {
 public:
  /// Throws std::system_error if it cannot start one thread.
  explicit WorkerPool(std::size_t mostThreads) : mostThreads_(mostThreads) { addThread(); }
  ~WorkerPool() { close(); }
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// False after close(): then the job is not run. Any thread may call it.
  bool push(std::function<void()> job);
  /// Runs what was pushed, and returns when all of it has ended. Only one thread may call it.
  void close();

 private:
  void run();
  void tryToAddThread();
  void addThread() {
    threads_.emplace_back([this] { run(); });
  }

  const std::size_t mostThreads_;
  std::mutex mutex_;
  std::condition_variable changed_;
  /// All guarded by the mutex, the threads until isClosed_ is set.
  std::deque<std::function<void()>> jobs_;
  std::size_t idleThreads_ = 0;
  bool isClosed_ = false;
  std::vector<std::jthread> threads_;
};

}  // namespace host::serve
