#include "platform/container/StagingBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "platform/container/status.h"

namespace krvo::container {
namespace {

constexpr std::size_t kPage = 4096;

}  // namespace

StagingBuffer::StagingBuffer(const KrvoK2MAllocatorCallBacks& allocator) : allocator_(allocator) {
  require(allocator.size == sizeof(allocator) && allocator.alloc != nullptr && allocator.free != nullptr);
}

void StagingBuffer::reserve(std::size_t bytes, std::uint64_t position) {
  if (bytes > capacity_) grow(bytes);
  startAt(position);
}

void StagingBuffer::grow(std::size_t bytes) {
  // Released first: nothing in it is needed any more, and both blocks at once would be twice the memory.
  release();
  const std::size_t capacity = std::min(kCapacity, bytes);
  block_ = static_cast<std::byte*>(allocator_.alloc(allocator_.context, capacity + kPage));
  if (block_ == nullptr) throw std::bad_alloc();
  capacity_ = capacity;
}

void StagingBuffer::startAt(std::uint64_t position) {
  size_ = 0;
  start_ = static_cast<std::size_t>(position - reinterpret_cast<std::uintptr_t>(block_)) % kPage;
}

std::size_t StagingBuffer::append(std::span<const std::byte> bytes) {
  const std::size_t taken = std::min(bytes.size(), capacity_ - size_);
  if (taken > 0) std::memcpy(block_ + start_ + size_, bytes.data(), taken);
  size_ += taken;
  return taken;
}

void StagingBuffer::release() noexcept {
  if (block_ != nullptr) allocator_.free(allocator_.context, block_);
  block_ = nullptr;
  capacity_ = 0;
  size_ = 0;
}

}  // namespace krvo::container
