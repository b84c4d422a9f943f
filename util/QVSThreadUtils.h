#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/os/RecursiveMutex.h"

namespace qvs::util {

/// A lock that one thread may take more than once. All results are true; wrong use is a diagnostic. The order of the
/// virtual operations is part of the interface.
class IMutex {
 public:
  virtual ~IMutex() = default;
  /// Waits until the lock is free or the caller's own.
  virtual bool lock() = 0;
  /// To be called on the thread that has locked it, once for each `lock`.
  virtual bool unlock() = 0;
  /// How often a thread that finds the lock taken looks again before it sleeps. Returns the old count.
  virtual std::uint32_t setSpinCount(std::uint32_t spinCount) = 0;
};

}  // namespace qvs::util

/// A recursive lock within one process, with spin count 0. Outlives every MutexLock on it. The string pool has the only
/// ones in use: streams take no lock at all, as a stream belongs to one thread at a time.
class NQThreadOnlyMutex : public qvs::util::IMutex {
 public:
  /// `countPerThread` says whether this lock would count in the lock depth of a thread. Nothing counts the depth here.
  explicit NQThreadOnlyMutex(bool countPerThread) : countPerThread_(countPerThread) {}
  NQThreadOnlyMutex(const NQThreadOnlyMutex&) = delete;
  NQThreadOnlyMutex& operator=(const NQThreadOnlyMutex&) = delete;

  bool lock() override;
  /// On a thread that has not locked it, it is a diagnostic and unlocks nothing.
  bool unlock() override;
  std::uint32_t setSpinCount(std::uint32_t spinCount) override;
  /// Called with the lock held, after each `lock` and before each `unlock`, for counting. Both do nothing here.
  virtual void noteLocked() {}
  virtual void noteUnlocked() {}

  bool countPerThread() const { return countPerThread_; }

 private:
  platform::os::RecursiveMutex section_;
  bool countPerThread_;
};

namespace qvs::util {

/// Holds a lock, or nothing, until the end of a scope. Belongs to the thread that took the lock; the mutex outlives it.
class MutexLock {
 public:
  MutexLock() = default;
  /// Locks `mutex`, or with `alreadyHeld` takes over the lock that the caller already has. With null it has no lock.
  explicit MutexLock(IMutex* mutex, bool alreadyHeld = false) { assign(mutex, alreadyHeld); }
  ~MutexLock() { release(); }
  /// Takes over the lock of `other`, without unlocking in between.
  MutexLock(MutexLock&& other) noexcept : mutex_(std::exchange(other.mutex_, nullptr)) {}
  MutexLock& operator=(MutexLock&& other) noexcept;

  /// Unlocks the mutex that is held, then locks `mutex`. Does nothing if both are the same, whatever `alreadyHeld` is.
  void assign(IMutex* mutex, bool alreadyHeld = false);
  /// Unlocks the mutex, if one is held.
  void release() { assign(nullptr); }
  /// The mutex that is held; null for none.
  const IMutex* held() const { return mutex_; }

 private:
  IMutex* mutex_ = nullptr;
};

/// Number of entries of the per-thread table. Who uses which slot is agreed between callers; the module uses none.
inline constexpr std::size_t kThreadSlots = 10;

/// The calling thread's value in `slot`; null if none was set, and for a slot from kThreadSlots on.
void* getThreadValue(std::size_t slot);

/// Sets the calling thread's value, after the old value's cleanup has run on the old value. `cleanup` may be null; it
/// is also run at the end of the thread, and must not throw. Returns false, with nothing done, for a slot from
/// kThreadSlots on.
bool setThreadValue(std::size_t slot, void* value, void (*cleanup)(void*));

}  // namespace qvs::util
