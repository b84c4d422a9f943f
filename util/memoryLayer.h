#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/heap/shsmp.h"

/// Where the module's memory comes from: one pool, made with the first block. Behind `operator new` of the module and
/// behind the C entries below. Open to all threads, and to objects with static storage before main.
namespace qvs::util::memory {

// How the pool is made; to be set before its first block.

/// With bit 3 all blocks are filled with zeros.
extern std::uint32_t poolFlags;
/// Limit of fixed-size blocks; 0xFFFF is none.
extern std::uint16_t poolBlockSize;
/// 0 is the heap's own.
extern std::uint32_t poolPageSize;

/// A block of at least one byte, from `pool` or, with null, the default one. `flags` are those of the heap. Where
/// memory is short, the new handler is asked, or else the hook, and then the heap again: for as long as either returns.
/// With neither it throws std::bad_alloc.
void* allocate(std::size_t size, std::uint32_t flags = 0, MemPool* pool = nullptr);
/// The same; `alignment` is a power of two.
void* allocateAligned(std::size_t size, std::size_t alignment);
/// Gives back a block of any of the functions here; null is fine.
void release(void* block) noexcept;

/// Called when memory is short and there is no new handler. It gives memory back, or ends the wait by an exception.
using OutOfMemoryHook = void (*)();
/// Answers the old hook; null is none.
OutOfMemoryHook setOutOfMemoryHook(OutOfMemoryHook hook) noexcept;

/// Gives up the default pool. Its blocks stay valid, the next allocation makes a new one.
void freeDefaultPool() noexcept;

/// The C allocation functions, on the default pool, for code that wants such. Null is a failure.
struct CAllocation {
  /// A size rounded up to a multiple of 4, and at least 4.
  void* (*malloc)(std::size_t size);
  /// Of null a new block; to size 0 gives the block back and answers null.
  void* (*realloc)(void* block, std::size_t size);
  void (*free)(void* block);
  /// The size as it is, never filled.
  void* (*plain)(std::size_t size);
};
/// May be replaced, as a whole, before the first call.
extern CAllocation cAllocation;

}  // namespace qvs::util::memory
