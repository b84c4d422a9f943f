#include "bench/measureRecording.h"

#include <cstdint>
#include <vector>

#include "bench/allocationCount.h"
#include "util/tagHeader.h"

namespace bench {
namespace {

/// In a stream without video each second needs a message, or the configuration is written with each later one.
std::vector<Message> makeSmallFragment(bool isAudio) {
  if (!isAudio) return {{qvs::util::kVideoTag, 0, payload({0x17, 1, 0, 0, 0}, 100)}};
  std::vector<Message> messages;
  for (std::uint32_t timeMs = 0; timeMs < kFragmentMs; timeMs += 1000) {
    messages.push_back({qvs::util::kAudioTag, timeMs, payload({0xAF, 1}, 100)});
  }
  return messages;
}

}  // namespace

void measure(benchmark::State& state, const Measured& what) {
  const bool isAudio = what.videoBitRate == 0;
  const std::vector<Message> fragment = isAudio ? makeAudioFragment(64000) : makeFragment(what.videoBitRate);
  const std::vector<Message> small = makeSmallFragment(isAudio);
  const std::int64_t bytesBefore = allocationCount().liveBytes;
  Server server(what.keepsBytes, what.settings);
  using enum Recording::Tracks;
  Recording recording(server, "/dev/shm/k2rbench", isAudio ? kAudio : kVideoAndAudio);
  for (int i = 0; i < what.fragmentsBefore; ++i) recording.recordFragment(small);
  recording.recordFragment(fragment);
  recording.recordFragment(fragment);

  const std::uint64_t writesBefore = server.writes();
  const std::uint64_t allocationsBefore = allocationCount().allocations;
  resetPeak();
  for (auto _ : state) recording.recordFragment(fragment);

  const auto fragments = static_cast<double>(state.iterations());
  const double messages = fragments * static_cast<double>(fragment.size());
  state.SetItemsProcessed(static_cast<std::int64_t>(messages));
  state.SetBytesProcessed(static_cast<std::int64_t>(fragments * static_cast<double>(bytesOf(fragment))));
  state.counters["cpu/msg"] = benchmark::Counter(messages, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["allocs/msg"] = static_cast<double>(allocationCount().allocations - allocationsBefore) / messages;
  state.counters["writes/fragment"] = static_cast<double>(server.writes() - writesBefore) / fragments;
  state.counters["peakMiB"] = static_cast<double>(allocationCount().peakBytes - bytesBefore) / (1024.0 * 1024.0);
}

}  // namespace bench
