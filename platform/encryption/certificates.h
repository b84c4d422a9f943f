#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "platform/encryption/krvo_rkx.h"
#include "platform/encryption/openssl.h"

// Reads and checks the certificates and credentials of a recording. Failures throw StatusError. No chain of trust is
// checked: the operator chooses the files. Any thread may call these.

namespace krvo::encryption {

/// Reads one X.509 certificate (RFC 5280) in DER, or the first one in PEM. Throws the status `malformed` for anything
/// else, and kRKXCertificateExpired for one that is not valid now.
///
/// `file` may come from anybody: no password is asked for, and nothing is fetched from the network.
CertificatePtr readCertificate(std::span<const std::byte> file, RKXStatus malformed);

/// Reads a certificate whose key can wrap a key: RSA of 2048 bits or more, or elliptic curves, and no key usage that
/// forbids it. Throws kRKXBadLicenseServerCertificate for any other.
CertificatePtr readLicenseServerCertificate(std::span<const std::byte> file);

/// The certificate's DER; what its fingerprint is computed over.
std::vector<std::byte> derOf(X509& certificate);

/// A SHA-256 digest (FIPS 180-4).
using Digest = std::array<std::byte, 32>;
Digest sha256(std::span<const std::byte> bytes);

/// The key and certificate with which the metadata are signed.
struct Credential {
  KeyPtr key;
  /// The one that belongs to `key`; valid now, and its key usage allows signatures.
  CertificatePtr certificate;
  /// Further certificates in the file, usually of the issuers; null if there are none.
  CertificatesPtr chain;
};

/// Opens a PKCS#12 structure (RFC 7292) in DER. The password is UTF-8 and may be empty. Throws kRKXBadCredential,
/// kRKXBadPassword, kRKXCredentialMismatch or kRKXCertificateExpired.
Credential readCredential(std::span<const std::byte> file, std::string_view password);

}  // namespace krvo::encryption
