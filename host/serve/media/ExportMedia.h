#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/http/Body.h"
#include "host/serve/media/DatedRecording.h"
#include "host/serve/media/ExportLimits.h"
#include "host/serve/media/ExportTrack.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "util/bytes.h"

namespace host::serve {

/// The media of an exported MP4 file: collects the samples of a span, recording by recording, and the stretches of
/// segment files that have them. Times in ms are from the decode time of the first sample, if not times of day. Belongs
/// to one thread.
class ExportMedia {
 public:
  /// A stretch of a segment file, in bytes.
  struct Piece {
    Body::File file;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
  };
  /// By track id, which is the same in all segments of the file.
  using Tracks = std::map<std::uint32_t, ExportTrack>;

  /// `limits` outlive it.
  ExportMedia(const TimeSpan& span, const ExportLimits& limits) : span_(span), limits_(limits) {}

  /// Adds the samples of the next recording, by rising begin. Throws as Exporter::make() does.
  void add(const MediaRecording& source);
  /// To be called once, after the last add().
  void finish();

  // After finish().
  const Tracks& tracks() const { return tracks_; }
  /// What the `mdat` consists of, in order.
  const std::vector<Piece>& pieces() const { return pieces_; }
  /// Sum of the pieces, in bytes.
  std::uint64_t size() const { return size_; }
  /// What is presented; empty if that is nothing. It begins with the picture that is seen at the begin of the span,
  /// whole, although that may be a moment earlier: players present the first picture of a file at once, so that its
  /// sound would be too late if it began in the middle of one.
  FileSpan presentedSpan() const;
  /// The same as times of day.
  TimeSpan timeOfDay(const FileSpan& span) const {
    return {.beginMs = *originMs_ + span.beginMs, .endMs = *originMs_ + span.endMs};
  }
  /// Bytes that are the same only if the media are: the fragments, and where they are stored.
  const qvs::util::ByteWriter& identity() const { return identity_; }

 private:
  /// A sample of a fragment that belongs to the file.
  struct Pick {
    const krvo::container::Track* track = nullptr;
    const krvo::container::StoredSample* sample = nullptr;
  };

  /// Where the presentation is to begin; what is before is only there to decode the first picture.
  std::int64_t wantedMs() const;
  std::int64_t fileMs(std::int64_t timeOfDayMs) const { return timeOfDayMs + shiftMs_ - *originMs_; }
  /// The sample with which the file begins. Nothing if the recording has none.
  std::optional<DatedRecording::Entry> entryOf(DatedRecording& recording) const;
  /// The track whose samples say where the file may begin and where a gap is: video, if there is any.
  const ExportTrack& leadingTrack() const;
  /// What is added to times of day of a further recording, so that it follows the one before.
  std::int64_t shiftOf(DatedRecording& recording) const;
  /// Returns false if this fragment, and so every later one, is after the span.
  bool addFragment(DatedRecording& recording, std::size_t index);
  /// Adds the samples of a track that the span needs. In decoding order, so those with which the last ones before the
  /// end are decoded are among them. Clears `isAfter` if any sample of the part is before the end of the span.
  void pickSamples(const DatedRecording& recording, const krvo::container::TrackFragment& part,
                   const krvo::container::Track& track, std::vector<Pick>& picks, bool& isAfter) const;
  /// Throws HttpError for a configuration other than the first one: the `moov` has one sample entry for each track,
  /// which is that of the first segment.
  void checkConfiguration(DatedRecording& recording, const std::vector<Pick>& picks);
  void takeSamples(DatedRecording& recording, const std::vector<Pick>& picks);
  void addPiece(Piece piece);
  ExportTrack& trackOf(DatedRecording& recording, const Pick& pick);

  const TimeSpan span_;
  const ExportLimits& limits_;
  /// Time of day of the file's first sample, once it is known.
  std::optional<std::int64_t> originMs_;
  /// What is added to times of day of the present recording.
  std::int64_t shiftMs_ = 0;
  /// Of the first segment.
  std::vector<std::byte> header_;
  Tracks tracks_;
  std::vector<Piece> pieces_;
  std::size_t files_ = 0;
  std::size_t samples_ = 0;
  std::uint64_t size_ = 0;
  qvs::util::ByteWriter identity_;
};

}  // namespace host::serve
