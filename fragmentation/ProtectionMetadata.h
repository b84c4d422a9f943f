#pragma once

#include <cstdint>
#include <string>

#include "fragmentation/IEncryptorContext.h"
#include "util/ByteBuffer.h"
#include "util/QVSException.h"

namespace ruvo::k2rpkgutil {

/// A failure of the packager with a number: "Error (4) - " and a text.
class K2RPkgUtilException : public qvs::QVSException {
 public:
  K2RPkgUtilException(std::uint32_t code, const std::string& text)
      : QVSException("Error (" + std::to_string(code) + ") - " + text), code_(code) {}

  std::uint32_t code() const { return code_; }

 private:
  std::uint32_t code_;
};

/// The encryption library made no metadata and named no reason.
class DRMMetadataGenerationFailed final : public K2RPkgUtilException {
 public:
  DRMMetadataGenerationFailed() : K2RPkgUtilException(4, "DRM metadata generation failed") {}
};

}  // namespace ruvo::k2rpkgutil

namespace ruvo::k2r {

/// The block in which the encryption library binds key, content and license server together. Throws
/// rkx::RKXException and DRMMetadataGenerationFailed.
qvs::util::ByteBuffer generateProtectionMetadata(const IEncryptorContext& context);

}  // namespace ruvo::k2r
