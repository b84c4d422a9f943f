#include "platform/os/RecursiveMutex.h"

namespace platform::os {

void RecursiveMutex::lock() {
  if (tryLock() || spin()) return;
  mutex_.lock();
  owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  depth_ = 1;
}

bool RecursiveMutex::tryLock() {
  if (isHeldByCaller()) {
    ++depth_;
    return true;
  }
  if (!mutex_.try_lock()) return false;
  owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  depth_ = 1;
  return true;
}

bool RecursiveMutex::unlock() {
  if (!isHeldByCaller()) return false;
  if (--depth_ > 0) return true;
  // Before the unlock: afterwards the next owner may already have stored its id.
  owner_.store(std::thread::id(), std::memory_order_relaxed);
  mutex_.unlock();
  return true;
}

bool RecursiveMutex::spin() {
  for (std::uint32_t left = spinCount_.load(std::memory_order_relaxed); left > 0; --left) {
    // Reading the owner first: a failed try_lock() would take the mutex's cache line away from the thread that has it.
    if (owner_.load(std::memory_order_relaxed) == std::thread::id() && tryLock()) return true;
  }
  return false;
}

}  // namespace platform::os
