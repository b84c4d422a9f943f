#pragma once

#include <vector>

#include "packaging/IK2RMediaWriterPolicy.h"
#include "packaging/K2RSampleWriter.h"

namespace ruvo::k2rpkgutil {

/// The policy of a recording in the clear: messages are stored as they are, without a copy. Reading back a protected
/// description throws QVSException, before anything of the segment is changed. Belongs to the recording's thread.
class K2RMediaWriterPolicy final : public IK2RMediaWriterPolicy {
 public:
  /// `context` outlives the policy.
  explicit K2RMediaWriterPolicy(IPackagerContext& context) : sampleWriter_(context) {}

  /// These remember the codec headers of all descriptions; the two config operations repeat the first one.
  Track addVideoTrack(K2RWriter& writer, const K2RTrack& track) override;
  Track addAudioTrack(K2RWriter& writer, const K2RTrack& track) override;
  Track addDataTrack(K2RWriter& writer, const K2RTrack& track) override;
  /// The library gets a reference to the memory of `message`, no copy.
  void writeAudioSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                        bool randomAccess) override;
  void writeVideoSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) override;
  void writeDataSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) override;
  /// Stores a new message, which is made of the remembered codec header in the arena of the context.
  void writeVideoConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                        std::uint32_t timestamp) override;
  bool writeAudioConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                        std::uint32_t timestamp, bool randomAccess) override;
  std::shared_ptr<K2RSampleDescriptor> readVideoDescriptor(const SampleDescriptor& descriptor) override;
  std::shared_ptr<K2RSampleDescriptor> readAudioDescriptor(const SampleDescriptor& descriptor) override;
  std::shared_ptr<K2RSampleDescriptor> readDataDescriptor(const SampleDescriptor& descriptor) override;

 private:
  /// The whole codec header of one sample description, under its format code.
  struct CodecConfig {
    FourCC formatCode = 0;
    qvs::util::ByteBuffer bytes;
  };

  K2RSampleWriter sampleWriter_;
  /// In the order in which descriptions were declared or read, over all segments; only the first entry is repeated.
  std::vector<CodecConfig> videoConfigs_;
  std::vector<CodecConfig> audioConfigs_;
};

}  // namespace ruvo::k2rpkgutil
