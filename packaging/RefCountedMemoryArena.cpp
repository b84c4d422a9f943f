#include "packaging/RefCountedMemoryArena.h"

// Not zeroed: a message fills the whole block, so that every byte would be written twice.
Block::Block(std::uint64_t size)
    : data_(std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(size))), size_(size) {}

namespace ruvo::k2rpkgutil {

void RefCountedMemoryArena::allocate(MemoryHolder& out, std::uint64_t size) {
  out = MemoryHolder(new Block(size));
}

}  // namespace ruvo::k2rpkgutil
