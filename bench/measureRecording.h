#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>

#include "bench/BenchRecording.h"

namespace bench {

struct Measured {
  /// 0 stands for audio alone, of 64 kbit/s.
  std::size_t videoBitRate = 8 * kMegabit;
  /// Whether segment bytes go to memory files, or are thrown away.
  bool keepsBytes = false;
  /// Small fragments that are recorded first.
  int fragmentsBefore = 0;
  Settings settings;
};

/// Measures record(), a fragment an iteration.
void measure(benchmark::State& state, const Measured& what);

}  // namespace bench
