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

/// Largest data size, in bytes, of a message that a protected recording accepts. The encryption library adds its filter
/// name, the vector and up to one block of padding; with all of it the tag still fits its 24-bit size.
inline constexpr std::uint32_t kMaxProtectedDataSize = qvs::util::kMaxTagDataSize - 1024;

/// The policy of a protected recording: every sample description gets a protected format code and a `sinf` box (ISO/IEC
/// 14496-12, 8.12), and every message of the stream becomes a protected tag. The encryption library decides which of
/// them it encrypts. Configurations that the writer repeats stay in the clear, so that tools can see the codec.
///
/// Belongs to the recording's thread, and so does the encryptor. The key is in the encryptor only; the destructor lets
/// it go. Passes on rkx::RKXException in addition to the exceptions of every policy. Reading back a description in the
/// clear throws QVSException, and one whose `sinf` box is damaged throws MalformedProtection.
class EncryptedK2RMediaWriterPolicy final : public IK2RMediaWriterPolicy {
 public:
  /// `context` outlives the policy. `metadataText` is the protection metadata in Base64 (RFC 4648, section 4), stored
  /// in the `sinf` box of each new description.
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

  /// Returns the message as a protected tag in a new block of the context's arena. `message` is a copy, of which only
  /// the sample's start is changed. The codec header bytes stay in front, but the second one of VP6, which counts as
  /// sample. They are followed by:
  ///
  ///     u8    filter count
  ///           filter name and a zero byte
  ///     u24   size of the filter parameters
  ///     u8    0x80, and the initialisation vector; or 0x00 alone, if the sample is in the clear
  ///           the cipher text, or the sample
  ///
  /// and the back pointer. The result's sample begins at the parameters. Throws QVSException if the result is more than
  /// a tag can contain, rkx::RKXException and std::bad_alloc; nothing is kept then.
  NQMessage encryptMessage(NQMessage message) const;

 private:
  /// One sample description: its two format codes, the codec header without protection, and the whole `sinf` box.
  struct ProtectedEntry {
    FourCC protectedCode = 0;
    FourCC clearFormat = 0;
    qvs::util::ByteBuffer codec;
    qvs::util::ByteBuffer sinf;
  };
  using Entries = std::vector<ProtectedEntry>;

  /// Adds an entry for each description of the track. Returns the bytes of their codec headers, `sinf` boxes included.
  std::uint32_t addEntries(Entries& entries, const K2RTrack& track) const;
  /// Takes the `sinf` box off a description read from a file and adds the entry for it. `info` has the protected code
  /// at first, and the clear one in the result.
  std::shared_ptr<K2RSampleDescriptor> readDescriptor(std::shared_ptr<SampleDescInfo> info,
                                                      const qvs::util::ByteBuffer& codecHeader, Entries& entries) const;
  /// Whether the encryption library may read NAL units in the video samples.
  bool hasAvcVideo() const;

  IPackagerContext& context_;
  rkx::RKXEncryptor encryptor_;
  std::string metadataText_;
  K2RSampleWriter sampleWriter_;
  /// In the order in which descriptions were declared or read, over all segments. Every segment is declared with the
  /// entries at the front, so that all segments have the same `sinf` box; only the very first entry is repeated.
  Entries videoEntries_;
  Entries audioEntries_;
};

/// Makes an encryptor with the key and the options of `encryptorContext`, which is not needed any more afterwards, and
/// the policy around it. Throws rkx::RKXException.
std::shared_ptr<IK2RMediaWriterPolicy> makeEncryptedPolicy(const k2r::IEncryptorContext& encryptorContext,
                                                           IPackagerContext& packagerContext, std::string metadataText);

}  // namespace ruvo::k2rpkgutil
