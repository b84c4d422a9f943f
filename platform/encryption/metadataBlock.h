#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/encryption/certificates.h"

namespace krvo::encryption {

/// What a packager gives to have metadata made. All views; files as they are on disk.
struct MetadataRequest {
  std::span<const std::byte> key;
  std::string_view contentId;
  std::string_view licenseServerUrl;
  std::span<const std::byte> transportCertificate;
  std::span<const std::byte> licenseServerCertificate;
  std::span<const std::byte> credential;
  std::string_view password;
  std::vector<std::span<const std::byte>> policies;
};

/// The metadata block: CMS signed-data (RFC 5652, 5) in DER around a ProtectionMetadata (MetadataContent.h), with one
/// signer, and the certificates of its credential inside. The key is in it only as enveloped-data (6), AES-256-CBC, for
/// the license server's certificate: RSAES-OAEP with SHA-256, or ECDH. Throws StatusError.
std::vector<std::byte> makeMetadataBlock(const MetadataRequest& request);

}  // namespace krvo::encryption
