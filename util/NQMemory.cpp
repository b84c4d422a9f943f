#include "util/NQMemory.h"

#include <algorithm>
#include <new>

#include "util/diagnostics.h"

namespace {

void freeToHeap(std::byte* data) {
  delete[] data;
}

}  // namespace

NQMemory::NQMemory(std::uint32_t capacity, NQPool* pool) {
  qvs::util::diagnose(pool == nullptr);
  install(new std::byte[capacity], capacity);
}

void NQMemory::clearUsed() {
  usedLength_ = 0;
  secondWord_ = 0;
}

std::span<const std::byte> NQMemory::used() const {
  return {data_, std::min(usedLength(), capacity_)};
}

void NQMemory::grow(std::uint32_t size) {
  if (size <= capacity_) return;
  // The old bytes go first, so that growing never needs both. Then nothing may point to them if `new` throws: the
  // destructor would free them again.
  freeData();
  data_ = nullptr;
  capacity_ = 0;
  install(new std::byte[size], size);
}

bool NQMemory::resize(std::uint32_t capacity) noexcept {
  // Without exceptions, and the old bytes stay until the new ones are filled: the caller keeps a whole block on
  // failure.
  std::byte* const bytes = new (std::nothrow) std::byte[capacity];
  if (bytes == nullptr) return false;
  std::copy_n(data_, std::min(capacity_, capacity), bytes);
  freeData();
  install(bytes, capacity);
  return true;
}

void NQMemory::freeData() noexcept {
  if (free_ != nullptr) free_(data_);
}

void NQMemory::install(std::byte* data, std::uint32_t capacity) noexcept {
  data_ = data;
  capacity_ = capacity;
  free_ = freeToHeap;
}
