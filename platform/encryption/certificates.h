#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "platform/encryption/krvo_rkx.h"
#include "platform/encryption/openssl.h"

// Certificates and credentials as a recording is given them, checked. Failures are StatusErrors.

namespace krvo::encryption {

/// One X.509 certificate in DER, or the first one in PEM. Anything else is answered by `malformed`; one that is not
/// valid now by kRKXCertificateExpired.
CertificatePtr readCertificate(std::span<const std::byte> file, RKXStatus malformed);

/// One whose key can wrap a key: RSA from 2048 bits on, or elliptic curves, and no key usage that forbids it.
CertificatePtr readLicenseServerCertificate(std::span<const std::byte> file);

std::vector<std::byte> derOf(X509& certificate);

using Digest = std::array<std::byte, 32>;
Digest sha256(std::span<const std::byte> bytes);

/// What a packager signs with.
struct Credential {
  KeyPtr key;
  CertificatePtr certificate;
  /// Further ones that the file holds: those that vouch for the certificate.
  CertificatesPtr chain;
};

/// Opens a PKCS#12 structure (RFC 7292).
Credential readCredential(std::span<const std::byte> file, std::string_view password);

}  // namespace krvo::encryption
