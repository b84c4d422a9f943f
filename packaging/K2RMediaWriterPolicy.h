#pragma once

#include <vector>

#include "packaging/IK2RMediaWriterPolicy.h"
#include "packaging/K2RSampleWriter.h"

namespace ruvo::k2rpkgutil {

/// The policy of a recording in the clear. Throws QVSException for a protected description that is read back.
class K2RMediaWriterPolicy final : public IK2RMediaWriterPolicy {
 public:
  /// `context` outlives the policy.
  explicit K2RMediaWriterPolicy(IPackagerContext& context) : sampleWriter_(context) {}

  Track addVideoTrack(K2RWriter& writer, const K2RTrack& track) override;
  Track addAudioTrack(K2RWriter& writer, const K2RTrack& track) override;
  Track addDataTrack(K2RWriter& writer, const K2RTrack& track) override;
  void writeAudioSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                        bool randomAccess) override;
  void writeVideoSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) override;
  void writeDataSample(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message) override;
  void writeVideoConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                        std::uint32_t timestamp) override;
  bool writeAudioConfig(K2RWriter& writer, const Track& hint, const Track& track, std::uint32_t time,
                        std::uint32_t timestamp, bool randomAccess) override;
  std::shared_ptr<K2RSampleDescriptor> readVideoDescriptor(const SampleDescriptor& descriptor) override;
  std::shared_ptr<K2RSampleDescriptor> readAudioDescriptor(const SampleDescriptor& descriptor) override;
  std::shared_ptr<K2RSampleDescriptor> readDataDescriptor(const SampleDescriptor& descriptor) override;

 private:
  /// A whole codec header under its format code.
  struct CodecConfig {
    FourCC formatCode = 0;
    qvs::util::ByteBuffer bytes;
  };

  K2RSampleWriter sampleWriter_;
  /// In the order in which descriptions were declared or read; only the first is repeated.
  std::vector<CodecConfig> videoConfigs_;
  std::vector<CodecConfig> audioConfigs_;
};

}  // namespace ruvo::k2rpkgutil
