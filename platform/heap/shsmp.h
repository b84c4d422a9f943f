#pragma once

#include <cstddef>
#include <cstdint>

// The entries of the heap from which the module takes its memory. Any thread may call any of them at any time, and give
// back what another one took. A failure is null or 0; nothing throws. Two heaps stand behind them, of which a build has
// one: plainHeap.cpp, that of the C library, and mimallocHeap.cpp.

extern "C" {

struct MemPool;

/// Asks for blocks that are filled with zeros.
inline constexpr std::uint32_t kMemZeroFill = 1;

/// The pool; `flags` tune it where the heap can be tuned. Both heaps here know one pool and no tuning.
MemPool* MemPoolInit(std::uint32_t flags);
/// Ends the use of a pool. Its blocks stay valid until each is given back.
std::int32_t MemPoolFree(MemPool* pool);
/// Tuning, before the pool's first block. Answer the old value; 0 where there is no such tuning.
std::uint32_t MemPoolSetPageSize(MemPool* pool, std::uint32_t size);
std::uint16_t MemPoolSetBlockSizeFS(MemPool* pool, std::uint16_t size);

/// A block of `size` bytes, aligned for any fundamental type.
void* MemAllocPtr(MemPool* pool, std::size_t size, std::uint32_t flags);
/// `alignment` is a power of two; `flags` is 0.
void* MemAllocAligned(MemPool* pool, std::size_t size, std::size_t alignment, std::uint32_t flags);
/// The block with another size, perhaps moved. Null leaves it as it was. `size` and `block` are not 0, `flags` is 0.
void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t flags);
/// Gives back a block, which is not null.
void MemFreePtr(void* block);

/// The lock under which pools are made and ended. Entering answers 0 on failure.
std::int32_t _shi_enterCriticalSection();  // NOLINT(bugprone-reserved-identifier)
void _shi_leaveCriticalSection();          // NOLINT(bugprone-reserved-identifier)

}  // extern "C"
