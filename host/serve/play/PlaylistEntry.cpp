#include "host/serve/play/PlaylistEntry.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "host/output.h"
#include "host/plain/PlainPlace.h"
#include "host/plain/playlistLines.h"
#include "host/serve/play/FragmentAddress.h"
#include "util/milliseconds.h"

namespace host::serve {

using qvs::util::kMillisecondsPerSecond;

namespace {

/// From the start of the track's last sample to the end of the fragment, in the track's timescale; at least 1.
std::uint32_t untilEnd(const TimedFragment& fragment, const TimedTrack& track) {
  const std::uint64_t endMs = fragment.startMs + fragment.durationMs;
  const std::uint64_t startMs = inMilliseconds(track.lastDecodeTime, track.timescale);
  const std::uint64_t lastsMs = std::min(endMs - std::min(endMs, startMs), fragment.durationMs);
  const std::uint64_t lasts = lastsMs * track.timescale / kMillisecondsPerSecond;
  return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(lasts, 1, std::numeric_limits<std::uint32_t>::max()));
}

/// How long the fragment lasts if nothing is known of the next one: until the first of its tracks ends, since that is
/// where the next fragment begins. Not if a track ends long before the others, such as pictures of a still camera.
std::uint64_t expectedMs(const TimedFragment& fragment) {
  const std::uint64_t endMs = fragment.startMs + fragment.durationMs;
  std::uint64_t nextMs = endMs;
  for (const TimedTrack& track : fragment.tracks) {
    if (track.lastDuration == 0) continue;
    const std::uint64_t trackEndMs = inMilliseconds(track.lastDecodeTime + track.lastDuration, track.timescale);
    if (trackEndMs > fragment.startMs && trackEndMs + kSmallestGapMs > endMs) nextMs = std::min(nextMs, trackEndMs);
  }
  return nextMs - fragment.startMs;
}

/// The durations of the last samples of a fragment that is the last one of its recording.
std::vector<std::uint32_t> lastDurations(const TimedFragment& fragment, const LastDurations& known) {
  std::vector<std::uint32_t> durations;
  for (const TimedTrack& track : fragment.tracks) {
    const auto found = known.find(track.id);
    const std::uint32_t own = track.lastDuration != 0 ? track.lastDuration : untilEnd(fragment, track);
    durations.push_back(found != known.end() ? found->second : own);
  }
  return durations;
}

}  // namespace

std::string PlaylistEntry::text(bool dated) const {
  std::string text;
  if (isDiscontinuous) text += "#EXT-X-DISCONTINUITY\n" + mapLine(*header);
  if (dated) text += fmt::format("#EXT-X-PROGRAM-DATE-TIME:{}\n", utcText(wallMs));
  return text + playlistDuration(durationMs) + address + "\n";
}

PlaylistEntry makeEntry(const PlayedFragment& fragment, std::uint64_t placeMs, const PlayedFragment* next) {
  const TimedFragment& timed = fragment.timed();
  PlaylistEntry entry{
      .address = {}, .header = fragment.header(), .wallMs = fragment.wallMs(), .durationMs = timed.durationMs};
  FragmentAddress address{.number = timed.number, .placeMs = placeMs};
  if (fragment.isLast()) {
    LastDurations known;
    entry.durationMs = expectedMs(timed);
    if (next != nullptr) {
      entry.durationMs = stepBetween(fragment, *next).distanceMs;
      // A fragment with another configuration does not continue these tracks.
      if (next->header() == fragment.header()) {
        known = durationsUntil(timed, shiftTo(placeMs, timed), next->timed(),
                               shiftTo(placeMs + entry.durationMs, next->timed()));
      }
    }
    address.lastDurations = lastDurations(timed, known);
  }
  entry.address = recordingNameText(fragment.recording->name) + "/" + address.text();
  return entry;
}

std::string mapLine(const StoredHeader& header) {
  return fmt::format("#EXT-X-MAP:URI=\"{}\"\n", header.name);
}

std::uint64_t sequenceAt(std::int64_t wallMs) {
  constexpr std::int64_t kYear2026Ms = 1767225600000;
  constexpr std::int64_t kUnitMs = 250;
  return static_cast<std::uint64_t>(std::max<std::int64_t>(wallMs - kYear2026Ms, 0) / kUnitMs);
}

}  // namespace host::serve
