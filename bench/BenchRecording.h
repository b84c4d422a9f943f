#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// What the benchmarks of recording share: the stream, a host, and the measuring.

namespace bench {

inline constexpr std::size_t kMegabit = 1000000;

using Settings = std::map<std::string, std::string>;

/// A message of the stream, its time counted from the start of its fragment.
struct Message {
  std::uint8_t type;
  std::uint32_t timeMs;
  std::vector<std::byte> data;
};

/// Four seconds: 25 frames a second with a key frame every two seconds, and AAC at 44100 Hz and 128 kbit/s.
std::vector<Message> makeFragment(std::size_t videoBitRate);

std::size_t bytesOf(const std::vector<Message>& messages);

struct Measured {
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
