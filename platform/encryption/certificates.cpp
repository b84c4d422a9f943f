#include "platform/encryption/certificates.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/encryption/Secret.h"
#include "platform/encryption/status.h"
#include "util/bytes.h"

namespace krvo::encryption {
namespace {

constexpr int kSmallestRsaKey = 2048;

/// In the place of OpenSSL's own callback, which would ask on the terminal and so block a host.
int refusePassword(char*, int, int, void*) {
  return -1;
}

CertificatePtr parseCertificate(std::span<const std::byte> file) {
  const auto* at = raw(file.data());
  CertificatePtr certificate(d2i_X509(nullptr, &at, static_cast<long>(file.size())));
  // Bytes after the certificate mean that the file is something else, which only begins like one.
  if (certificate && at == raw(file.data()) + file.size()) return certificate;
  return CertificatePtr(PEM_read_bio_X509(readingBio(file).get(), nullptr, refusePassword, nullptr));
}

/// By the clock of this machine, without tolerance: a certificate that begins tomorrow is refused today.
bool isValidNow(const X509& certificate) {
  return X509_cmp_time(X509_get0_notBefore(&certificate), nullptr) < 0 &&
         X509_cmp_time(X509_get0_notAfter(&certificate), nullptr) > 0;
}

/// X509_get_key_usage() returns all ones for a certificate without the extension, which allows every use.
bool mayBeUsed(X509& certificate, std::uint32_t usages) {
  return (X509_get_key_usage(&certificate) & usages) != 0;
}

bool canWrapKeys(X509& certificate) {
  const EVP_PKEY* const key = X509_get0_pubkey(&certificate);
  if (key == nullptr) return false;
  if (EVP_PKEY_is_a(key, "RSA") == 1) {
    return EVP_PKEY_get_bits(key) >= kSmallestRsaKey && mayBeUsed(certificate, KU_KEY_ENCIPHERMENT);
  }
  return EVP_PKEY_is_a(key, "EC") == 1 && mayBeUsed(certificate, KU_KEY_AGREEMENT);
}

/// The password with the terminator that OpenSSL demands, in memory that is wiped.
Secret terminated(std::string_view password) {
  Secret text(password.size() + 1);
  const auto characters = qvs::util::asBytes(password);
  std::copy(characters.begin(), characters.end(), text.bytes().begin());
  return text;
}

/// True also for a structure without a MAC, which gives no way to check a password.
bool isPassword(PKCS12& structure, const char* password) {
  return PKCS12_mac_present(&structure) != 1 || PKCS12_verify_mac(&structure, password, -1) == 1;
}

}  // namespace

CertificatePtr readCertificate(std::span<const std::byte> file, RKXStatus malformed) {
  CertificatePtr certificate = parseCertificate(file);
  require(certificate != nullptr, malformed);
  require(isValidNow(*certificate), kRKXCertificateExpired);
  return certificate;
}

CertificatePtr readLicenseServerCertificate(std::span<const std::byte> file) {
  CertificatePtr certificate = readCertificate(file, kRKXBadLicenseServerCertificate);
  require(canWrapKeys(*certificate), kRKXBadLicenseServerCertificate);
  return certificate;
}

std::vector<std::byte> derOf(X509& certificate) {
  const int size = i2d_X509(&certificate, nullptr);
  requireOpenssl(size > 0);
  std::vector<std::byte> der(static_cast<std::size_t>(size));
  auto* at = raw(der.data());
  requireOpenssl(i2d_X509(&certificate, &at) == size);
  return der;
}

Digest sha256(std::span<const std::byte> bytes) {
  Digest digest{};
  requireOpenssl(EVP_Digest(bytes.data(), bytes.size(), raw(digest.data()), nullptr, EVP_sha256(), nullptr) == 1);
  return digest;
}

Credential readCredential(std::span<const std::byte> file, std::string_view password) {
  const auto* at = raw(file.data());
  const Pkcs12Ptr structure(d2i_PKCS12(nullptr, &at, static_cast<long>(file.size())));
  require(structure != nullptr, kRKXBadCredential);
  // OpenSSL would take only the part before a zero byte as the password.
  require(password.find('\0') == std::string_view::npos, kRKXBadPassword);
  const Secret text = terminated(password);
  const auto* const characters = reinterpret_cast<const char*>(text.bytes().data());
  // Checked before the parse, which reports a wrong password and a damaged file by one error.
  require(isPassword(*structure, characters), kRKXBadPassword);

  EVP_PKEY* key = nullptr;
  X509* certificate = nullptr;
  STACK_OF(X509)* others = nullptr;
  // Owned before anything is checked, so that nothing leaks when a check throws.
  const bool opened = PKCS12_parse(structure.get(), characters, &key, &certificate, &others) == 1;
  Credential credential{KeyPtr(key), CertificatePtr(certificate), CertificatesPtr(others)};
  require(opened && credential.key != nullptr, kRKXBadCredential);
  // PKCS12_parse() returns a certificate only if it belongs to the key; a file with others is a mismatch.
  if (credential.certificate == nullptr) {
    require(sk_X509_num(credential.chain.get()) <= 0, kRKXCredentialMismatch);
    throw StatusError(kRKXBadCredential);
  }
  require(isValidNow(*credential.certificate), kRKXCertificateExpired);
  require(mayBeUsed(*credential.certificate, KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION), kRKXBadCredential);
  return credential;
}

}  // namespace krvo::encryption
