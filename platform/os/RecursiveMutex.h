#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>

namespace platform::os {

/// A critical section: the thread that has locked it may lock it again, and has to unlock it as often. Another thread
/// tries `spinCount` times before it sleeps. Shared between threads; must be unlocked when it is destroyed.
///
/// Not std::recursive_mutex, because callers ask isHeldByCaller() and change the spin count at run time.
class RecursiveMutex {
 public:
  explicit RecursiveMutex(std::uint32_t spinCount = 0) : spinCount_(spinCount) {}
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  /// Throws std::system_error if the system refuses to wait.
  void lock();
  /// Returns false if another thread has locked it; never waits.
  bool tryLock();
  /// Returns false, and changes nothing, if the calling thread has not locked it.
  bool unlock();
  bool isHeldByCaller() const { return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id(); }
  /// Sets the number of attempts before a thread sleeps. Any thread may call it at any time. Returns the old count.
  std::uint32_t setSpinCount(std::uint32_t spinCount) { return spinCount_.exchange(spinCount); }

 private:
  bool spin();

  std::mutex mutex_;
  /// Written only by the thread that has locked `mutex_`. A thread that reads its own id here has therefore written it
  /// itself and not unlocked since; relaxed order is enough for that.
  std::atomic<std::thread::id> owner_{};
  /// How often the owner has to unlock. Only the owner reads or writes it.
  std::uint32_t depth_ = 0;
  std::atomic<std::uint32_t> spinCount_;
};

}  // namespace platform::os
