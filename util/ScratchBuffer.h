#pragma once

#include <cstddef>
#include <memory>

namespace qvs::util {

/// Temporary room for `size` elements: inside the object, so on the stack, up to `kInline`, else on the heap. The
/// content is not initialised. For texts that are nearly always short. Throws std::bad_alloc.
template <typename Element, std::size_t kInline>
class ScratchBuffer {
 public:
  explicit ScratchBuffer(std::size_t size)
      : heap_(size > kInline ? std::make_unique_for_overwrite<Element[]>(size) : nullptr) {}
  ScratchBuffer(const ScratchBuffer&) = delete;
  ScratchBuffer& operator=(const ScratchBuffer&) = delete;

  Element* data() { return heap_ ? heap_.get() : inline_; }

 private:
  Element inline_[kInline];
  std::unique_ptr<Element[]> heap_;
};

}  // namespace qvs::util
