#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/container/SampleWalk.h"
#include "platform/container/SegmentWriter.h"
#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Movie.h"

// What the library's handles are. Each handle given out is an object of its own, which its release ends; tracks and
// descriptions live as long as a handle or their segment holds them.

struct KrvoK2MWriter {
  krvo::container::SegmentWriter* segment = nullptr;
};

struct KrvoK2RWriter {
  explicit KrvoK2RWriter(std::unique_ptr<krvo::container::SegmentWriter> owned) : segment(std::move(owned)) {
    tracks.segment = segment.get();
  }

  std::unique_ptr<krvo::container::SegmentWriter> segment;
  KrvoK2MWriter tracks;
};

struct KrvoK2MTrack {
  std::shared_ptr<krvo::container::Track> track;
};

struct KrvoK2MSampleDescriptor {
  std::shared_ptr<const krvo::container::SampleDescription> description;
  /// Of its track.
  krvo::container::FourCC handler = 0;
};

struct KrvoK2MTrackIterator {
  std::vector<std::shared_ptr<krvo::container::Track>> tracks;
  std::size_t next = 0;
};

struct KrvoK2MSampleDescriptorIterator {
  std::shared_ptr<const krvo::container::Track> track;
  std::size_t next = 0;
};

struct KrvoK2MReader {
  std::shared_ptr<krvo::container::StoredSegment> segment;
};

struct KrvoK2MSampleIterator {
  krvo::container::SampleWalk walk;
};

struct KrvoK2MSample {
  krvo::container::WalkedSample sample;
};
