#include "util/QVSThreadUtils.h"

#include <array>

#include "util/diagnostics.h"

bool NQThreadOnlyMutex::lock() {
  section_.lock();
  noteLocked();
  return true;
}

// A foreign thread still reaches the section, which refuses it by itself: only the counting has to be left out here.
bool NQThreadOnlyMutex::unlock() {
  const bool isHeld = section_.isHeldByCaller();
  qvs::util::diagnose(isHeld);
  if (isHeld) noteUnlocked();
  section_.unlock();
  return true;
}

std::uint32_t NQThreadOnlyMutex::setSpinCount(std::uint32_t spinCount) {
  return section_.setSpinCount(spinCount);
}

namespace qvs::util {
namespace {

struct ThreadEntry {
  void* value = nullptr;
  void (*cleanup)(void*) = nullptr;

  /// Empties the entry before the cleanup runs, since a cleanup may set the slot again.
  void clear() {
    const ThreadEntry old = std::exchange(*this, {});
    if (old.cleanup != nullptr) old.cleanup(old.value);
  }
};

struct ThreadTable {
  std::array<ThreadEntry, kThreadSlots> entries;

  ~ThreadTable() {
    for (auto& entry : entries) entry.clear();
  }
};

// The destructor runs the cleanups at the end of each thread that used the table.
thread_local ThreadTable threadTable;

}  // namespace

MutexLock& MutexLock::operator=(MutexLock&& other) noexcept {
  if (this == &other) return *this;
  // Both have locked the same mutex, which counts two locks. One of them is released, since this object will unlock
  // once.
  if (mutex_ == other.mutex_) release();
  assign(std::exchange(other.mutex_, nullptr), true);
  return *this;
}

void MutexLock::assign(IMutex* mutex, bool alreadyHeld) {
  if (mutex == mutex_) return;
  if (mutex_ != nullptr) mutex_->unlock();
  mutex_ = mutex;
  if (mutex_ != nullptr && !alreadyHeld) mutex_->lock();
}

void* getThreadValue(std::size_t slot) {
  return slot < kThreadSlots ? threadTable.entries[slot].value : nullptr;
}

bool setThreadValue(std::size_t slot, void* value, void (*cleanup)(void*)) {
  if (slot >= kThreadSlots) return false;
  ThreadEntry& entry = threadTable.entries[slot];
  entry.clear();
  entry = {value, cleanup};
  return true;
}

}  // namespace qvs::util
