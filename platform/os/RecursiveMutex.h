#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>

namespace platform::os {

/// A critical section: the thread that holds it may enter again and leaves as often as it entered. A thread that finds
/// it held looks again `spinCount` times before it waits. Shared between threads; destroyed while nobody holds it.
class RecursiveMutex {
 public:
  explicit RecursiveMutex(std::uint32_t spinCount = 0) : spinCount_(spinCount) {}
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void lock();
  bool tryLock();
  /// False, and nothing done, where the calling thread does not hold it.
  bool unlock();
  bool isHeldByCaller() const { return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id(); }
  /// Answers the old count.
  std::uint32_t setSpinCount(std::uint32_t spinCount) { return spinCount_.exchange(spinCount); }

 private:
  bool spin();

  std::mutex mutex_;
  /// Written by the holder alone, so that a thread that reads its own id here does hold the mutex.
  std::atomic<std::thread::id> owner_{};
  std::uint32_t depth_ = 0;
  std::atomic<std::uint32_t> spinCount_;
};

}  // namespace platform::os
