#include "host/serve/play/PlayedRecording.h"

#include <algorithm>

namespace host::serve {

std::optional<std::size_t> PlayedRecording::find(std::uint32_t number) const {
  const auto& fragments = timeline.fragments;
  const auto found = std::ranges::lower_bound(fragments, number, {}, &TimedFragment::number);
  if (found == fragments.end() || found->number != number) return std::nullopt;
  return static_cast<std::size_t>(found - fragments.begin());
}

std::uint64_t PlayedRecording::bytes() const {
  std::uint64_t sum = sizeof *this + timeline.fragments.capacity() * sizeof(TimedFragment);
  for (const TimedFragment& fragment : timeline.fragments) sum += fragment.tracks.capacity() * sizeof(TimedTrack);
  // Parsed headers, which differ little in size.
  constexpr std::uint64_t kSegment = 4096;
  return sum + timeline.segments.size() * kSegment;
}

std::int64_t PlayedFragment::wallMs() const {
  return recording->name.beginMs + static_cast<std::int64_t>(timed().startMs) -
         static_cast<std::int64_t>(recording->namedMs);
}

PlayedFragment PlayedFragment::alone() const {
  auto kept = std::make_shared<PlayedRecording>();
  kept->name = recording->name;
  kept->namedMs = recording->namedMs;
  kept->timeline.fragments = {timed()};
  kept->headers = {{timed().segment, header()}};
  return {.recording = std::move(kept), .index = 0};
}

FragmentStep stepBetween(const PlayedFragment& from, const PlayedFragment& to) {
  if (from.recording->name == to.recording->name && to.index > 0) {
    // Not by `from`: it may have been read when its fragment was the last one.
    return {.isGap = to.timed().followsGap, .distanceMs = to.recording->timeline.fragments[to.index - 1].durationMs};
  }
  const auto ownMs = static_cast<std::int64_t>(from.timed().durationMs);
  const std::int64_t distanceMs = to.wallMs() - from.wallMs();
  // The tolerance is that within a recording, in both directions: a clock that was set back is a gap, too.
  const auto tolerance = static_cast<std::int64_t>(std::max(kSmallestGapMs, from.timed().lastSampleMs));
  const bool continues = distanceMs > 0 && std::abs(distanceMs - ownMs) <= tolerance;
  return {.isGap = !continues, .distanceMs = static_cast<std::uint64_t>(continues ? distanceMs : ownMs)};
}

}  // namespace host::serve
