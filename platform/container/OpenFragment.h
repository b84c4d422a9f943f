#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/container/OwnedData.h"
#include "platform/container/reading/Fragment.h"

namespace krvo::container {

/// A sample of a track, as the boxes of the fragment will describe it.
struct Sample {
  /// Decode time, in the track's timescale.
  std::uint64_t time = 0;
  /// Offset of its first byte, from the start of the first tag.
  std::uint64_t offset = 0;
  /// Bytes.
  std::uint32_t size = 0;
  /// In the track's timescale.
  std::int32_t compositionOffset = 0;
  /// Decoding can start here (8.8.3.1).
  bool sync = false;
};

/// A stored tag. Owns a reference to the caller's bytes, not a copy.
struct Tag {
  OwnedData data;
  /// Bytes.
  std::uint32_t length = 0;

  std::span<const std::byte> bytes() const { return {data.data(), length}; }
};

/// The content of the fragment that is being collected, in the order of its tags. Keeps a reference to each buffer
/// until clear(), which gives it back once. Belongs to one thread.
class OpenFragment {
 public:
  /// A sample and the index of its track in the movie.
  struct TrackSample {
    std::size_t track = 0;
    Sample sample;
  };
  /// What a tag adds: a hint sample, and at most one media sample and one access point.
  struct Samples {
    TrackSample hint;
    std::optional<TrackSample> media;
    std::optional<AccessPoint> accessPoint;
  };

  /// Begins the content with the body of the `abst`. The buffers of an earlier attempt are given back.
  void begin(OwnedData abst, std::uint32_t abstLength);
  /// Adds a tag. Offsets in `samples` count from its start. Throws std::bad_alloc, and then has added nothing.
  void add(Tag tag, const Samples& samples);
  /// Gives all buffers back.
  void clear() noexcept;

  /// Whether begin() was called since the last clear(). An abst of no bytes is never accepted, so a fragment that has
  /// begun has content.
  bool begun() const { return begun_; }
  /// Without box header, version and flags, which the writer adds.
  std::span<const std::byte> abst() const { return {abst_.data(), abstLength_}; }
  std::span<const Tag> tags() const { return tags_; }
  /// Bytes of all tags.
  std::uint64_t bytes() const { return bytes_; }
  /// `track` is an index in the movie. Empty for a track without samples.
  std::span<const Sample> samplesOf(std::size_t track) const;
  /// In the order of the tags, so their times do not fall unless those of the tags do.
  std::span<const AccessPoint> accessPoints() const { return accessPoints_; }

 private:
  bool begun_ = false;
  OwnedData abst_;
  std::uint32_t abstLength_ = 0;
  std::vector<Tag> tags_;
  std::uint64_t bytes_ = 0;
  /// By track index; shorter than the movie's list if the last tracks have no sample.
  std::vector<std::vector<Sample>> samples_;
  std::vector<AccessPoint> accessPoints_;
};

}  // namespace krvo::container
