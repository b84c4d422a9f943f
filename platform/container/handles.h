#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/container/SampleWalk.h"
#include "platform/container/SegmentWriter.h"
#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Movie.h"

// The objects to which the library's handles point. Each handle that is given out is a separate object, destroyed by
// its release. Tracks and descriptions are shared: they live as long as a handle or their segment refers to them.

/// A view, part of its KrvoK2RWriter.
struct KrvoK2MWriter {
  krvo::container::SegmentWriter* segment = nullptr;
};

/// Owns the writer of a segment. Destroying it without SegmentWriter::finish() leaves the file as the last fragment
/// did.
struct KrvoK2RWriter {
  explicit KrvoK2RWriter(std::unique_ptr<krvo::container::SegmentWriter> owned) : segment(std::move(owned)) {
    tracks.segment = segment.get();
  }

  std::unique_ptr<krvo::container::SegmentWriter> segment;
  KrvoK2MWriter tracks;
};

/// The object is that of the movie, not a copy: a description that is added through one handle is there for all.
struct KrvoK2MTrack {
  std::shared_ptr<krvo::container::Track> track;
};

/// Shared with the track, like the track itself; not changed any more.
struct KrvoK2MSampleDescriptor {
  std::shared_ptr<const krvo::container::SampleDescription> description;
  /// The handler type of its track.
  krvo::container::FourCC handler = 0;
};

/// A copy of the list, so that tracks which are added during a walk do not disturb it. `next` is the subscript of the
/// next one.
struct KrvoK2MTrackIterator {
  std::vector<std::shared_ptr<krvo::container::Track>> tracks;
  std::size_t next = 0;
};

/// Refers to the list of the track. `next` is the subscript of the next one.
struct KrvoK2MSampleDescriptorIterator {
  std::shared_ptr<const krvo::container::Track> track;
  std::size_t next = 0;
};

/// Reader, iterators and samples share the segment with its stream, so they can be released in any order.
struct KrvoK2MReader {
  std::shared_ptr<krvo::container::StoredSegment> segment;
};

/// A walk over one track, with its own place in the file.
struct KrvoK2MSampleIterator {
  krvo::container::SampleWalk walk;
};

/// Without the bytes, which are read from the stream on demand.
struct KrvoK2MSample {
  krvo::container::WalkedSample sample;
};
