#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/os/RecursiveMutex.h"

namespace qvs::util {

/// A lock that its thread may take more than once. The answers are true; a wrong use is a diagnostic.
class IMutex {
 public:
  virtual ~IMutex() = default;
  virtual bool lock() = 0;
  /// Only on the thread that holds it, once for each `lock`.
  virtual bool unlock() = 0;
  /// How often a thread that finds it held looks again before it waits. Answers the old count.
  virtual std::uint32_t setSpinCount(std::uint32_t spinCount) = 0;
};

}  // namespace qvs::util

/// The lock of one process, without spinning at first. Outlives every holder.
class NQThreadOnlyMutex : public qvs::util::IMutex {
 public:
  /// `countPerThread`: whether its locks would be counted in the lock depth of a thread.
  explicit NQThreadOnlyMutex(bool countPerThread) : countPerThread_(countPerThread) {}
  NQThreadOnlyMutex(const NQThreadOnlyMutex&) = delete;
  NQThreadOnlyMutex& operator=(const NQThreadOnlyMutex&) = delete;

  bool lock() override;
  /// On a thread that does not hold it nothing is unlocked.
  bool unlock() override;
  std::uint32_t setSpinCount(std::uint32_t spinCount) override;
  /// Called with the lock held, behind each `lock` and before each `unlock`. Nothing here switches the counting on.
  virtual void noteLocked() {}
  virtual void noteUnlocked() {}

  bool countPerThread() const { return countPerThread_; }

 private:
  platform::os::RecursiveMutex section_;
  bool countPerThread_;
};

namespace qvs::util {

/// Holds a lock, or nothing, for a scope. Belongs to the thread that it locks for; the mutex outlives it.
class MutexLock {
 public:
  MutexLock() = default;
  /// With `alreadyHeld` the caller's own lock is handed over. Null holds nothing.
  explicit MutexLock(IMutex* mutex, bool alreadyHeld = false) { assign(mutex, alreadyHeld); }
  ~MutexLock() { release(); }
  /// Takes over what `other` holds, without unlocking in between.
  MutexLock(MutexLock&& other) noexcept : mutex_(std::exchange(other.mutex_, nullptr)) {}
  MutexLock& operator=(MutexLock&& other) noexcept;

  /// Unlocks the held mutex and locks this one. Does nothing where it is the same.
  void assign(IMutex* mutex, bool alreadyHeld = false);
  void release() { assign(nullptr); }
  const IMutex* held() const { return mutex_; }

 private:
  IMutex* mutex_ = nullptr;
};

/// Entries of the per-thread table.
inline constexpr std::size_t kThreadSlots = 10;

/// The calling thread's value in `slot`; null where none was set.
void* getThreadValue(std::size_t slot);

/// Sets it, after `cleanup` of the old value has run on that value. `cleanup` may be null; it also runs at the end of
/// the thread. False, and nothing done, for a slot from kThreadSlots on.
bool setThreadValue(std::size_t slot, void* value, void (*cleanup)(void*));

}  // namespace qvs::util
