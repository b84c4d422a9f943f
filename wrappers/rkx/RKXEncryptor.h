#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "wrappers/rkx/CSmartPtrBase.h"
#include "wrappers/rkx/DRMMetadata.h"

namespace rkx {

/// The sources of a block of protection metadata besides the key and content identifier of the encryptor. Views, valid
/// during makeMetadata(). Files are given as their whole content.
struct MetadataSources {
  /// An http or https URL.
  std::string_view licenseServerUrl;
  /// X.509 certificates in DER or PEM.
  std::span<const std::byte> transportCert;
  std::span<const std::byte> licenseServerCert;
  /// A PKCS#12 structure with a key and its certificate, which `password` opens.
  std::span<const std::byte> credential;
  std::string_view password;
  /// The list and its bytes stay the caller's.
  RKXPolicyList policies;
};

/// A counted handle on an encryptor: AES-128-CBC (NIST SP 800-38A) with one key for a whole recording. Every operation
/// throws RKXException for a status other than 0, and std::out_of_range for a size that does not fit 32 bits.
///
///     RKXEncryptor encryptor(key, contentId, options);
///     auto block = encryptor.makeMetadata(sources).bytes();   // before the first sample
///     auto info = encryptor.querySample(sample, kind, time, avc);
///     encryptor.encryptSample(sample, destination, vector);   // if `info` says so
class RKXEncryptor : public CSmartPtrBase {
 public:
  /// `key` has 16 bytes. Key and content identifier are copied; the library wipes its copy of the key.
  RKXEncryptor(std::span<const std::byte> key, std::string_view contentId, const RKXEncryptionOptions& options);

  /// The block of metadata; empty if the library makes none. To be called before the first sample: with that the key
  /// moves into the cipher, and can no longer be wrapped for the license server.
  DRMMetadata makeMetadata(const MetadataSources& sources) const;
  /// What encryptSample() will do with a sample: whether it is encrypted, and the sizes. `sample` begins after the
  /// codec header that stays in the clear. `time` in milliseconds. `avc` says that the sample is a sequence of NAL
  /// units, each after its length in 4 bytes (ISO/IEC 14496-15).
  RKXSampleInfo querySample(std::span<const std::byte> sample, RKXSampleKind kind, std::uint32_t time, bool avc) const;
  /// Encrypts a sample to `destination`, with a new initialisation vector in `vector`. Both have the sizes that
  /// querySample() returned; `destination` does not overlap `sample`. Also throws QVSException if the library writes
  /// another size.
  void encryptSample(std::span<const std::byte> sample, std::span<std::byte> destination,
                     std::span<std::byte> vector) const;

 private:
  const RKXEncryptorInterface* table_;
};

}  // namespace rkx
