#include "platform/os/wipe.h"

#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdint>

namespace platform::os {

// explicit_bzero() instead of memset(), which an optimiser may remove for bytes that are freed next.
void wipe(std::span<std::byte> bytes) noexcept {
  if (!bytes.empty()) ::explicit_bzero(bytes.data(), bytes.size());
}

void keepPrivate(std::span<const std::byte> bytes) noexcept {
  if (bytes.empty()) return;
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  // madvise() demands a start on a page boundary; mlock() would round by itself.
  const auto begin = reinterpret_cast<std::uintptr_t>(bytes.data()) / page * page;
  const auto end = reinterpret_cast<std::uintptr_t>(bytes.data()) + bytes.size();
  // Both results are ignored: the limit on locked memory (RLIMIT_MEMLOCK) is often small, and working without is right.
  void* const pages = reinterpret_cast<void*>(begin);
  ::mlock(pages, end - begin);
  ::madvise(pages, end - begin, MADV_DONTDUMP);
}

void makeNoDumps() noexcept {
  ::prctl(PR_SET_DUMPABLE, 0);
}

}  // namespace platform::os
