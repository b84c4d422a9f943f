#include "host/serve/media/ExportMedia.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <utility>

#include "host/output.h"
#include "host/plain/PlainFragment.h"
#include "host/plain/plainHeader.h"
#include "host/serve/http/HttpMessage.h"

namespace host::serve {

using namespace krvo::container;

namespace {

std::string tooLong(const char* what, std::size_t most) {
  return fmt::format("that time has more than {} {}; a shorter part can be exported", most, what);
}

}  // namespace

void ExportMedia::add(const MediaRecording& source) {
  DatedRecording recording(source);
  if (recording.fragmentCount() == 0) return;
  std::size_t index = 0;
  if (!originMs_) {
    const auto entry = entryOf(recording);
    if (!entry || entry->decodeMs >= span_.endMs) return;
    originMs_ = entry->decodeMs;
    index = entry->fragment;
  } else {
    shiftMs_ = shiftOf(recording);
  }
  while (index < recording.fragmentCount() && addFragment(recording, index)) ++index;
}

void ExportMedia::finish() {
  for (auto& [id, track] : tracks_) track.finish();
}

std::int64_t ExportMedia::wantedMs() const {
  return std::max<std::int64_t>(span_.beginMs - *originMs_, 0);
}

FileSpan ExportMedia::presentedSpan() const {
  if (tracks_.empty()) return {};
  std::int64_t endMs = 0;
  std::int64_t from = std::numeric_limits<std::int64_t>::max();
  for (const auto& [id, track] : tracks_) {
    endMs = std::max(endMs, track.endMs());
    from = std::min(from, track.sampleFromWanted().value_or(from));
  }
  endMs = std::min(endMs, span_.endMs + shiftMs_ - *originMs_);
  if (endMs <= wantedMs()) return {};
  return {.beginMs = leadingTrack().sampleAtWanted().value_or(from), .endMs = endMs};
}

std::optional<DatedRecording::Entry> ExportMedia::entryOf(DatedRecording& recording) const {
  auto entry = recording.lastEntry(span_.beginMs);
  return entry ? entry : recording.firstEntry();
}

const ExportTrack& ExportMedia::leadingTrack() const {
  const auto video =
      std::find_if(tracks_.begin(), tracks_.end(), [](const auto& item) { return item.second.isVideo(); });
  return video != tracks_.end() ? video->second : tracks_.begin()->second;
}

std::int64_t ExportMedia::shiftOf(DatedRecording& recording) const {
  // Both recordings have the time at which their first picture arrived, so without a shift each seam would have a
  // small gap or an overlap.
  const auto entry = recording.firstEntry();
  if (!entry || tracks_.empty()) return 0;
  const std::int64_t expected = *originMs_ + leadingTrack().nextMs();
  const std::int64_t tolerance = std::max(std::int64_t{kSmallestGapMs}, leadingTrack().durationMs());
  return entry->decodeMs > expected + tolerance ? 0 : expected - entry->decodeMs;
}

bool ExportMedia::addFragment(DatedRecording& recording, std::size_t index) {
  const DatedRecording::Numbered numbered = recording.read(index);
  if (!hasPlainSamples(numbered.fragment, recording.movie())) return true;
  bool isAfter = true;
  std::vector<Pick> picks;
  for (const auto& track : recording.movie().tracks) {
    if (!isInPlainView(*track)) continue;
    for (const TrackFragment& part : numbered.fragment.tracks) {
      if (part.trackId == track->id) pickSamples(recording, part, *track, picks, isAfter);
    }
  }
  if (picks.empty()) return !isAfter;
  checkConfiguration(recording, picks);
  takeSamples(recording, picks);
  identity_.text(recording.name());
  identity_.u32(numbered.segment);
  identity_.u32(numbered.number);
  return true;
}

void ExportMedia::pickSamples(const DatedRecording& recording, const TrackFragment& part, const Track& track,
                              std::vector<Pick>& picks, bool& isAfter) const {
  std::size_t count = part.samples.size();
  while (count > 0 && recording.presentedAt(part.samples[count - 1], track) >= span_.endMs) --count;
  if (count > 0) isAfter = false;
  for (std::size_t i = 0; i < count; ++i) {
    if (fileMs(recording.decodedAt(part.samples[i], track)) >= 0) picks.push_back({&track, &part.samples[i]});
  }
}

void ExportMedia::checkConfiguration(DatedRecording& recording, const std::vector<Pick>& picks) {
  if (header_.empty()) header_ = recording.header();
  if (header_ == recording.header()) return;
  std::int64_t changedMs = std::numeric_limits<std::int64_t>::max();
  for (const Pick& pick : picks) changedMs = std::min(changedMs, recording.decodedAt(*pick.sample, *pick.track));
  throw HttpError{409, fmt::format("the configuration of the stream changes at {}, and an MP4 file has one; the parts "
                                   "before and after it can be exported alone",
                                   utcText(changedMs))};
}

void ExportMedia::takeSamples(DatedRecording& recording, const std::vector<Pick>& picks) {
  samples_ += picks.size();
  if (samples_ > limits_.samples) throw HttpError{413, tooLong("samples", limits_.samples)};
  // Only from the first to the last sample: an export must not contain bytes from outside of its span.
  std::uint64_t begin = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t end = 0;
  for (const Pick& pick : picks) {
    begin = std::min(begin, pick.sample->offset);
    end = std::max(end, pick.sample->offset + pick.sample->size);
  }
  for (const Pick& pick : picks) {
    trackOf(recording, pick)
        .add(*pick.sample, fileMs(recording.decodedAt(*pick.sample, *pick.track)),
             fileMs(recording.presentedAt(*pick.sample, *pick.track)), size_ + (pick.sample->offset - begin));
  }
  addPiece({.file = recording.share(), .offset = begin, .size = end - begin});
}

void ExportMedia::addPiece(Piece piece) {
  if (pieces_.empty() || pieces_.back().file != piece.file) ++files_;
  if (files_ > limits_.segmentFiles) throw HttpError{413, tooLong("segment files", limits_.segmentFiles)};
  size_ += piece.size;
  identity_.u64(piece.offset);
  identity_.u64(piece.size);
  pieces_.push_back(std::move(piece));
}

ExportTrack& ExportMedia::trackOf(DatedRecording& recording, const Pick& pick) {
  const auto found = tracks_.find(pick.track->id);
  if (found != tracks_.end()) return found->second;
  // The header of an MPEG audio frame.
  std::array<std::byte, 4> start{};
  const auto size = std::min<std::size_t>(start.size(), pick.sample->size);
  recording.file().read(pick.sample->offset, std::span(start).first(size));
  return tracks_.try_emplace(pick.track->id, *pick.track, std::span(start).first(size), wantedMs()).first->second;
}

}  // namespace host::serve
