#pragma once

#include <cstddef>
#include <cstdint>

// The entries of the heap from which the module takes its memory. Any thread may call any of them at any time, and may
// free blocks of another thread. Failures are null or 0; nothing throws. A build has one of two implementations:
// plainHeap.cpp, on the heap of the C library, or mimallocHeap.cpp.

extern "C" {

struct MemPool;

/// Asks for blocks that are filled with zeros.
inline constexpr std::uint32_t kMemZeroFill = 1;

/// Returns the pool; `flags` tune it if the heap can be tuned. Both heaps here have one pool, which always exists, and
/// no tuning.
MemPool* MemPoolInit(std::uint32_t flags);
/// Ends the use of a pool. Its blocks stay valid until each is freed. Returns 1, or 0 for an unknown pool.
std::int32_t MemPoolFree(MemPool* pool);
/// Tuning, before the pool's first block. These return the old value, or 0 if the heap cannot be tuned so.
std::uint32_t MemPoolSetPageSize(MemPool* pool, std::uint32_t size);
std::uint16_t MemPoolSetBlockSizeFS(MemPool* pool, std::uint16_t size);

/// Returns a block of `size` bytes, aligned for any fundamental type. `flags` is 0 or kMemZeroFill.
void* MemAllocPtr(MemPool* pool, std::size_t size, std::uint32_t flags);
/// Returns a block with an alignment in bytes, a power of two. `flags` is 0: such blocks are never zero-filled.
void* MemAllocAligned(MemPool* pool, std::size_t size, std::size_t alignment, std::uint32_t flags);
/// Changes the size of a block and returns its new address, which may differ. After null the old block is still valid.
/// `block` is not null, `size` not 0, and `flags` is 0. Bytes beyond the old size are unspecified.
void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t flags);
/// Frees a block of either kind, which is not null.
void MemFreePtr(void* block);

/// The lock under which pools are made and ended; not recursive. Entering returns 1, or 0 on failure.
std::int32_t _shi_enterCriticalSection();  // NOLINT(bugprone-reserved-identifier)
void _shi_leaveCriticalSection();          // NOLINT(bugprone-reserved-identifier)

}  // extern "C"
