// The part that both heaps share: one pool that always exists, without tuning, and the lock.

#include <mutex>
#include <system_error>

#include "platform/heap/shsmp.h"

struct MemPool {};

namespace {

// constinit: the first block may be allocated by a static constructor, before any other object of this file would
// exist.
constinit MemPool thePool;
constinit std::mutex theLock;

}  // namespace

MemPool* MemPoolInit(std::uint32_t) {
  return &thePool;
}

std::int32_t MemPoolFree(MemPool* pool) {
  return pool == &thePool ? 1 : 0;
}

std::uint32_t MemPoolSetPageSize(MemPool*, std::uint32_t) {
  return 0;
}

std::uint16_t MemPoolSetBlockSizeFS(MemPool*, std::uint16_t) {
  return 0;
}

std::int32_t _shi_enterCriticalSection() try {
  theLock.lock();
  return 1;
} catch (const std::system_error&) {
  return 0;
}

void _shi_leaveCriticalSection() {
  theLock.unlock();
}
