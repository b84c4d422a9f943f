#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

namespace qvs::util {

/// An array of a fixed length whose elements are made at their first use and then keep their addresses. A range of 4096
/// elements costs 8 bytes before its first use and 32 KiB of pointers after it: millions of elements may be declared of
/// which few are used. All operations may be called by several threads at once without a lock; what the threads do with
/// an element is for the element to guard. Owns its elements.
template <typename Element>
class LazyArray {
 public:
  /// `length` is rounded up to a whole range. Throws std::bad_alloc.
  explicit LazyArray(std::size_t length)
      : ranges_(std::make_unique<std::atomic<Range*>[]>((length + kRange - 1) / kRange)),
        rangeCount_((length + kRange - 1) / kRange) {}
  LazyArray(const LazyArray&) = delete;
  LazyArray& operator=(const LazyArray&) = delete;
  ~LazyArray() {
    for (std::size_t i = 0; i < rangeCount_; ++i) const std::unique_ptr<Range> owner(ranges_[i].load());
  }

  /// The element; one that does not exist yet is constructed from `arguments`. Of threads that come at once all get the
  /// same element, and `arguments` of one of them count. `index` is less than the length. Throws what the constructor
  /// throws; nothing is stored then.
  template <typename... Arguments>
  Element& at(std::size_t index, const Arguments&... arguments) {
    return getOrMake(getOrMake(ranges_[index / kRange]).elements[index % kRange], arguments...);
  }
  /// The element, or null if it was never used. Makes nothing.
  Element* find(std::size_t index) const {
    const Range* const range = ranges_[index / kRange].load(std::memory_order_acquire);
    return range != nullptr ? range->elements[index % kRange].load(std::memory_order_acquire) : nullptr;
  }
  /// Calls `operation(index, element)` for each element that was used, in order of the indexes. Elements that other
  /// threads make meanwhile may be left out.
  template <typename Operation>
  void forEach(const Operation& operation) const {
    for (std::size_t i = 0; i < rangeCount_; ++i) {
      if (ranges_[i].load(std::memory_order_acquire) == nullptr) continue;
      for (std::size_t index = i * kRange; index < (i + 1) * kRange; ++index)
        if (Element* const element = find(index)) operation(index, *element);
    }
  }

 private:
  static constexpr std::size_t kRange = 4096;

  struct Range {
    std::array<std::atomic<Element*>, kRange> elements = {};

    ~Range() {
      for (auto& element : elements) const std::unique_ptr<Element> owner(element.load());
    }
  };

  /// The object in a slot, made if there is none. Threads that come at once may each make one; the first stores its
  /// own, and the others free theirs. So no lock is needed, and the constructor must have no effect outside of the
  /// object.
  template <typename Object, typename... Arguments>
  static Object& getOrMake(std::atomic<Object*>& slot, const Arguments&... arguments) {
    Object* stored = slot.load(std::memory_order_acquire);
    if (stored != nullptr) return *stored;
    auto candidate = std::make_unique<Object>(arguments...);
    if (!slot.compare_exchange_strong(stored, candidate.get())) return *stored;
    return *candidate.release();
  }

  std::unique_ptr<std::atomic<Range*>[]> ranges_;
  std::size_t rangeCount_;
};

}  // namespace qvs::util
