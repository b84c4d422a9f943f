#include "host/serve/media/Exporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <map>
#include <optional>
#include <utility>

#include "host/digest.h"
#include "host/output.h"
#include "host/plain/PlainFragment.h"
#include "host/plain/plainHeader.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/media/ExportTrack.h"
#include "platform/container/reading/moovWriter.h"
#include "util/box.h"
#include "util/narrow.h"

namespace host::serve {

using namespace krvo::container;
using qvs::util::BoxScope;
using qvs::util::ByteWriter;

namespace {

constexpr std::uint32_t kMovieTimescale = 1000;

/// A sample of a fragment that belongs to the file.
struct Pick {
  const Track* track = nullptr;
  const StoredSample* sample = nullptr;
};

/// A stretch of a segment file.
struct Piece {
  Body::File file;
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

/// `isom` and what has edit lists and AVC; old players go by it.
void writeFtyp(ByteWriter& out) {
  constexpr std::uint32_t kMinorVersion = 0x200;
  const BoxScope ftyp(out, "ftyp"_4cc);
  out.u32("isom"_4cc);
  out.u32(kMinorVersion);
  for (const FourCC brand : {"isom"_4cc, "iso2"_4cc, "avc1"_4cc, "mp41"_4cc}) out.u32(brand);
}

/// The boxes before the media, which count as long as any body has them.
class CountedBytes {
 public:
  CountedBytes(std::vector<std::byte> bytes, std::shared_ptr<std::atomic<std::uint64_t>> used, std::uint64_t most)
      : bytes_(std::move(bytes)), used_(std::move(used)) {
    if (used_->fetch_add(bytes_.size()) + bytes_.size() <= most) return;
    used_->fetch_sub(bytes_.size());
    throw HttpError{503, "too many exports are being sent"};
  }
  ~CountedBytes() { used_->fetch_sub(bytes_.size()); }
  CountedBytes(const CountedBytes&) = delete;
  CountedBytes& operator=(const CountedBytes&) = delete;

  const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
  std::shared_ptr<std::atomic<std::uint64_t>> used_;
};

/// Collects the samples of a file, recording by recording, and then makes the file. Times in ms are from the decode
/// time of the first sample, if not times of day.
class ExportMaker {
 public:
  ExportMaker(const TimeSpan& span, const ExportLimits& limits) : span_(span), limits_(limits) {}

