#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fragmentation/IEncryptorContext.h"
#include "packaging/IK2RMediaWriterPolicy.h"
#include "packaging/K2RSampleWriter.h"
#include "util/tagHeader.h"
#include "wrappers/rkx/RKXEncryptor.h"

namespace ruvo::k2rpkgutil {

/// So many bytes of data fit a protected tag, whatever the encryption library puts before and behind them.
inline constexpr std::uint32_t kMaxProtectedDataSize = qvs::util::kMaxTagDataSize - 1024;

/// The policy of a protected recording: every sample description carries a `sinf` box under a protected format code,
/// and every message of the stream becomes a protected tag. What is encrypted in it is the encryption library's choice.
/// Configurations that the writer repeats stay in the clear.
///
/// Beside the container library's, passes on rkx::RKXException. Descriptions read back must be protected ones: others
/// throw QVSException, and MalformedProtection is thrown for a `sinf` box that cannot be read.
class EncryptedK2RMediaWriterPolicy final : public IK2RMediaWriterPolicy {
 public:
  /// `context` outlives the policy. `metadataText` is the protection metadata in Base64.
  EncryptedK2RMediaWriterPolicy(rkx::RKXEncryptor encryptor, IPackagerContext& context, std::string metadataText)
      : context_(context),
        encryptor_(std::move(encryptor)),
        metadataText_(std::move(metadataText)),
        sampleWriter_(context) {}

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

  /// The message as a protected tag. The bytes in front of the sample stay, but the second one of VP6, which counts as
  /// sample; then, and behind them the back pointer:
  ///
  ///     u8    filter count
  ///           filter name and a zero byte
  ///     u24   size of the filter parameters
  ///     u8    0x80, and the initialisation vector; or 0x00 alone, where the sample is in the clear
  ///           the cipher text, or the sample
  ///
  /// The result's sample begins at the parameters. Throws QVSException where this is more than a tag holds.
  NQMessage encryptMessage(NQMessage message) const;

 private:
  struct ProtectedEntry {
    FourCC protectedCode = 0;
    FourCC clearFormat = 0;
    qvs::util::ByteBuffer codec;
    qvs::util::ByteBuffer sinf;
  };
  using Entries = std::vector<ProtectedEntry>;

  /// Answers the bytes of the codec headers added.
  std::uint32_t addEntries(Entries& entries, const K2RTrack& track) const;
  std::shared_ptr<K2RSampleDescriptor> readDescriptor(std::shared_ptr<SampleDescInfo> info,
                                                      const qvs::util::ByteBuffer& codecHeader, Entries& entries) const;
  bool hasAvcVideo() const;

  IPackagerContext& context_;
  rkx::RKXEncryptor encryptor_;
  std::string metadataText_;
  K2RSampleWriter sampleWriter_;
  /// In the order in which descriptions were declared or read. A segment is declared with the first ones, whichever
  /// segment it is, and only the very first is repeated.
  Entries videoEntries_;
  Entries audioEntries_;
};

/// Throws rkx::RKXException.
std::shared_ptr<IK2RMediaWriterPolicy> makeEncryptedPolicy(const k2r::IEncryptorContext& encryptorContext,
                                                           IPackagerContext& packagerContext, std::string metadataText);

}  // namespace ruvo::k2rpkgutil
