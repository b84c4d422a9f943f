#pragma once

#include "fragmentation/IEncryptorContext.h"
#include "util/ByteBuffer.h"

namespace ruvo::k2r {

/// The block in which the encryption library binds key, content and license server together. Throws
/// rkx::RKXException and k2rpkgutil::DRMMetadataGenerationFailed.
qvs::util::ByteBuffer generateProtectionMetadata(const IEncryptorContext& context);

}  // namespace ruvo::k2r
