#include "util/memoryLayer.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>

namespace qvs::util::memory {
namespace {

constexpr std::uint32_t kZeroFilledPool = 8;
constexpr std::uint32_t kSharedPool = 0x8000;
constexpr std::uint16_t kNoBlockSize = 0xFFFF;

// The text is fixed; that of the C++ library is another.
class BadAllocation : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

// constinit: constructors of static objects in other files allocate, in any order, before a dynamic initialiser would
// run.
constinit std::atomic<MemPool*> defaultPool = nullptr;
constinit std::atomic<OutOfMemoryHook> outOfMemoryHook = nullptr;

class HeapLock {
 public:
  // Entering may fail; then nothing is to be left.
  HeapLock() : isHeld_(_shi_enterCriticalSection() != 0) {}
  ~HeapLock() {
    if (isHeld_) _shi_leaveCriticalSection();
  }
  HeapLock(const HeapLock&) = delete;
  HeapLock& operator=(const HeapLock&) = delete;

  bool isHeld() const { return isHeld_; }

 private:
  bool isHeld_;
};

MemPool* makePool() {
  MemPool* const pool = MemPoolInit(poolFlags | kSharedPool);
  if (pool == nullptr) return nullptr;
  if (poolPageSize != 0) MemPoolSetPageSize(pool, poolPageSize);
  if (poolBlockSize < kNoBlockSize) MemPoolSetBlockSizeFS(pool, poolBlockSize);
  return pool;
}

/// Null where it cannot be made.
MemPool* poolInUse() {
  if (MemPool* const pool = defaultPool.load(std::memory_order_acquire); pool != nullptr) return pool;
  const HeapLock lock;
  if (!lock.isHeld()) return nullptr;
  // Again under the lock: another thread may have made the pool meanwhile.
  MemPool* pool = defaultPool.load(std::memory_order_relaxed);
  if (pool == nullptr) {
    pool = makePool();
    defaultPool.store(pool, std::memory_order_release);
  }
  return pool;
}

std::uint32_t fillFlag() {
  return (poolFlags & kZeroFilledPool) != 0 ? kMemZeroFill : 0;
}

/// Lets the new handler or the hook free memory; throws if there is neither. Called without any lock, since either may
/// allocate.
void askForMemory() {
  if (const auto handler = std::get_new_handler(); handler != nullptr) return handler();
  if (const OutOfMemoryHook hook = outOfMemoryHook.load(); hook != nullptr) return hook();
  throw BadAllocation();
}

/// Repeats `attempt(pool)` until it returns a block.
template <typename Attempt>
void* allocateFrom(MemPool* pool, const Attempt& attempt) {
  for (;;) {
    // The default pool is made even if another one is given, as before every first block.
    MemPool* const own = poolInUse();
    MemPool* const from = pool != nullptr ? pool : own;
    void* const block = from != nullptr ? attempt(from) : nullptr;
    if (block != nullptr) return block;
    askForMemory();
  }
}

/// The size that the C entries allocate; 0 if rounding would overflow.
std::size_t roundedUp(std::size_t size) {
  constexpr std::size_t kUnit = 4;
  if (size > std::numeric_limits<std::size_t>::max() - kUnit) return 0;
  return std::max(kUnit, (size + kUnit - 1) / kUnit * kUnit);
}

// One attempt: the callers of the C entries handle null, and a handler would retry for ever on their behalf.
void* allocateOnce(std::size_t size, std::uint32_t flags) {
  MemPool* const pool = poolInUse();
  return pool != nullptr ? MemAllocPtr(pool, size, flags) : nullptr;
}

void* cMalloc(std::size_t size) {
  const std::size_t rounded = roundedUp(size);
  return rounded != 0 ? allocateOnce(rounded, fillFlag()) : nullptr;
}

void* cRealloc(void* block, std::size_t size) {
  if (block == nullptr) return cMalloc(size);
  if (size == 0) {
    release(block);
    return nullptr;
  }
  const std::size_t rounded = roundedUp(size);
  return rounded != 0 ? MemReAllocPtr(block, rounded, 0) : nullptr;
}

void* cPlain(std::size_t size) {
  return allocateOnce(size, 0);
}

}  // namespace

constinit std::uint32_t poolFlags = 0x8000;
constinit std::uint16_t poolBlockSize = 0xFFFF;
constinit std::uint32_t poolPageSize = 0;
constinit CAllocation cAllocation = {cMalloc, cRealloc, release, cPlain};

void* allocate(std::size_t size, std::uint32_t flags, MemPool* pool) {
  const std::size_t wanted = std::max<std::size_t>(size, 1);
  return allocateFrom(pool, [&](MemPool* from) { return MemAllocPtr(from, wanted, flags | fillFlag()); });
}

void* allocateAligned(std::size_t size, std::size_t alignment) {
  const std::size_t wanted = std::max<std::size_t>(size, 1);
  // Without fillFlag(): aligned blocks are never filled with zeros.
  return allocateFrom(nullptr, [&](MemPool* from) { return MemAllocAligned(from, wanted, alignment, 0); });
}

void release(void* block) noexcept {
  if (block != nullptr) MemFreePtr(block);
}

OutOfMemoryHook setOutOfMemoryHook(OutOfMemoryHook hook) noexcept {
  return outOfMemoryHook.exchange(hook);
}

void freeDefaultPool() noexcept {
  // Taken under the lock, freed outside of it, so that no thread waits while the pool is freed.
  MemPool* pool = nullptr;
  {
    const HeapLock lock;
    pool = defaultPool.exchange(nullptr);
  }
  if (pool != nullptr) MemPoolFree(pool);
}

}  // namespace qvs::util::memory
