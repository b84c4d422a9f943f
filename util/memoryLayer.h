#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/heap/shsmp.h"

/// The source of the module's memory: one pool, made with the first block, from which `operator new` of the module and
/// the C entries below allocate. All operations may be called by several threads at once, and by constructors of
/// objects with static storage. Memory from here goes back here only: another heap in the process does not know these
/// blocks.
namespace qvs::util::memory {

// How the pool is made. To be set before its first block, and not changed while other threads allocate.

/// With bit 3 blocks are filled with zeros, but for those of allocateAligned() and of CAllocation::plain. Bit 15 is
/// always added when the pool is made.
extern std::uint32_t poolFlags;
/// Largest size, in bytes, that the heap serves from blocks of fixed size; 0xFFFF leaves the heap's own.
extern std::uint16_t poolBlockSize;
/// In bytes; 0 leaves the heap's own.
extern std::uint32_t poolPageSize;

/// A block of `size` bytes, or one for 0, from `pool` or, with null, the default pool. `flags` are those of the heap.
/// If memory is short, it calls the new handler, or without one the hook, and tries again: endlessly, as long as the
/// handler or hook returns. With neither it throws std::bad_alloc.
void* allocate(std::size_t size, std::uint32_t flags = 0, MemPool* pool = nullptr);
/// The same with an alignment, a power of two in bytes. Never filled with zeros.
void* allocateAligned(std::size_t size, std::size_t alignment);
/// Gives back a block of any of the functions here, on any thread; does nothing for null.
void release(void* block) noexcept;

/// Called if memory is short and there is no new handler. It either frees memory and returns, or throws. It runs on the
/// allocating thread, without any lock of this layer.
using OutOfMemoryHook = void (*)();
/// Returns the old hook; null means none.
OutOfMemoryHook setOutOfMemoryHook(OutOfMemoryHook hook) noexcept;

/// Gives up the default pool: its blocks stay valid, the next allocation makes a new pool. Nothing in the module calls
/// it.
void freeDefaultPool() noexcept;

/// Allocation functions in C form on the default pool, for the container library and the reader of the adaptor's
/// settings. They return null on failure, throw nothing, and never call the new handler or the hook.
struct CAllocation {
  /// `size` bytes, rounded up to a multiple of 4 and at least 4.
  void* (*malloc)(std::size_t size);
  /// The block with a new size, rounded as for malloc, perhaps at another address. For null it is malloc; for size 0 it
  /// frees the block and returns null. On failure the old block stays valid.
  void* (*realloc)(void* block, std::size_t size);
  void (*free)(void* block);
  /// Exactly `size` bytes, never filled with zeros.
  void* (*plain)(std::size_t size);
};
/// May be replaced, all entries at once, before the first call: a block goes back to the table that it came from.
extern CAllocation cAllocation;

}  // namespace qvs::util::memory
