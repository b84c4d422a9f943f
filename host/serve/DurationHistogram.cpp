#include "host/serve/DurationHistogram.h"

#include <algorithm>

namespace host::serve {

void DurationHistogram::add(std::chrono::nanoseconds duration) {
  const auto ns = std::max<std::int64_t>(duration.count(), 0);
  const auto bucket = std::ranges::lower_bound(kBounds, static_cast<double>(ns) / 1e9) - kBounds.begin();
  counts_[static_cast<std::size_t>(bucket)].fetch_add(1, std::memory_order_relaxed);
  sumNs_.fetch_add(static_cast<std::uint64_t>(ns), std::memory_order_relaxed);
}

DurationHistogram::Snapshot DurationHistogram::get() const {
  Snapshot snapshot;
  for (std::size_t i = 0; i < counts_.size(); ++i) snapshot.counts[i] = counts_[i].load(std::memory_order_relaxed);
  snapshot.sumSeconds = static_cast<double>(sumNs_.load(std::memory_order_relaxed)) / 1e9;
  return snapshot;
}

}  // namespace host::serve
