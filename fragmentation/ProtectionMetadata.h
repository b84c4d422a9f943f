#pragma once

#include "fragmentation/IEncryptorContext.h"
#include "util/ByteBuffer.h"

namespace ruvo::k2r {

/// Has the encryption library make the block that binds key, content and license server together; the block is opaque
/// here and stored in Base64. Makes an encryptor for this call alone. Throws rkx::RKXException with the status of the
/// library, k2rpkgutil::DRMMetadataGenerationFailed if it makes nothing, and std::out_of_range for a policy of 4 GiB.
qvs::util::ByteBuffer generateProtectionMetadata(const IEncryptorContext& context);

}  // namespace ruvo::k2r
