#include "host/serve/media/ExportTrack.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "host/errors.h"
#include "host/exporting/mp4Codec.h"
#include "host/files/tracks.h"
#include "host/plain/FragmentExtent.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/media/DatedRecording.h"
#include "packaging/CodecBoxes.h"
#include "util/box.h"
#include "util/milliseconds.h"
#include "util/narrow.h"

namespace host::serve {

using qvs::util::kMillisecondsPerSecond;

using namespace krvo::container;
using qvs::util::BoxScope;
using qvs::util::ByteWriter;
using qvs::util::narrow;

namespace {

AVCodecID mp4CodecOf(const Track& track) {
  try {
    return codecOf(clearFormat(track));
  } catch (const CommandError&) {
    throw HttpError{409, fmt::format("MP4 does not have the codec '{}'", qvs::util::toText(clearFormat(track)))};
  }
}

/// Video keeps its milliseconds. Audio is placed by its samples, unless its rate cannot be known.
TrackClock clockOf(const Track& track, AVCodecID codec, std::span<const std::byte> firstSample) {
  if (track.isVideo()) return TrackClock();
  int rate = 0;
  if (codec == AV_CODEC_ID_AAC && !track.descriptions.empty()) {
    const auto& header = track.descriptions.front()->codecHeader;
    const qvs::util::ByteBuffer boxes{std::span<const std::byte>(header)};
    const auto configuration = ruvo::k2rpkgutil::findAacConfig(boxes);
    if (!configuration.empty()) rate = aacSampleRate(configuration);
  } else if (codec == AV_CODEC_ID_MP3) {
    rate = mpegSampleRate(firstSample);
  }
  return rate > 0 ? TrackClock(rate, samplesPerFrame(codec, rate)) : TrackClock();
}

}  // namespace

ExportTrack::ExportTrack(const Track& track, std::span<const std::byte> firstSample, std::int64_t wantedMs)
    : track_(std::make_shared<Track>(track)),
      clock_(clockOf(track, mp4CodecOf(track), firstSample)),
      wantedMs_(wantedMs) {}

std::int64_t ExportTrack::inUnits(std::int64_t ms) const {
  return ms * clock_.unitsPerSecond() / kMillisecondsPerSecond;
}

std::int64_t ExportTrack::inMs(std::int64_t units) const {
  return (units * kMillisecondsPerSecond + clock_.unitsPerSecond() - 1) / clock_.unitsPerSecond();
}

void ExportTrack::check(const StoredSample& sample, std::int64_t decodeMs) const {
  // Less than the 31 bits that players have for a duration, and no sum of times overflows.
  const std::int64_t longestMs =
      std::numeric_limits<std::int32_t>::max() / clock_.unitsPerSecond() * kMillisecondsPerSecond;
  constexpr std::int64_t kLatestMs = std::int64_t{1} << 40;
  if (decodeMs > kLatestMs || (count() > 0 && decodeMs - lastMs_ > longestMs)) {
    throw HttpError{409, fmt::format("a gap of more than {} hours is too long for an MP4 file; the parts before and "
                                     "after it can be exported alone",
                                     longestMs / 3600 / kMillisecondsPerSecond)};
  }
  if (sample.description == 0 || sample.description > track_->descriptions.size()) {
    throw qvs::util::MalformedInput("a sample description that the track does not have");
  }
}

void ExportTrack::add(const StoredSample& sample, std::int64_t decodeMs, std::int64_t presentMs,
                      std::uint64_t position) {
  check(sample, decodeMs);
  const bool isFirst = count() == 0;
  const std::int64_t time = clock_.place(std::max<std::int64_t>(decodeMs, 0));
  const std::int64_t presented = track_->isVideo() ? inUnits(presentMs) : time;
  if (isFirst) firstDecoded_ = time;
  table_.add({.decodeTime = static_cast<std::uint64_t>(time - firstDecoded_),
              .compositionOffset = narrow<std::int32_t>(presented - time),
              .size = sample.size,
              .sync = sample.sync,
              .description = sample.description,
              .position = position});
  // A single sample in a fragment may have a duration of 0; it is then like the one before.
  const std::int64_t stored = sample.duration == 0 && !isFirst
                                  ? decodeMs - lastMs_
                                  : static_cast<std::int64_t>(inMilliseconds(sample.duration, track_->timescale));
  if (stored > 0) durationMs_ = stored;
  lastMs_ = decodeMs;
  if (isFirst) first_ = presented;
  latest_ = std::max(latest_, presented);
  if (presentMs <= wantedMs_) at_ = std::max(at_.value_or(presentMs), presentMs);
  if (presentMs >= wantedMs_) from_ = std::min(from_.value_or(presentMs), presentMs);
}

std::optional<std::int64_t> ExportTrack::sampleAtWanted() const {
  constexpr std::int64_t kLongestMs = 1000;
  return at_ && wantedMs_ - *at_ <= kLongestMs ? at_ : std::nullopt;
}

void ExportTrack::finish() {
  const std::int64_t duration = clock_.samplesPerFrame() != 0
                                    ? clock_.samplesPerFrame()
                                    : inUnits(durationMs_ > 0 ? durationMs_ : std::int64_t{kUnknownDurationMs});
  table_.finish(narrow<std::uint32_t>(duration));
  end_ = latest_ + duration;
}

ExportTrack::Edit ExportTrack::edit(const FileSpan& span) const {
  Edit edit;
  const std::int64_t begin = inUnits(span.beginMs);
  std::int64_t from = std::max(first_, begin);
  if (!sampleAtWanted() && from_) from = std::max(from, inUnits(*from_));
  // An empty edit comes before a track that begins later, so that it is not presented too early.
  edit.emptyMs = (from - begin) * kMillisecondsPerSecond / clock_.unitsPerSecond();
  edit.mediaTime = from - firstDecoded_;
  const std::int64_t end = std::min(inUnits(span.endMs), end_);
  edit.durationMs = end > from ? inMs(end - from) : 0;
  return edit;
}

std::shared_ptr<Track> ExportTrack::described(std::uint32_t id) const {
  auto track = std::make_shared<Track>(*track_);
  track->id = id;
  track->created = 0;
  track->modified = 0;
  track->timescale = narrow<std::uint32_t>(clock_.unitsPerSecond());
  track->duration = table_.end();
  track->hintedTracks.clear();
  return track;
}

std::uint64_t ExportTrack::presentedMs(const FileSpan& span) const {
  const Edit own = edit(span);
  return static_cast<std::uint64_t>(own.emptyMs + own.durationMs);
}

void ExportTrack::writeEdits(ByteWriter& out, const FileSpan& span) const {
  constexpr std::uint32_t kNormalRate = 0x00010000;
  const Edit own = edit(span);
  if (own.emptyMs == 0 && own.mediaTime == 0 && inUnits(span.endMs) >= end_) return;
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  const bool isLong = own.durationMs > kMost || own.emptyMs > kMost || own.mediaTime > kMost;
  const BoxScope edts(out, "edts"_4cc);
  const BoxScope elst(out, "elst"_4cc, isLong ? 1 : 0, 0);
  const auto writeEntry = [&](std::int64_t durationMs, std::int64_t mediaTime) {
    if (isLong) {
      out.u64(static_cast<std::uint64_t>(durationMs));
      out.u64(static_cast<std::uint64_t>(mediaTime));
    } else {
      out.u32(static_cast<std::uint32_t>(durationMs));
      out.u32(static_cast<std::uint32_t>(mediaTime));
    }
    out.u32(kNormalRate);
  };
  out.u32(own.emptyMs > 0 ? 2 : 1);
  if (own.emptyMs > 0) writeEntry(own.emptyMs, -1);
  writeEntry(own.durationMs, own.mediaTime);
}

}  // namespace host::serve
