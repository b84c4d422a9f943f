#include "host/serve/play/LiveWindow.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/plain/playlistLines.h"

namespace host::serve {

void LiveWindow::restart(const std::vector<PlayedFragment>& fragments, std::int64_t nowMs, std::uint64_t fragmentMs) {
  constexpr std::uint64_t kSequencesPerSecond = 4;
  const auto discontinuities =
      static_cast<std::uint64_t>(std::ranges::count_if(entries_, &PlaylistEntry::isDiscontinuous));
  // The clock may have been set back, and a list may have grown faster than it.
  const std::uint64_t now = sequenceAt(std::max(nowMs, fragments.back().wallMs()));
  mediaSequence_ = std::max(now, mediaSequence_ + entries_.size());
  // A new number even if no entry was discontinuous: the new places do not continue the old ones.
  discontinuitySequence_ = std::max(now / kSequencesPerSecond, discontinuitySequence_ + discontinuities + 1);
  targetDuration_ = std::max(targetDuration_, roundedSeconds(fragmentMs));
  entries_.clear();
  lengthMs_ = 0;
  newest_.reset();
  append(fragments);
}

void LiveWindow::append(const std::vector<PlayedFragment>& fragments) {
  for (std::size_t i = 0; i < fragments.size(); ++i) {
    add(fragments[i], i + 1 < fragments.size() ? &fragments[i + 1] : nullptr);
    dropOld();
  }
  if (!fragments.empty()) text_ = makeText();
}

void LiveWindow::add(const PlayedFragment& fragment, const PlayedFragment* next) {
  // The place of the first is its time of day, as in lists of a given time, so that they share addresses. The others
  // follow without gaps.
  placeMs_ = newest_ ? placeMs_ + stepBetween(*newest_, fragment).distanceMs
                     : static_cast<std::uint64_t>(std::max<std::int64_t>(fragment.wallMs(), 0));
  PlaylistEntry entry = makeEntry(fragment, placeMs_, next);
  entry.isDiscontinuous = newest_ && newest_->header() != fragment.header();
  targetDuration_ = std::max(targetDuration_, roundedSeconds(entry.durationMs));
  lengthMs_ += entry.durationMs;
  entries_.push_back(std::move(entry));
  newest_ = fragment.alone();
}

void LiveWindow::dropOld() {
  while (entries_.size() > kLeastFragments && lengthMs_ - entries_.front().durationMs >= kLeastMs) {
    lengthMs_ -= entries_.front().durationMs;
    if (entries_.front().isDiscontinuous) ++discontinuitySequence_;
    ++mediaSequence_;
    entries_.pop_front();
  }
}

std::string LiveWindow::makeText() const {
  std::string text = fmt::format(
      "#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:{}\n#EXT-X-MEDIA-SEQUENCE:{}\n#EXT-X-DISCONTINUITY-SEQUENCE:{}"
      "\n"
      "#EXT-X-INDEPENDENT-SEGMENTS\n",
      targetDuration_, mediaSequence_, discontinuitySequence_);
  if (!entries_.front().isDiscontinuous) text += mapLine(*entries_.front().header);
  // Each has its date: the durations of those that were listed as the newest are estimates, whose errors would add up.
  for (const PlaylistEntry& entry : entries_) text += entry.text(true);
  return text;
}

}  // namespace host::serve
