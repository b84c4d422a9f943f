#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "platform/encryption/Secret.h"
#include "platform/encryption/certificates.h"

namespace krvo::encryption {

/// The first six values of the content that a metadata block signs, in DER (ITU-T X.690):
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
/// The statement is in the clear, because a player needs content and license server before it has a key. The digest
/// next to the key binds the two: a wrapped key that was moved to another block is detected. All of these are plain
/// values.
struct MetadataStatement {
  /// Bytes, usually text; 1 to 65536.
  std::string contentId;
  std::string licenseServerUrl;
  /// In the order of the settings.
  std::vector<std::vector<std::byte>> policies;
  /// In DER. Not checked against anything when it is read.
  std::vector<std::byte> transportCertificate;
  /// Of the certificate in DER; the signature alone would not say who was meant to sign.
  Digest signerDigest{};
};

/// The content of the envelope.
struct ContentKey {
  /// kKeySize bytes.
  Secret key;
  Digest statementDigest{};
};

/// The whole content, as it was read.
struct MetadataContent {
  MetadataStatement statement;
  /// SHA-256 of the statement's bytes in the content, not of a statement written anew.
  Digest statementDigest{};
  /// The ContentInfo with the enveloped-data, in DER.
  std::vector<std::byte> wrappedKey;
};

/// Returns the six values before the wrapped key, without the sequence around them.
std::vector<std::byte> writeStatement(const MetadataStatement& statement);
/// Returns the whole sequence. `statement` is from writeStatement(), `wrappedKey` a ContentInfo in DER.
std::vector<std::byte> writeMetadataContent(std::span<const std::byte> statement,
                                            std::span<const std::byte> wrappedKey);
Secret writeContentKey(std::span<const std::byte> key, const Digest& statementDigest);

/// These read a whole sequence. They throw qvs::util::MalformedInput for anything that is not exactly as above, bytes
/// after the last value included.
MetadataContent readMetadataContent(std::span<const std::byte> content);
ContentKey readContentKey(std::span<const std::byte> content);

}  // namespace krvo::encryption
