#pragma once

#include <cstdint>

namespace bench {

/// What went through `malloc` and its like in the process: the loaded module included, and the libraries that both use.
/// A module that is built on another heap than the C library's does not show here.
struct AllocationCount {
  std::uint64_t allocations = 0;
  /// Usable bytes of the blocks that are alive, now and at the most since resetPeak().
  std::int64_t liveBytes = 0;
  std::int64_t peakBytes = 0;
};

AllocationCount allocationCount();
void resetPeak();

}  // namespace bench
