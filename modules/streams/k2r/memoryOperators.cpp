// `operator new` and `operator delete` of the module, on its memory layer. Only the module is linked with this file,
// and with its own C++ library, so that every block is allocated and freed by the same operators. The host and the
// other libraries of its process keep their own.

#include <cstddef>
#include <new>

#include "util/memoryLayer.h"

namespace {

namespace memory = qvs::util::memory;

void* allocateOrNull(std::size_t size) noexcept try { return memory::allocate(size); } catch (...) {
  return nullptr;
}

void* allocateAlignedOrNull(std::size_t size, std::align_val_t alignment) noexcept try {
  return memory::allocateAligned(size, static_cast<std::size_t>(alignment));
} catch (...) {
  return nullptr;
}

}  // namespace

void* operator new(std::size_t size) {
  return memory::allocate(size);
}
void* operator new[](std::size_t size) {
  return memory::allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocateOrNull(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return memory::allocateAligned(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return memory::allocateAligned(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocateAlignedOrNull(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocateAlignedOrNull(size, alignment);
}

void operator delete(void* block) noexcept {
  memory::release(block);
}
void operator delete[](void* block) noexcept {
  memory::release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  memory::release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  memory::release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  memory::release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  memory::release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  memory::release(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  memory::release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  memory::release(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  memory::release(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  memory::release(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  memory::release(block);
}
