#include "host/serve/http/WorkerPool.h"

namespace host::serve {

WorkerPool::WorkerPool(unsigned threads) {
  for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
}

bool WorkerPool::push(std::function<void()> job) {
  {
    const std::scoped_lock lock(mutex_);
    if (isClosed_) return false;
    jobs_.push_back(std::move(job));
  }
  changed_.notify_one();
  return true;
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
    changed_.wait(lock, [this] { return isClosed_ || !jobs_.empty(); });
    if (jobs_.empty()) return;
    const auto job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
  }
}

}  // namespace host::serve
