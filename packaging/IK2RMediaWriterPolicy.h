#pragma once

#include <cstdint>
#include <memory>

#include "packaging/MediaProperties.h"
#include "packaging/NQMessage.h"
#include "wrappers/k2m/Writer.h"

namespace ruvo::k2rpkgutil {

/// The part of writing a segment that differs between a recording in the clear and a protected one: how tracks are
/// declared, how a message becomes samples, and how a codec configuration is repeated and read back.
///
/// One policy serves all segments of a recording, one after the other, and outlives their writers. The first
/// configuration that it was given, declared or read back, is the one that it repeats. Belongs to the recording's
/// thread.
///
/// `hint` and `track` are the handles of the writer's hint track and of the message's media track; a message of a kind
/// without a track has a null handle and must not be passed. Messages are copied only by a policy that changes them;
/// the container library holds a reference to their memory until the fragment is written. Every operation passes on
/// krvo::k2m::Exception and std::bad_alloc. There is no destructor slot: the owner knows the class, as a `shared_ptr`
/// made from it does.
class IK2RMediaWriterPolicy {
 public:
  using K2RWriter = krvo::k2m::K2RWriter;
  using Track = krvo::k2m::Track;
  using SampleDescriptor = krvo::k2m::SampleDescriptor;

  /// Declares a track and its sample descriptions, of which there is at least one, in a new segment. Before the first
  /// fragment is started; the hint track comes after all media tracks.
  virtual Track addVideoTrack(K2RWriter& writer, const K2RTrack& track) = 0;
  virtual Track addAudioTrack(K2RWriter& writer, const K2RTrack& track) = 0;
  virtual Track addDataTrack(K2RWriter& writer, const K2RTrack& track) = 0;

  /// Stores the message in the open fragment. `randomAccess` asks for an entry in the fragment's index; video decides
  /// that by its frame, and data have none. A message of an unknown codec is dropped without an error.
  virtual void writeAudioSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                                bool randomAccess) = 0;
  virtual void writeVideoSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) = 0;
  virtual void writeDataSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) = 0;

  /// Stores the codec configuration once more, if the codec has one, before a sample with these two clocks, both
  /// in milliseconds: `time` from the start of the recording, `timestamp` on the stream's clock.
  virtual void writeVideoConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                                std::uint32_t timestamp) = 0;
  /// The same. Returns whether anything was written.
  virtual bool writeAudioConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                                std::uint32_t timestamp, bool randomAccess) = 0;

  /// Reads back a description of an existing segment and remembers its configuration. Throws for a description of the
  /// other kind of recording, so that clear and protected samples are never mixed in a track.
  virtual std::shared_ptr<K2RSampleDescriptor> readVideoDescriptor(const SampleDescriptor& descriptor) = 0;
  virtual std::shared_ptr<K2RSampleDescriptor> readAudioDescriptor(const SampleDescriptor& descriptor) = 0;
  virtual std::shared_ptr<K2RSampleDescriptor> readDataDescriptor(const SampleDescriptor& descriptor) = 0;

 protected:
  ~IK2RMediaWriterPolicy() = default;
};

}  // namespace ruvo::k2rpkgutil
