#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "platform/encryption/Secret.h"
#include "platform/encryption/certificates.h"

namespace krvo::encryption {

/// What the signature of a metadata block covers, in DER:
///
///     ProtectionMetadata ::= SEQUENCE {
///       version              INTEGER (1),
///       contentId            OCTET STRING,
///       licenseServerUrl     IA5String,
///       policies             SEQUENCE OF OCTET STRING,
///       transportCertificate Certificate,          -- RFC 5280
///       signerDigest         OCTET STRING,         -- SHA-256 of the signer's certificate
///       wrappedKey           ContentInfo }         -- RFC 5652, enveloped-data that holds a ContentKey
///
///     ContentKey ::= SEQUENCE {
///       key                  OCTET STRING,         -- 16 bytes
///       statementDigest      OCTET STRING }        -- SHA-256 of the six values before wrappedKey, as they stand
///
/// The digest beside the key binds it to what is said of it: a wrapped key that is moved to another block is found out.
struct MetadataStatement {
  std::string contentId;
  std::string licenseServerUrl;
  std::vector<std::vector<std::byte>> policies;
  /// In DER.
  std::vector<std::byte> transportCertificate;
  Digest signerDigest{};
};

struct ContentKey {
  Secret key;
  Digest statementDigest{};
};

struct MetadataContent {
  MetadataStatement statement;
  /// Of the statement as it stands in the content.
  Digest statementDigest{};
  std::vector<std::byte> wrappedKey;
};

/// The six values before the wrapped key.
std::vector<std::byte> writeStatement(const MetadataStatement& statement);
std::vector<std::byte> writeMetadataContent(std::span<const std::byte> statement,
                                            std::span<const std::byte> wrappedKey);
Secret writeContentKey(std::span<const std::byte> key, const Digest& statementDigest);

/// All bytes of `content` are read. Throw qvs::util::MalformedInput for what is not as above.
MetadataContent readMetadataContent(std::span<const std::byte> content);
ContentKey readContentKey(std::span<const std::byte> content);

}  // namespace krvo::encryption
