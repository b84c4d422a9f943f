#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "host/exporting/TrackClock.h"
#include "host/serve/media/SampleTable.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace host::serve {

/// A stretch of the time line of an exported file, in ms from the decode time of its first sample.
struct FileSpan {
  std::int64_t beginMs = 0;
  std::int64_t endMs = 0;
};

/// A track of an exported MP4 file: its samples with their times, and what of them is presented. Times that are given
/// are in ms from the decode time of the file's first sample.
class ExportTrack {
 public:
  /// `firstSample` is the beginning of the first sample, from which the sample rate of MP3 is read. The presentation is
  /// to begin at `wantedMs`. Throws HttpError if MP4 does not have the codec.
  ExportTrack(const krvo::container::Track& track, std::span<const std::byte> firstSample, std::int64_t wantedMs);

  /// Adds the next sample in decoding order. `position` as for SampleTable. Throws HttpError for a gap that is too long
  /// for an MP4 file.
  void add(const krvo::container::StoredSample& sample, std::int64_t decodeMs, std::int64_t presentMs,
           std::uint64_t position);
  /// To be called once, after the last sample.
  void finish();

  std::size_t count() const { return table_.count(); }
  bool isVideo() const { return track_->isVideo(); }
  /// Of the last sample.
  std::int64_t durationMs() const { return durationMs_; }
  /// Decode time at which the next sample is expected.
  std::int64_t nextMs() const { return lastMs_ + durationMs_; }

  /// When the last sample at or before `wantedMs` is presented, if it can still be presented there: not if nothing
  /// follows it for long.
  std::optional<std::int64_t> sampleAtWanted() const;
  /// When the first sample from `wantedMs` on is presented.
  std::optional<std::int64_t> sampleFromWanted() const { return from_; }

  // After finish().
  /// When the presentation of the last sample ends, rounded up.
  std::int64_t endMs() const { return inMs(end_); }
  /// Whether anything of the track is presented in the span.
  bool isPresented(const FileSpan& span) const { return edit(span).durationMs > 0; }
  /// The track for the `moov`, with this id.
  std::shared_ptr<krvo::container::Track> described(std::uint32_t id) const;
  /// The duration of what is presented, in ms from the beginning of the span.
  std::uint64_t presentedMs(const FileSpan& span) const;
  /// Appends the `edts` by which players present the span only (ISO/IEC 14496-12, 8.6.6); nothing if that is all.
  void writeEdits(qvs::util::ByteWriter& out, const FileSpan& span) const;
  const SampleTable& table() const { return table_; }

 private:
  /// Throws as add() does.
  void check(const krvo::container::StoredSample& sample, std::int64_t decodeMs) const;
  /// What is presented of a span: nothing for a time, then the media from a place on.
  struct Edit {
    std::int64_t emptyMs = 0;
    std::int64_t durationMs = 0;
    /// In units of the track, from its own first sample, with which its tables begin.
    std::int64_t mediaTime = 0;
  };
  Edit edit(const FileSpan& span) const;
  /// In units of the track.
  std::int64_t inUnits(std::int64_t ms) const;
  /// Rounded up, so that no part of a sample is cut off.
  std::int64_t inMs(std::int64_t units) const;

  std::shared_ptr<krvo::container::Track> track_;
  TrackClock clock_;
  SampleTable table_;
  std::int64_t wantedMs_;
  std::int64_t lastMs_ = 0;
  std::int64_t durationMs_ = 0;
  /// When the last sample at or before `wantedMs_`, and the first one from it on, are presented.
  std::optional<std::int64_t> at_;
  std::optional<std::int64_t> from_;
  // In units of the track: when the first sample is decoded and presented, when the last one is presented, and its end.
  std::int64_t firstDecoded_ = 0;
  std::int64_t first_ = 0;
  std::int64_t latest_ = 0;
  std::int64_t end_ = 0;
};

}  // namespace host::serve
