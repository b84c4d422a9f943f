#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/container/Stream.h"
#include "platform/container/reading/SegmentReader.h"

namespace krvo::container {

/// A segment that is read through the caller's stream.
struct StoredSegment {
  explicit StoredSegment(const KrvoK2MIOStreamCallBacks& callBacks) : stream(callBacks), reader(stream) {}

  Stream stream;
  SegmentReader reader;
};

/// A sample that a walk came to, with what it takes to describe and to read it.
struct WalkedSample {
  std::shared_ptr<StoredSegment> segment;
  std::shared_ptr<const Track> track;
  std::shared_ptr<const SampleDescription> description;
  StoredSample stored;
};

/// Goes through the samples of one track, in the order of the fragments. Has one fragment in memory.
class SampleWalk {
 public:
  SampleWalk(std::shared_ptr<StoredSegment> segment, std::shared_ptr<const Track> track);

  /// None behind the last one. Throws SegmentError for what is not of its form; the walk then stays in front of it.
  std::optional<WalkedSample> next();

 private:
  /// Goes on to the next box, and takes the samples of a fragment. False at the end of the file.
  bool readOn();

  std::shared_ptr<StoredSegment> segment_;
  std::shared_ptr<const Track> track_;
  /// Of the next box at the top level, in the file.
  std::uint64_t offset_;
  TrackFragment fragment_;
  std::size_t next_ = 0;
};

}  // namespace krvo::container
