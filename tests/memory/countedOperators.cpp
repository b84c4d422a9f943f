#include "tests/memory/countedOperators.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace test {

OperatorCount operatorCount;

namespace {

constexpr std::uint64_t kMark = 0x6B32722D686F7374;
/// In front of a block; keeps the alignment.
struct alignas(std::max_align_t) Header {
  std::uint64_t mark;
};

void* take(std::size_t size) {
  auto* const header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (header == nullptr) throw std::bad_alloc();
  ++operatorCount.allocations;
  header->mark = kMark;
  return header + 1;
}

void giveBack(void* block) noexcept {
  if (block == nullptr) return;
  Header* const header = static_cast<Header*>(block) - 1;
  ++operatorCount.releases;
  if (header->mark != kMark) {
    ++operatorCount.foreignReleases;  // Not ours to free.
    return;
  }
  header->mark = 0;
  std::free(header);
}

}  // namespace

}  // namespace test

// Seen by every library of the process that asks the dynamic linker. The forms for arrays come down to these.
#define VISIBLE __attribute__((visibility("default")))

VISIBLE void* operator new(std::size_t size) {
  return test::take(size);
}
VISIBLE void operator delete(void* block) noexcept {
  test::giveBack(block);
}
VISIBLE void operator delete(void* block, std::size_t) noexcept {
  test::giveBack(block);
}
