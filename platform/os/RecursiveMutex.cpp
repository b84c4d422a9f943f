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
  owner_.store(std::thread::id(), std::memory_order_relaxed);
  mutex_.unlock();
  return true;
}

bool RecursiveMutex::spin() {
  for (std::uint32_t left = spinCount_.load(std::memory_order_relaxed); left > 0; --left) {
    // Looking at the owner first leaves the mutex's cache line with its holder.
    if (owner_.load(std::memory_order_relaxed) == std::thread::id() && tryLock()) return true;
  }
  return false;
}

}  // namespace platform::os
