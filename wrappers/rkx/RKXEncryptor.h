#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "wrappers/rkx/CSmartPtrBase.h"
#include "wrappers/rkx/DRMMetadata.h"

namespace rkx {

/// What a block of protection metadata is made of, beside the encryptor's key and content identifier.
struct MetadataSources {
  std::string_view licenseServerUrl;
  std::span<const std::byte> transportCert;
  std::span<const std::byte> licenseServerCert;
  std::span<const std::byte> credential;
  std::string_view password;
  RKXPolicyList policies;
};

/// A counted handle on an encryptor. Every operation throws RKXException for a status other than 0, and
/// std::out_of_range for a size that does not fit 32 bits.
class RKXEncryptor : public CSmartPtrBase {
 public:
  RKXEncryptor(std::span<const std::byte> key, std::string_view contentId, const RKXEncryptionOptions& options);

  /// Null where the library makes none.
  DRMMetadata makeMetadata(const MetadataSources& sources) const;
  /// What encryptSample() will do with a sample. `time` in milliseconds; `avc`: a run of length-prefixed NAL units.
  RKXSampleInfo querySample(std::span<const std::byte> sample, RKXSampleKind kind, std::uint32_t time, bool avc) const;
  /// Fills `destination` and `vector`, which have the sizes that the query answered. Throws QVSException where the
  /// library writes less than that.
  void encryptSample(std::span<const std::byte> sample, std::span<std::byte> destination,
                     std::span<std::byte> vector) const;

 private:
  const RKXEncryptorInterface* table_;
};

}  // namespace rkx
