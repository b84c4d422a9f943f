// The hot path: record() through the module's entry, with video and audio from memory, into a segment that is thrown
// away and into memory-backed files. One iteration is one fragment of four seconds.

#include "bench/measureRecording.h"

namespace {

using bench::kMegabit;
using bench::measure;

void recordToNull(benchmark::State& state) {
  measure(state, {.videoBitRate = static_cast<std::size_t>(state.range(0)) * kMegabit, .settings = {}});
}
void recordToMemoryFiles(benchmark::State& state) {
  measure(state,
          {.videoBitRate = static_cast<std::size_t>(state.range(0)) * kMegabit, .keepsBytes = true, .settings = {}});
}
void recordBehindFragments(benchmark::State& state) {
  measure(state, {.videoBitRate = static_cast<std::size_t>(state.range(1)) * kMegabit,
                  .fragmentsBefore = static_cast<int>(state.range(0)),
                  .settings = {}});
}

BENCHMARK(recordToNull)->Arg(8)->Arg(2)->Arg(40)->ArgName("Mbit/s")->Unit(benchmark::kMicrosecond);
BENCHMARK(recordToMemoryFiles)->Arg(8)->ArgName("Mbit/s")->Unit(benchmark::kMicrosecond);
// A fixed number of iterations, since each of them is a fragment more.
BENCHMARK(recordBehindFragments)
    ->ArgsProduct({{1, 1000, 21600}, {8, 2, 0}})
    ->ArgNames({"fragments", "Mbit/s"})
    ->Iterations(200)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
