#pragma once

#include <cstdint>

namespace ruvo::k2r {

/// Counts references with a plain integer. Not atomic, because a stream and its messages stay on one thread and every
/// message is counted several times; an object of this policy must not be shared between threads.
struct NoLockCountingPolicy {
  static std::uint32_t addRef(std::uint32_t& count) { return ++count; }
  static std::uint32_t release(std::uint32_t& count) { return --count; }
};

/// Counts nothing, for objects that their maker destroys whatever references exist. Both operations return 1, so that
/// `release` never reports the last reference.
struct NoopCountingPolicy {
  static std::uint32_t addRef(std::uint32_t&) { return 1; }
  static std::uint32_t release(std::uint32_t&) { return 1; }
};

/// Implements `addRef` and `release` of `Interface`, which has both as virtual operations and a virtual destructor.
///
/// The count starts at 0: an object that is never referenced is never deleted. When the policy returns 0 from
/// `release` the object deletes itself, so it must have been made by `new`, not on the stack or inside another object.
template <typename Interface, typename CountingPolicy>
class RefCountedObjectT : public Interface {
 public:
  std::uint32_t addRef() final { return CountingPolicy::addRef(count_); }
  std::uint32_t release() final {
    // Kept in a local, since `count_` must not be read after the deletion.
    const std::uint32_t left = CountingPolicy::release(count_);
    if (left == 0) delete this;
    return left;
  }

 private:
  std::uint32_t count_ = 0;
};

/// Deleted with its last reference; for one thread.
template <typename Interface>
using NoLockRefCountedObject = RefCountedObjectT<Interface, NoLockCountingPolicy>;
/// Deleted by its owner alone; references to it become invalid then.
template <typename Interface>
using NoopRefCountedObject = RefCountedObjectT<Interface, NoopCountingPolicy>;

}  // namespace ruvo::k2r