  void add(const MediaRecording& source) {
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

  ExportedFile finish(const std::shared_ptr<std::atomic<std::uint64_t>>& used) {
    for (auto& [id, track] : tracks_) track.finish();
    const FileSpan presented = presentedSpan();
    if (presented.endMs <= presented.beginMs) throw HttpError{404, "nothing is recorded in that time"};
    const auto front = std::make_shared<const CountedBytes>(makeFront(presented), used, limits_.bytes);
    ExportedFile file;
    file.etag = etagOf(front->bytes());
    file.time = {.beginMs = *originMs_ + presented.beginMs, .endMs = *originMs_ + presented.endMs};
    file.body.add(std::shared_ptr<const std::vector<std::byte>>(front, &front->bytes()));
    for (Piece& piece : pieces_) file.body.add(std::move(piece.file), piece.offset, piece.size);
    return file;
  }

 private:
  /// Where the presentation is to begin; what is before is only there to decode the first picture.
  std::int64_t wantedMs() const { return std::max<std::int64_t>(span_.beginMs - *originMs_, 0); }

  /// What is presented. It begins with the picture that is seen at the begin of the span, whole, although that may be a
  /// moment earlier: players present the first picture of a file at once, so that its sound would be too late if it
  /// began in the middle of one.
  FileSpan presentedSpan() const {
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

  std::optional<DatedRecording::Entry> entryOf(DatedRecording& recording) const {
    auto entry = recording.lastEntry(span_.beginMs);
    return entry ? entry : recording.firstEntry();
  }

  /// The track whose samples say where the file may begin and where a gap is: video, if there is any.
  const ExportTrack& leadingTrack() const {
    const auto video =
        std::find_if(tracks_.begin(), tracks_.end(), [](const auto& item) { return item.second.isVideo(); });
    return video != tracks_.end() ? video->second : tracks_.begin()->second;
  }

  /// What is added to times of day of a further recording, so that it follows the one before. Both have the time at
  /// which their first picture arrived, so without it each seam would have a small gap or an overlap.
  std::int64_t shiftOf(DatedRecording& recording) const {
    const auto entry = recording.firstEntry();
    if (!entry || tracks_.empty()) return 0;
    const std::int64_t expected = *originMs_ + leadingTrack().nextMs();
    const std::int64_t tolerance = std::max(std::int64_t{kSmallestGapMs}, leadingTrack().durationMs());
    return entry->decodeMs > expected + tolerance ? 0 : expected - entry->decodeMs;
  }

  /// Returns false if this fragment, and so every later one, is after the span.
  bool addFragment(DatedRecording& recording, std::size_t index) {
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

  /// Adds the samples of a track that the span needs. In decoding order, so those with which the last ones before the
  /// end are decoded are among them.
  void pickSamples(const DatedRecording& recording, const TrackFragment& part, const Track& track,
                   std::vector<Pick>& picks, bool& isAfter) const {
    std::size_t count = part.samples.size();
    while (count > 0 && recording.presentedAt(part.samples[count - 1], track) >= span_.endMs) --count;
    if (count > 0) isAfter = false;
    for (std::size_t i = 0; i < count; ++i) {
      if (fileMs(recording.decodedAt(part.samples[i], track)) >= 0) picks.push_back({&track, &part.samples[i]});
    }
  }

  std::int64_t fileMs(std::int64_t timeOfDayMs) const { return timeOfDayMs + shiftMs_ - *originMs_; }

  /// Throws HttpError for a configuration other than the first one: the `moov` has one sample entry for each track,
  /// which is that of the first segment.
  void checkConfiguration(DatedRecording& recording, const std::vector<Pick>& picks) {
    if (header_.empty()) header_ = recording.header();
    if (header_ == recording.header()) return;
    std::int64_t changedMs = std::numeric_limits<std::int64_t>::max();
    for (const Pick& pick : picks) changedMs = std::min(changedMs, recording.decodedAt(*pick.sample, *pick.track));
    throw HttpError{409,
                    fmt::format("the configuration of the stream changes at {}, and an MP4 file has one; the parts "
                                "before and after it can be exported alone",
                                utcText(changedMs))};
  }

  void takeSamples(DatedRecording& recording, const std::vector<Pick>& picks) {
    samples_ += picks.size();
    if (samples_ > limits_.samples) throw HttpError{413, tooLong("samples", limits_.samples)};
    // Only from the first to the last sample: what is outside the span is nobody's business.
    std::uint64_t begin = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t end = 0;
    for (const Pick& pick : picks) {
      begin = std::min(begin, pick.sample->offset);
      end = std::max(end, pick.sample->offset + pick.sample->size);
    }
    for (const Pick& pick : picks) {
      trackOf(recording, pick)
          .add(*pick.sample, fileMs(recording.decodedAt(*pick.sample, *pick.track)),
               fileMs(recording.presentedAt(*pick.sample, *pick.track)), mediaSize_ + (pick.sample->offset - begin));
    }
    addPiece({.file = recording.share(), .offset = begin, .size = end - begin});
  }

  void addPiece(Piece piece) {
    if (pieces_.empty() || pieces_.back().file != piece.file) ++files_;
    if (files_ > limits_.segmentFiles) throw HttpError{413, tooLong("segment files", limits_.segmentFiles)};
    mediaSize_ += piece.size;
    identity_.u64(piece.offset);
    identity_.u64(piece.size);
    pieces_.push_back(std::move(piece));
  }

  static std::string tooLong(const char* what, std::size_t most) {
    return fmt::format("that time has more than {} {}; a shorter part can be exported", most, what);
  }

  ExportTrack& trackOf(DatedRecording& recording, const Pick& pick) {
    const auto found = tracks_.find(pick.track->id);
    if (found != tracks_.end()) return found->second;
    // The header of an MPEG audio frame.
    std::array<std::byte, 4> start{};
    const auto size = std::min<std::size_t>(start.size(), pick.sample->size);
    recording.file().read(pick.sample->offset, std::span(start).first(size));
    return tracks_.try_emplace(pick.track->id, *pick.track, std::span(start).first(size), wantedMs()).first->second;
  }

  /// `ftyp`, `moov` and the header of the `mdat`.
  std::vector<std::byte> makeFront(const FileSpan& presented) const {
    // More than any `moov` of the most samples has. Whether offsets have 64 bits must be known before its size is.
    constexpr std::uint64_t kLargestFront = std::uint64_t{512} << 20;
    const bool longOffsets = mediaSize_ + kLargestFront > std::numeric_limits<std::uint32_t>::max();
    // The size of the front does not depend on the offsets in it, so one trial gives it.
    const std::uint64_t frontSize = writeFront(presented, 0, longOffsets).size();
    return writeFront(presented, frontSize, longOffsets).take();
  }

  ByteWriter writeFront(const FileSpan& presented, std::uint64_t mediaOffset, bool longOffsets) const {
    Movie movie = describeMovie(presented);
    std::vector<const ExportTrack*> sources;
    for (const auto& [id, track] : tracks_) {
      if (!track.isPresented(presented)) continue;
      sources.push_back(&track);
      movie.tracks.push_back(track.described(qvs::util::narrow<std::uint32_t>(sources.size())));
    }
    const auto sourceOf = [&sources](const Track& track) -> const ExportTrack& { return *sources[track.id - 1]; };
    ByteWriter out;
    writeFtyp(out);
    writeMovie(out, movie,
               {.duration = [&](const Track& track) { return sourceOf(track).presentedMs(presented); },
                .edits = [&](ByteWriter& to, const Track& track) { sourceOf(track).writeEdits(to, presented); },
                .tables = [&](ByteWriter& to,
                              const Track& track) { sourceOf(track).table().write(to, mediaOffset, longOffsets); }});
    qvs::util::writeSizeAndType(out, "mdat"_4cc, qvs::util::boxSizeFor(mediaSize_));
    return out;
  }

  Movie describeMovie(const FileSpan& presented) const {
    const std::int64_t begunMs = *originMs_ + presented.beginMs;
    Movie movie;
    movie.created =
        static_cast<std::uint64_t>(std::max<std::int64_t>(begunMs / 1000 + std::int64_t{kFrom1904To1970}, 0));
    movie.modified = movie.created;
    movie.timescale = kMovieTimescale;
    movie.duration = static_cast<std::uint64_t>(presented.endMs - presented.beginMs);
    movie.rate = 1;
    movie.volume = 1;
    return movie;
  }

  /// Of everything on which a byte of the file depends: the front as it is, and the media by where they are stored.
  std::string etagOf(std::span<const std::byte> front) const {
    ByteWriter all;
    constexpr std::size_t kShown = 16;
    all.text(digestText(front, kShown));
    all.text(digestText(identity_.bytes(), kShown));
    return "\"" + digestText(all.bytes(), kShown) + "\"";
  }

  const TimeSpan span_;
  const ExportLimits& limits_;
  /// Time of day of the file's first sample, once it is known.
  std::optional<std::int64_t> originMs_;
  /// What is added to times of day of the present recording.
  std::int64_t shiftMs_ = 0;
  /// Of the first segment.
  std::vector<std::byte> header_;
  /// By track id, which is the same in all segments with that header.
  std::map<std::uint32_t, ExportTrack> tracks_;
  std::vector<Piece> pieces_;
  std::size_t files_ = 0;
  std::size_t samples_ = 0;
  std::uint64_t mediaSize_ = 0;
  /// The fragments and their places.
  ByteWriter identity_;
};

}  // namespace

ExportedFile Exporter::make(const std::vector<MediaRecording>& recordings, const TimeSpan& span) {
  if (!slots_.try_acquire_for(std::chrono::seconds(10))) throw HttpError{503, "too many exports are being made"};
  struct Release {
    ~Release() { slots.release(); }
    std::counting_semaphore<kAtOnce>& slots;
  } const release{slots_};
  ExportMaker maker(span, limits_);
  for (const MediaRecording& recording : recordings) maker.add(recording);
  return maker.finish(used_);
}

}  // namespace host::serve
