#pragma once

#include <cstdint>

namespace ruvo::k2r {

/// Counts holders with a plain number, for objects of one thread.
struct NoLockCountingPolicy {
  static std::uint32_t addRef(std::uint32_t& count) { return ++count; }
  static std::uint32_t release(std::uint32_t& count) { return --count; }
};

/// Counts nothing, for objects whose maker ends them whatever holders there are.
struct NoopCountingPolicy {
  static std::uint32_t addRef(std::uint32_t&) { return 1; }
  static std::uint32_t release(std::uint32_t&) { return 1; }
};

/// Implements `addRef` and `release` of `Interface`. The count starts at 0, without a holder; an object whose policy
/// brings it back there deletes itself, so it is made by `new`.
template <typename Interface, typename CountingPolicy>
class RefCountedObjectT : public Interface {
 public:
  std::uint32_t addRef() final { return CountingPolicy::addRef(count_); }
  std::uint32_t release() final {
    const std::uint32_t left = CountingPolicy::release(count_);
    if (left == 0) delete this;
    return left;
  }

 private:
  std::uint32_t count_ = 0;
};

template <typename Interface>
using NoLockRefCountedObject = RefCountedObjectT<Interface, NoLockCountingPolicy>;
template <typename Interface>
using NoopRefCountedObject = RefCountedObjectT<Interface, NoopCountingPolicy>;

}  // namespace ruvo::k2r
