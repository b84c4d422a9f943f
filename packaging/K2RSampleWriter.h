#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "packaging/IPackagerContext.h"
#include "packaging/MediaProperties.h"
#include "packaging/NQMessage.h"
#include "wrappers/k2m/Writer.h"

namespace ruvo::k2rpkgutil {

/// What every policy does alike: declares tracks and descriptions, turns messages into hint and media samples, and
/// builds the messages that repeat a codec configuration. Passes on the exceptions of the container library.
///
/// A sample's bytes are the message's own: the library holds one more reference on their memory and drops it when it
/// has done with them.
class K2RSampleWriter {
 public:
  using K2RWriter = krvo::k2m::K2RWriter;
  using Track = krvo::k2m::Track;
  using SampleDescriptor = krvo::k2m::SampleDescriptor;

  /// `context` outlives the writer.
  explicit K2RSampleWriter(IPackagerContext& context) : context_(context) {}

  /// `thirdEntry` takes the place of the track's own.
  Track addTrack(K2RWriter& writer, const K2RTrack& track, std::uint32_t thirdEntry) const;
  /// Each stores the codec header, as far as the kind has one, and `extra` behind it, under `formatCode`.
  void addVideoDescriptor(K2RWriter& writer, const Track& track, const K2RSampleDescriptor& descriptor,
                          FourCC formatCode, std::span<const std::byte> extra) const;
  void addAudioDescriptor(K2RWriter& writer, const Track& track, const K2RSampleDescriptor& descriptor,
                          FourCC formatCode, std::span<const std::byte> extra) const;
  void addDataDescriptor(K2RWriter& writer, const Track& track, FourCC formatCode,
                         std::span<const std::byte> extra) const;

  /// What a description read back from a file says.
  static std::shared_ptr<SampleDescInfo> readVideoInfo(const SampleDescriptor& descriptor);
  static std::shared_ptr<SampleDescInfo> readAudioInfo(const SampleDescriptor& descriptor);
  static std::shared_ptr<SampleDescInfo> readDataInfo(const SampleDescriptor& descriptor);

  /// A message of a codec that segments do not carry is dropped. `randomAccess` asks for an index entry.
  void writeAudio(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                  bool randomAccess) const;
  void writeVideo(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) const;
  void writeData(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) const;
  /// Stores the tag `stored` as what `message` asks for: whose first bytes say what it is.
  void writeAudio(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                  const NQMessage& stored, bool randomAccess) const;
  void writeVideo(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                  const NQMessage& stored) const;

  /// The sequence header that repeats the codec header `bytes`; an empty message where there is nothing to repeat.
  NQMessage buildVideoConfig(FourCC formatCode, std::uint32_t time, std::uint32_t timestamp,
                             const qvs::util::ByteBuffer& bytes) const;
  NQMessage buildAudioConfig(FourCC formatCode, std::uint32_t time, std::uint32_t timestamp,
                             const qvs::util::ByteBuffer& bytes) const;

 private:
  IPackagerContext& context_;
};

}  // namespace ruvo::k2rpkgutil
