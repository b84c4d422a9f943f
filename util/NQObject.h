#pragma once

#include <atomic>
#include <cstdint>

/// Base of all that the message layer counts. A new object has count 0, the first NQPtr takes it to 1, and the release
/// that brings the count back ends the object, which therefore is made by `NQPtr::make`. Only the count may be used by
/// several threads at once.
class NQObject {
 public:
  NQObject() = default;
  NQObject(const NQObject&) = delete;
  NQObject& operator=(const NQObject&) = delete;

  virtual std::int32_t refCount() const { return count_.fetch_add(0); }
  /// Answers the new count.
  virtual std::int32_t addRef() { return count_.fetch_add(1) + 1; }
  /// Answers the new count; the object is gone at 0.
  virtual std::int32_t release();
  virtual NQObject* self() { return this; }
  virtual ~NQObject() = default;
  virtual bool isAlive() const { return true; }
  virtual void onIdle() {}

 protected:
  /// Takes one off the count and answers the new one, for a class that ends in a way of its own.
  std::int32_t countDown() { return count_.fetch_sub(1) - 1; }
  void destroy() { delete this; }

 private:
  mutable std::atomic<std::int32_t> count_ = 0;
};
