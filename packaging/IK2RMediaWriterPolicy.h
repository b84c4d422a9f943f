#pragma once

#include <cstdint>
#include <memory>

#include "packaging/MediaProperties.h"
#include "packaging/NQMessage.h"
#include "wrappers/k2m/Writer.h"

namespace ruvo::k2rpkgutil {

/// What a segment's writer leaves to the kind of recording, in the clear or protected: how tracks are declared, how a
/// message becomes samples, and how a codec configuration is repeated and read back.
///
/// A policy serves all segments of a recording, one after the other; the first configuration that it met is the one
/// that it repeats. `hint` and `track` are the handles of the writer's hint track and of the message's media track.
/// Every operation passes on the exceptions of the libraries. There is no destructor slot: whoever owns a policy knows
/// its class, as a `shared_ptr` made from it does.
class IK2RMediaWriterPolicy {
 public:
  using K2RWriter = krvo::k2m::K2RWriter;
  using Track = krvo::k2m::Track;
  using SampleDescriptor = krvo::k2m::SampleDescriptor;

  virtual Track addVideoTrack(K2RWriter& writer, const K2RTrack& track) = 0;
  virtual Track addAudioTrack(K2RWriter& writer, const K2RTrack& track) = 0;
  virtual Track addDataTrack(K2RWriter& writer, const K2RTrack& track) = 0;

  /// `randomAccess` asks for an entry in the fragment's index.
  virtual void writeAudioSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                                bool randomAccess) = 0;
  virtual void writeVideoSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) = 0;
  virtual void writeDataSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) = 0;

  /// Repeats the codec configuration in front of a sample with these two clocks, where the codec has one.
  virtual void writeVideoConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                                std::uint32_t timestamp) = 0;
  /// Answers whether anything was written.
  virtual bool writeAudioConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                                std::uint32_t timestamp, bool randomAccess) = 0;

  virtual std::shared_ptr<K2RSampleDescriptor> readVideoDescriptor(const SampleDescriptor& descriptor) = 0;
  virtual std::shared_ptr<K2RSampleDescriptor> readAudioDescriptor(const SampleDescriptor& descriptor) = 0;
  virtual std::shared_ptr<K2RSampleDescriptor> readDataDescriptor(const SampleDescriptor& descriptor) = 0;

 protected:
  ~IK2RMediaWriterPolicy() = default;
};

}  // namespace ruvo::k2rpkgutil
