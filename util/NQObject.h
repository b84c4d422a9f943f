#pragma once

#include <atomic>
#include <cstdint>

/// Base of all counted objects of the message layer. A new object has count 0, the first NQPtr raises it to 1, and the
/// release that brings it back to 0 deletes the object. So it is made by `NQPtr::make`, never on the stack. Only the
/// count may be used by several threads at once. The order of the virtual operations is part of the interface.
class NQObject {
 public:
  NQObject() = default;
  NQObject(const NQObject&) = delete;
  NQObject& operator=(const NQObject&) = delete;

  /// For diagnostics: another thread may have changed it by the time it is looked at.
  virtual std::int32_t refCount() const { return count_.fetch_add(0); }
  /// Returns the new count.
  virtual std::int32_t addRef() { return count_.fetch_add(1) + 1; }
  /// Returns the new count; at 0 the object no longer exists.
  virtual std::int32_t release();
  // `self`, `isAlive` and `onIdle` keep their slots for other code; the module calls none of them.
  virtual NQObject* self() { return this; }
  virtual ~NQObject() = default;
  virtual bool isAlive() const { return true; }
  virtual void onIdle() {}

 protected:
  /// Decrements the count and returns it, for a class that overrides `release`.
  std::int32_t countDown() { return count_.fetch_sub(1) - 1; }
  /// To be called once, by the release() that brings the count to 0.
  void destroy() { delete this; }

 private:
  mutable std::atomic<std::int32_t> count_ = 0;
};
