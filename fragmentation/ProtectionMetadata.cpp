#include "fragmentation/ProtectionMetadata.h"

#include "fragmentation/K2RPkgUtilException.h"
#include "util/narrow.h"

namespace ruvo::k2r {

qvs::util::ByteBuffer generateProtectionMetadata(const IEncryptorContext& context) {
  const rkx::RKXEncryptor encryptor = makeEncryptor(context);
  const RKXPolicy policy{.data = reinterpret_cast<const std::uint8_t*>(context.policy().data()),
                         .size = qvs::util::narrow<std::uint32_t>(context.policy().size())};
  const rkx::DRMMetadata metadata = encryptor.makeMetadata({.licenseServerUrl = context.licenseServerUrl(),
                                                            .transportCert = context.transportCert().bytes(),
                                                            .licenseServerCert = context.licenseServerCert().bytes(),
                                                            .credential = context.packagerCredential().bytes(),
                                                            .password = context.packagerCredentialPassword(),
                                                            .policies = {.policies = &policy, .count = 1}});
  // Status 0 with a null handle is possible, and no rkx::RKXException.
  if (!metadata) throw k2rpkgutil::DRMMetadataGenerationFailed();
  return metadata.bytes();
}

}  // namespace ruvo::k2r
