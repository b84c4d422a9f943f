#include "packaging/RefCountedMemoryArena.h"

#include <limits>
#include <new>

void* Block::operator new(std::size_t objectSize, Bytes bytes) {
  if (bytes.count > std::numeric_limits<std::size_t>::max() - objectSize) throw std::bad_alloc();
  return ::operator new(objectSize + static_cast<std::size_t>(bytes.count));
}

namespace ruvo::k2rpkgutil {

void RefCountedMemoryArena::allocate(MemoryHolder& out, std::uint64_t size) {
  out = MemoryHolder(Block::make(size));
}

}  // namespace ruvo::k2rpkgutil
