#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace krvo::encryption {

/// The input of makeMetadataBlock(). All are views, used during the call only; the files are as they are on disk.
struct MetadataRequest {
  /// The content key, 16 bytes.
  std::span<const std::byte> key;
  /// 1 to 65536 bytes.
  std::string_view contentId;
  /// An http or https URL of at most 2048 printable characters.
  std::string_view licenseServerUrl;
  /// X.509 in DER or PEM, as is the next.
  std::span<const std::byte> transportCertificate;
  std::span<const std::byte> licenseServerCertificate;
  /// PKCS#12, with the key that signs.
  std::span<const std::byte> credential;
  /// UTF-8, without a zero byte.
  std::string_view password;
  /// At least one, each of 1 byte to 1 MiB.
  std::vector<std::span<const std::byte>> policies;
};

/// Makes the metadata block in DER: CMS signed-data (RFC 5652, section 5) around a ProtectionMetadata (layout in
/// MetadataContent.h), with one signer and the certificates of its credential. The content key is in it only as
/// enveloped-data (section 6), AES-256-CBC, for the license server's certificate: RSAES-OAEP with SHA-256, or ECDH.
///
/// Two blocks of the same request differ, by their random keys and the time of signing. Throws StatusError; if several
/// inputs are bad, for the first in the order URL, transport certificate, license server certificate, credential,
/// policies. No copy of the content key or the password is left in memory.
std::vector<std::byte> makeMetadataBlock(const MetadataRequest& request);

}  // namespace krvo::encryption
