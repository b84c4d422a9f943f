#include "host/serve/http/WorkerPool.h"

#include <system_error>

namespace host::serve {

bool WorkerPool::push(std::function<void()> job) {
  {
    const std::scoped_lock lock(mutex_);
    if (isClosed_) return false;
    jobs_.push_back(std::move(job));
    // A thread that was woken for an earlier job counts as idle until it has taken that.
    const bool isBusy = jobs_.size() > idleThreads_;
    if (isBusy && threads_.size() < mostThreads_) tryToAddThread();
  }
  changed_.notify_one();
  return true;
}

void WorkerPool::tryToAddThread() {
  try {
    addThread();
  } catch (const std::system_error&) {
    // The system has no thread left. Those that are there run the job later.
  }
}

void WorkerPool::close() {
  {
    const std::scoped_lock lock(mutex_);
    isClosed_ = true;
  }
  changed_.notify_all();
  threads_.clear();
}

void WorkerPool::run() {
  while (true) {
    std::unique_lock lock(mutex_);
    ++idleThreads_;
    changed_.wait(lock, [this] { return isClosed_ || !jobs_.empty(); });
    --idleThreads_;
    if (jobs_.empty()) return;
    const auto job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
  }
}

}  // namespace host::serve
