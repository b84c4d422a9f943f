#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

namespace qvs::util {

/// An array of a fixed length whose elements are made when they are first used, and stay where they are. Open to all
/// threads, as far as its elements are. Until then a range of 4096 elements costs 8 bytes.
template <typename Element>
class LazyArray {
 public:
  explicit LazyArray(std::size_t length)
      : ranges_(std::make_unique<std::atomic<Range*>[]>((length + kRange - 1) / kRange)),
        rangeCount_((length + kRange - 1) / kRange) {}
  LazyArray(const LazyArray&) = delete;
  LazyArray& operator=(const LazyArray&) = delete;
  ~LazyArray() {
    for (std::size_t i = 0; i < rangeCount_; ++i) const std::unique_ptr<Range> gone(ranges_[i].load());
  }

  /// `index` is below the length. A new element is made of `arguments`.
  template <typename... Arguments>
  Element& at(std::size_t index, const Arguments&... arguments) {
    return made(made(ranges_[index / kRange]).elements[index % kRange], arguments...);
  }
  /// Null where it was never used.
  Element* find(std::size_t index) const {
    const Range* const range = ranges_[index / kRange].load(std::memory_order_acquire);
    return range != nullptr ? range->elements[index % kRange].load(std::memory_order_acquire) : nullptr;
  }
  /// Calls `operation(index, element)` for those that were used, in order.
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
      for (auto& element : elements) const std::unique_ptr<Element> gone(element.load());
    }
  };

  /// What is in a slot. Of threads that come at once the first one fills it.
  template <typename Object, typename... Arguments>
  static Object& made(std::atomic<Object*>& slot, const Arguments&... arguments) {
    Object* there = slot.load(std::memory_order_acquire);
    if (there != nullptr) return *there;
    auto own = std::make_unique<Object>(arguments...);
    if (!slot.compare_exchange_strong(there, own.get())) return *there;
    return *own.release();
  }

  std::unique_ptr<std::atomic<Range*>[]> ranges_;
  std::size_t rangeCount_;
};

}  // namespace qvs::util
