#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "packaging/IPackagerContext.h"
#include "packaging/MediaProperties.h"
#include "packaging/NQMessage.h"
#include "wrappers/k2m/Writer.h"

namespace ruvo::k2rpkgutil {

/// The part that all policies share: declares tracks and descriptions, turns messages into hint and media samples, and
/// builds the messages that repeat a codec configuration. Passes on krvo::k2m::Exception and std::bad_alloc.
///
/// No message is copied: the library gets one more reference to the memory of each stored message and drops it when the
/// fragment is written or has failed. Its blocks are counted without atomics, so all of this stays on the recording's
/// thread.
class K2RSampleWriter {
 public:
  using K2RWriter = krvo::k2m::K2RWriter;
  using Track = krvo::k2m::Track;
  using SampleDescriptor = krvo::k2m::SampleDescriptor;

  /// `context` outlives this object.
  explicit K2RSampleWriter(IPackagerContext& context) : context_(context) {}

  /// Declares a track. `thirdEntry`, the bytes of the codec header, replaces the track's own third entry.
  Track addTrack(K2RWriter& writer, const K2RTrack& track, std::uint32_t thirdEntry) const;
  /// These declare a sample description under `formatCode`: the codec header of `descriptor`, if its codec has one, and
  /// `extra` after it. The kind of `descriptor.info` must be that of the operation (std::bad_cast otherwise).
  void addVideoDescriptor(K2RWriter& writer, const Track& track, const K2RSampleDescriptor& descriptor,
                          FourCC formatCode, std::span<const std::byte> extra) const;
  void addAudioDescriptor(K2RWriter& writer, const Track& track, const K2RSampleDescriptor& descriptor,
                          FourCC formatCode, std::span<const std::byte> extra) const;
  void addDataDescriptor(K2RWriter& writer, const Track& track, FourCC formatCode,
                         std::span<const std::byte> extra) const;

  /// These return the fields of a description that was read from a file, under the format code that it has there.
  static std::shared_ptr<SampleDescInfo> readVideoInfo(const SampleDescriptor& descriptor);
  static std::shared_ptr<SampleDescInfo> readAudioInfo(const SampleDescriptor& descriptor);
  static std::shared_ptr<SampleDescInfo> readDataInfo(const SampleDescriptor& descriptor);

  /// These store a message in the open fragment: a hint sample of the whole tag and, but for a sequence header, a media
  /// sample of its sample bytes. A message of a codec that segments cannot have is dropped. `randomAccess` asks for an
  /// index entry.
  void writeAudio(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                  bool randomAccess) const;
  void writeVideo(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) const;
  void writeData(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) const;
  /// The same with the bytes of `stored`. The first data bytes of `message`, the clear one, decide what it becomes.
  void writeAudio(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                  const NQMessage& stored, bool randomAccess) const;
  void writeVideo(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                  const NQMessage& stored) const;

  /// These return a sequence header tag with the configuration in the codec header `bytes`; the empty message for a
  /// codec without a configuration and for bytes without a whole one. Both times are in milliseconds.
  NQMessage buildVideoConfig(FourCC formatCode, std::uint32_t time, std::uint32_t timestamp,
                             const qvs::util::ByteBuffer& bytes) const;
  NQMessage buildAudioConfig(FourCC formatCode, std::uint32_t time, std::uint32_t timestamp,
                             const qvs::util::ByteBuffer& bytes) const;

 private:
  IPackagerContext& context_;
};

}  // namespace ruvo::k2rpkgutil
