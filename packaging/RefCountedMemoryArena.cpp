#include "packaging/RefCountedMemoryArena.h"

Block::Block(std::uint64_t size)
    : data_(std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(size))), size_(size) {}

namespace ruvo::k2rpkgutil {

void RefCountedMemoryArena::allocate(MemoryHolder& out, std::uint64_t size) {
  out = MemoryHolder(new Block(size));
}

}  // namespace ruvo::k2rpkgutil
