#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>

namespace host::serve {

/// How often something took how long, for a metric. Any thread may call it; no call waits.
class DurationHistogram {
 public:
  /// Upper bounds of the buckets, in seconds, each included. One more bucket has what took longer.
  static constexpr std::array kBounds = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1.0, 2.5, 5.0, 10.0};

  void add(std::chrono::nanoseconds duration);

  struct Snapshot {
    /// Of each bucket alone.
    std::array<std::uint64_t, kBounds.size() + 1> counts{};
    double sumSeconds = 0;
  };
  /// A duration that is being added may be in one of the two members only.
  Snapshot get() const;

 private:
  std::array<std::atomic<std::uint64_t>, kBounds.size() + 1> counts_{};
  std::atomic<std::uint64_t> sumNs_ = 0;
};

}  // namespace host::serve
