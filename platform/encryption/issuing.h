#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/encryption/Secret.h"
#include "platform/encryption/openssl.h"

// Making keys, certificates that vouch for themselves, and credentials, for trials and tests. Failures are
// StatusErrors.

namespace krvo::encryption {

enum class KeyType { kRsa2048, kEcP256 };
enum class CertificateUse { kSigning, kKeyWrapping };

KeyPtr generateKey(KeyType type);

/// A self-signed certificate of version 3 (RFC 5280) for `key`, valid from now plus `fromDays` to now plus `toDays`.
CertificatePtr issueCertificate(EVP_PKEY& key, const std::string& commonName, CertificateUse use, int fromDays,
                                int toDays);

std::string certificatePem(X509& certificate);
/// PKCS#8, not encrypted.
Secret privateKeyPem(EVP_PKEY& key);

/// A PKCS#12 structure of key and certificate, AES-256-CBC under the password. Either may be null.
std::vector<std::byte> makeCredential(EVP_PKEY* key, X509* certificate, const std::string& password);

}  // namespace krvo::encryption
