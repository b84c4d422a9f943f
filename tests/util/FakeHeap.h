#pragma once

#include <cstdint>
#include <string>

namespace test {

/// The heap in these tests: that of the C library, which notes what it is asked for and refuses what it is told to.
struct FakeHeap {
  /// Calls since the heap was last put to its defaults: "init(8000) alloc(4,1) ...", numbers in hex.
  std::string calls;
  /// How many of the next calls fail.
  int failingAllocations = 0;
  int failingInits = 0;
  int failingLocks = 0;
  /// The same for `new (std::nothrow) T[n]`, which does not go through the heap's entries here.
  int failingBuffers = 0;
  /// Entered and not left.
  int locked = 0;
  /// The heap notes calls; off outside of the tests of the memory layer.
  bool notes = false;
};
extern FakeHeap fakeHeap;

}  // namespace test
