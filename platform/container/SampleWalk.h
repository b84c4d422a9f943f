#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/container/Stream.h"
#include "platform/container/reading/SegmentReader.h"

namespace krvo::container {

/// A segment that is read through the caller's stream. Shared by a reader, its iterators and their samples; the stream
/// is released with the last of them.
struct StoredSegment {
  explicit StoredSegment(const KrvoK2MIOStreamCallBacks& callBacks) : stream(callBacks), reader(stream) {}

  /// Before the reader, which refers to it.
  Stream stream;
  SegmentReader reader;
};

/// A sample that a walk has reached, with everything needed to describe and to read it.
struct WalkedSample {
  std::shared_ptr<StoredSegment> segment;
  std::shared_ptr<const Track> track;
  std::shared_ptr<const SampleDescription> description;
  StoredSample stored;
};

/// Iterates over the samples of one track, in the order of the fragments. One fragment is in memory at a time. Boxes at
/// the top level that are no fragment, such as `free` and `mfra`, are passed over.
class SampleWalk {
 public:
  /// Reads nothing yet. `track` is one of the segment's.
  SampleWalk(std::shared_ptr<StoredSegment> segment, std::shared_ptr<const Track> track);

  /// Nothing after the last one. Throws SegmentError for a malformed box or fragment; the walk then stays before it.
  std::optional<WalkedSample> next();

 private:
  /// Reads the next box at the top level, and keeps the samples if it begins a fragment. False at the end of the file.
  bool readOn();

  std::shared_ptr<StoredSegment> segment_;
  std::shared_ptr<const Track> track_;
  /// Offset in the file of the next box at the top level.
  std::uint64_t offset_;
  /// The track's samples in the last fragment that was read, and the next one to return.
  TrackFragment fragment_;
  std::size_t next_ = 0;
};

}  // namespace krvo::container
