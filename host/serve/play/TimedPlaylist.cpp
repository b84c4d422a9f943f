#include "host/serve/play/TimedPlaylist.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/plain/playlistLines.h"
#include "host/serve/play/PlaylistEntry.h"

namespace host::serve {

std::int64_t TimedPlaylist::endMs() const {
  if (fragments_.empty()) return 0;
  const PlayedFragment& last = fragments_.back();
  return last.wallMs() + static_cast<std::int64_t>(last.timed().durationMs);
}

std::optional<std::string> TimedPlaylist::text(bool grows) const {
  std::size_t count = fragments_.size();
  // It would change when its successor comes, and no line of a list may.
  if (grows && count > 0 && fragments_.back().isLast()) --count;
  if (count == 0) return std::nullopt;
  const PlayedFragment& first = fragments_.front();
  std::uint64_t target = roundedSeconds(fragmentMs_);
  // The time of day, not 0: so lists that begin at other times have the same addresses, up to a gap.
  auto placeMs = static_cast<std::uint64_t>(std::max<std::int64_t>(first.wallMs(), 0));
  std::string lines;
  for (std::size_t i = 0; i < count; ++i) {
    const PlayedFragment* const before = i > 0 ? &fragments_[i - 1] : nullptr;
    const PlayedFragment* const next = i + 1 < fragments_.size() ? &fragments_[i + 1] : nullptr;
    const FragmentStep step = before != nullptr ? stepBetween(*before, fragments_[i]) : FragmentStep{.isGap = true};
    placeMs += step.distanceMs;
    PlaylistEntry entry = makeEntry(fragments_[i], placeMs, next);
    entry.isDiscontinuous = before != nullptr && before->header() != entry.header;
    target = std::max(target, roundedSeconds(entry.durationMs));
    lines += entry.text(step.isGap);
  }
  // The number depends on where the list begins, so that it is another one if retention has removed its head.
  return fmt::format(
             "#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:{}\n#EXT-X-MEDIA-SEQUENCE:{}\n#EXT-X-PLAYLIST-TYPE:{}\n"
             "#EXT-X-INDEPENDENT-SEGMENTS\n",
             target, sequenceAt(first.wallMs()), grows ? "EVENT" : "VOD") +
         mapLine(*first.header()) + lines + (grows ? "" : "#EXT-X-ENDLIST\n");
}

}  // namespace host::serve
