#include "packaging/PooledMemoryArena.h"

#include <utility>

namespace {

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kNewBlockCapacity = 64 * kKiB;

std::unique_ptr<std::byte[]> uninitialised(std::uint64_t size) {
  return std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(size));
}

}  // namespace

PooledBlock::PooledBlock() : data_(uninitialised(kNewBlockCapacity)), capacity_(kNewBlockCapacity) {}

void PooledBlock::reserve(std::uint64_t size) {
  if (size <= capacity_) return;
  capacity_ = (size / kKiB + 1) * kKiB;
  data_.reset();  // before the new allocation, so that a large block never needs twice its memory for a moment
  data_ = uninitialised(capacity_);
}

namespace ruvo::k2rpkgutil {

void PooledMemoryArena::allocate(MemoryHolder& out, std::uint64_t size) {
  std::unique_ptr<IPooledBlock> block = takeBlock();
  block->reserve(size);  // if this throws, the block is destroyed: its capacity no longer matches its bytes
  used_.push_back(std::move(block));
  out = MemoryHolder(used_.back().get());
}

std::unique_ptr<PooledMemoryArena::IPooledBlock> PooledMemoryArena::takeBlock() {
  if (free_.empty()) return std::make_unique<PooledBlock>();
  std::unique_ptr<IPooledBlock> block = std::move(free_.back());
  free_.pop_back();
  freeBytes_ -= block->getSize();
  return block;
}

void PooledMemoryArena::reset() {
  for (auto& block : used_) {
    free_.push_back(std::move(block));
    freeBytes_ += free_.back()->getSize();
    if (freeBytes_ > poolLimitKiB_ * kKiB) break;
  }
  used_.clear();  // destroys the blocks beyond the limit; the entries before them have been moved from
}

}  // namespace ruvo::k2rpkgutil
