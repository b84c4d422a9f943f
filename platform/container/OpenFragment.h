#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/container/OwnedData.h"
#include "platform/container/reading/Fragment.h"

namespace krvo::container {

/// A sample of a track as the fragment's boxes will tell it.
struct Sample {
  /// Decode time, in the track's timescale.
  std::uint64_t time = 0;
  /// Of the first byte, from the start of the first tag.
  std::uint64_t offset = 0;
  /// Bytes.
  std::uint32_t size = 0;
  /// In the track's timescale.
  std::int32_t compositionOffset = 0;
  bool sync = false;
};

/// A stored tag, held by reference.
struct Tag {
  OwnedData data;
  std::uint32_t length = 0;

  std::span<const std::byte> bytes() const { return {data.data(), length}; }
};

/// What has been added to the fragment that is open, in the order of its tags. Holds each buffer until it is cleared;
/// keeps its lists from one fragment to the next.
class OpenFragment {
 public:
  /// A sample and the place of its track in the movie.
  struct TrackSample {
    std::size_t track = 0;
    Sample sample;
  };
  /// What a tag is made of.
  struct Samples {
    TrackSample hint;
    std::optional<TrackSample> media;
    std::optional<AccessPoint> accessPoint;
  };

  /// Begins with the body of its `abst`; what an earlier attempt had added is given back.
  void begin(OwnedData abst, std::uint32_t abstLength);
  /// Adds a tag; offsets in `samples` are counted from its start. Adds nothing when it throws.
  void add(Tag tag, const Samples& samples);
  void clear() noexcept;

  bool begun() const { return begun_; }
  std::span<const std::byte> abst() const { return {abst_.data(), abstLength_}; }
  std::span<const Tag> tags() const { return tags_; }
  /// Of all tags.
  std::uint64_t bytes() const { return bytes_; }
  /// By the place of the track in the movie; empty for a track without samples.
  std::span<const Sample> samplesOf(std::size_t track) const;
  std::span<const AccessPoint> accessPoints() const { return accessPoints_; }

 private:
  bool begun_ = false;
  OwnedData abst_;
  std::uint32_t abstLength_ = 0;
  std::vector<Tag> tags_;
  std::uint64_t bytes_ = 0;
  std::vector<std::vector<Sample>> samples_;
  std::vector<AccessPoint> accessPoints_;
};

}  // namespace krvo::container
