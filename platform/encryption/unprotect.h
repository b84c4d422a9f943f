#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/encryption/MetadataContent.h"
#include "platform/encryption/SampleCipher.h"
#include "platform/encryption/Secret.h"
#include "platform/encryption/openssl.h"
#include "util/QVSException.h"

// The way back, for whoever holds the license server's private key.

namespace krvo::encryption {

/// A key or a metadata block that gives nothing away, with the reason as its text.
class UnprotectError : public qvs::QVSException {
 public:
  using QVSException::QVSException;
};

/// A private key in PEM or DER, without a password. Throws UnprotectError.
KeyPtr readPrivateKey(std::span<const std::byte> file);

/// What a metadata block says, all of it under the signature of the certificate inside. That this is one to trust is
/// for the caller to say.
struct SignedMetadata {
  MetadataContent content;
  /// The subject of the signer's certificate, on one line.
  std::string signer;
  /// The SHA-256 of that certificate, in hex.
  std::string signerFingerprint;
};

/// Holds the signature against the certificate inside; no key is needed. Throws UnprotectError for a block that is
/// malformed or was changed.
SignedMetadata verifyMetadataBlock(std::span<const std::byte> block);

/// Opens the wrapped key with that of the license server. Throws UnprotectError for the key of another one, and where
/// the wrapped key was made for other metadata.
Secret openContentKey(const SignedMetadata& metadata, EVP_PKEY& licenseServerKey);

/// Decrypts samples under one key. Wipes it when it goes.
class SampleDecipher {
 public:
  /// `key` has kKeySize bytes.
  explicit SampleDecipher(std::span<const std::byte> key);

  /// Nothing for a vector or a cipher text of a wrong size, and for one whose padding is wrong.
  std::optional<std::vector<std::byte>> decrypt(std::span<const std::byte> cipherText,
                                                std::span<const std::byte> vector);

 private:
  CipherContextPtr context_;
};

}  // namespace krvo::encryption
