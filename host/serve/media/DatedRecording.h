#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/serve/catalog/Catalog.h"
#include "host/serve/http/Body.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace host::serve {

/// A recording of a stream, as the catalog lists it.
struct MediaRecording {
  /// Native path.
  std::string directory;
  /// When its first picture was received, in milliseconds since 1970-01-01 UTC, by its name; without video, its first
  /// sample.
  std::int64_t beginMs = 0;
};

/// Those of a stream's recordings that can be read, from what the catalog lists; `folder` is the stream's. Recordings
/// that are damaged or wait for their repair, and directories with other names, are left out.
std::vector<MediaRecording> mediaRecordings(const std::string& folder, const std::vector<RecordingInfo>& listed);

/// The fragments of a recording by time of day: its begin, plus the time of a sample, less that of the first picture.
/// Has what was complete when it was made; the recording may grow meanwhile. One segment file is open at a time.
/// Belongs to one thread. Operations throw CommandError for a file that is malformed or cannot be read.
class DatedRecording {
 public:
  /// Reads bootstrap, indexes and the first fragment. Throws HttpError for a protected recording.
  explicit DatedRecording(const MediaRecording& recording);

  /// Name of its directory.
  const std::string& name() const { return name_; }
  /// 0 for a recording that has just begun.
  std::size_t fragmentCount() const { return places_.size(); }

  /// A fragment, and its place among those of the recording.
  struct Numbered {
    std::uint32_t segment = 0;
    std::uint32_t number = 0;
    krvo::container::Fragment fragment;
  };
  /// `index` counts from 0 and is below fragmentCount(). Throws HttpError if its segment is protected.
  Numbered read(std::size_t index);

  // Of the segment from which read() read last.
  const krvo::container::Movie& movie() const { return segment_->open.reader().movie(); }
  /// The header of the plain view. Two segments with the same one have the same tracks and configurations.
  const std::vector<std::byte>& header() const { return segment_->header; }
  /// For reading samples of a fragment by their offsets.
  FileView& file() { return segment_->open.file(); }
  /// The file for a body, which may outlive this object.
  Body::File share() const { return segment_->shared; }

  /// Time of day of a decode time; with the composition offset, of the presentation.
  std::int64_t decodedAt(const krvo::container::StoredSample& sample, const krvo::container::Track& track) const;
  std::int64_t presentedAt(const krvo::container::StoredSample& sample, const krvo::container::Track& track) const;

  /// A sample at which decoding can begin.
  struct Entry {
    std::size_t fragment = 0;
    krvo::container::StoredSample sample;
    /// When it is decoded and presented.
    std::int64_t decodeMs = 0;
    std::int64_t presentMs = 0;
  };
  /// The last key frame that is presented at or before `atMs`; of a recording without video, the last sample. Leaves
  /// the segment with it open. Nothing if all are later.
  std::optional<Entry> lastEntry(std::int64_t atMs);
  /// The first key frame or sample of the recording. Nothing if it has none.
  std::optional<Entry> firstEntry();

 private:
  struct Place {
    std::uint32_t segment = 0;
    std::uint32_t number = 0;
    /// Offset in the segment file.
    std::uint64_t position = 0;
  };
  /// An open segment file.
  struct Segment {
    Segment(std::uint32_t segmentNumber, const std::string& path);

    std::uint32_t number;
    OpenSegment open;
    Body::File shared;
    std::vector<std::byte> header;
  };

  void openSegment(std::uint32_t number);
  /// The moment of the first fragment that the recording's name means: that of the first picture, before which sound
  /// may begin. Nothing without samples.
  std::optional<std::int64_t> namedMs(const krvo::container::Fragment& fragment) const;
  /// Decode time of the earliest sample of the tracks that are presented. Nothing without such samples.
  std::optional<std::int64_t> startOf(const krvo::container::Fragment& fragment) const;
  /// The entries of a fragment, in order.
  std::vector<Entry> entriesOf(std::size_t index);

  RecordingDirectory directory_;
  std::string name_;
  std::vector<Place> places_;
  std::unique_ptr<Segment> segment_;
  /// What is added to a decode time in ms to get the time of day.
  std::int64_t shiftMs_ = 0;
};

}  // namespace host::serve
