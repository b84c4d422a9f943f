#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

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

/// What a metadata block says, all of it under the signature.
struct OpenedMetadata {
  Secret key;
  std::string contentId;
  std::string licenseServerUrl;
  std::vector<std::vector<std::byte>> policies;
  /// In DER.
  std::vector<std::byte> transportCertificate;
  /// The subject of the signer's certificate, on one line, and the SHA-256 of the certificate in hex. That it is one to
  /// trust is for the caller to say.
  std::string signer;
  std::string signerFingerprint;
};

/// Holds the signature against the certificate inside, and opens the key with that of the license server. Throws
/// UnprotectError for a block that is malformed, changed, put together from several, or made for another key.
OpenedMetadata openMetadataBlock(std::span<const std::byte> block, EVP_PKEY& licenseServerKey);

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
