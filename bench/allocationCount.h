#pragma once

#include <cstdint>

namespace bench {

/// What went through `operator new` and `operator delete` of the process, the loaded module included.
struct AllocationCount {
  std::uint64_t allocations = 0;
  /// Usable bytes of the blocks that are alive, now and at the most since resetPeak().
  std::int64_t liveBytes = 0;
  std::int64_t peakBytes = 0;
};

AllocationCount allocationCount();
void resetPeak();

}  // namespace bench
