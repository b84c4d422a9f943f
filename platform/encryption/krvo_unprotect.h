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

// Beside krvo_rkx.h the face of the library for tools.
//
// The reverse of the protection, for those who have the license server's private key. Functions throw UnprotectError
// with a reason for a user, and std::bad_alloc; OpenSSL's error queue is left as it was. Any thread may call them.

namespace krvo::encryption {

/// Thrown for a key or a metadata block that cannot be used. The text is for the user and contains nothing secret.
class UnprotectError : public qvs::QVSException {
 public:
  using QVSException::QVSException;
};

/// Reads a private key in PEM (RFC 7468) or DER, without a password: a prompt would stop a script. Throws
/// UnprotectError for anything else.
/// The key is in memory of OpenSSL, which wipes it when it is freed but cannot lock it.
KeyPtr readPrivateKey(std::span<const std::byte> file);

/// The content of a metadata block whose signature matches the certificate inside. Whether that certificate is to be
/// trusted is the caller's decision: anyone can sign a block with a certificate of their own.
struct SignedMetadata {
  MetadataContent content;
  /// The subject of the signer's certificate, on one line.
  std::string signer;
  /// The SHA-256 of that certificate.
  Digest signerFingerprint{};
};

/// Checks the signature of a block (RFC 5652, 5.4 to 5.6) against the certificate inside; no key is needed. Throws
/// UnprotectError for a block that is malformed or was changed. Does not check dates: a recording outlives
/// certificates.
SignedMetadata verifyMetadataBlock(std::span<const std::byte> block);

/// Opens the wrapped content key with the private key of the license server. Throws UnprotectError for the key of
/// another server, and if the wrapped key was made for other metadata.
Secret openContentKey(const SignedMetadata& metadata, EVP_PKEY& licenseServerKey);

/// Decrypts samples under one key, which OpenSSL wipes with the object. Belongs to one thread at a time.
class SampleDecipher {
 public:
  /// `key` has kKeySize bytes and is not needed any more afterwards.
  explicit SampleDecipher(std::span<const std::byte> key);

  /// Returns the sample, or nothing if the vector or the cipher text has a wrong size or the padding is wrong. CBC
  /// cannot detect other changes: a damaged sample may come out as noise.
  std::optional<std::vector<std::byte>> decrypt(std::span<const std::byte> cipherText,
                                                std::span<const std::byte> vector);

 private:
  /// With the key schedule; each sample sets only its vector.
  CipherContextPtr context_;
};

}  // namespace krvo::encryption
