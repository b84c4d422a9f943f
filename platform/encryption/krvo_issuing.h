#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/encryption/Secret.h"
#include "platform/encryption/openssl.h"
#include "platform/encryption/status.h"

// The face of the library for tools that make keys.
//
// Makes keys, self-signed certificates and credentials for trials and tests. A service has its own from an authority.
// Failures throw StatusError. Any thread may call these.

namespace krvo::encryption {

enum class KeyType { kRsa2048, kEcP256 };
/// What the certificate's key usage allows: digitalSignature, or keyEncipherment (RSA) and keyAgreement (EC).
enum class CertificateUse { kSigning, kKeyWrapping };

/// Makes a new key; RSA takes up to a second.
KeyPtr generateKey(KeyType type);
/// A key for samples.
Secret generateContentKey();
/// Random bytes, for passwords and names.
Secret randomBytes(std::size_t size);

/// Makes a self-signed certificate of version 3 (RFC 5280) for `key`, valid from now plus `fromDays` to now plus
/// `toDays`; both may be negative, for a certificate that has expired. `commonName` has at most 64 characters.
CertificatePtr issueCertificate(EVP_PKEY& key, const std::string& commonName, CertificateUse use, int fromDays,
                                int toDays);

/// PEM (RFC 7468).
std::string certificatePem(X509& certificate);
/// PKCS#8 in PEM, not encrypted: the caller restricts who can read the file.
Secret privateKeyPem(EVP_PKEY& key);

/// Makes a PKCS#12 structure (RFC 7292) of key and certificate, AES-256-CBC under the password. Either may be null,
/// which tests use.
std::vector<std::byte> makeCredential(EVP_PKEY* key, X509* certificate, const std::string& password);

}  // namespace krvo::encryption
