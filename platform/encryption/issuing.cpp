#include "platform/encryption/krvo_issuing.h"

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include "platform/encryption/SampleCipher.h"
#include "util/bytes.h"

namespace krvo::encryption {
namespace {

constexpr long kSecondsOfDay = 24L * 60 * 60;
constexpr long kVersion3 = 2;  // versions are stored from 0 on
constexpr int kIterations = 10000;

using ExtensionPtr = std::unique_ptr<X509_EXTENSION, Freeing<X509_EXTENSION_free>>;
using SerialPtr = std::unique_ptr<ASN1_INTEGER, Freeing<ASN1_INTEGER_free>>;

/// The content of a memory BIO: a view that is valid until the BIO changes or is freed.
std::span<const std::byte> contentOf(BIO& bio) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(&bio, &data);
  return std::as_bytes(std::span(data, static_cast<std::size_t>(size)));
}

BioPtr writingBio(const BIO_METHOD* method) {
  BioPtr bio(BIO_new(method));
  require(bio != nullptr, kRKXOutOfMemory);
  return bio;
}

void addExtension(X509& certificate, int type, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, &certificate, &certificate, nullptr, nullptr, 0);
  const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, type, value));
  requireOpenssl(extension != nullptr && X509_add_ext(&certificate, extension.get(), -1) == 1);
}

void setSerialNumber(X509& certificate) {
  std::uint64_t number = 0;
  requireOpenssl(RAND_bytes(reinterpret_cast<unsigned char*>(&number), sizeof number) == 1);
  const SerialPtr serial(ASN1_INTEGER_new());
  // RFC 5280, 4.1.2.2: positive, so neither zero nor with the high bit of its eight bytes.
  requireOpenssl(serial != nullptr && ASN1_INTEGER_set_uint64(serial.get(), number >> 1 | 1) == 1);
  requireOpenssl(X509_set_serialNumber(&certificate, serial.get()) == 1);
}

void setNames(X509& certificate, const std::string& commonName) {
  X509_NAME* const name = X509_get_subject_name(&certificate);
  requireOpenssl(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                            reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1,
                                            0) == 1);
  requireOpenssl(X509_set_issuer_name(&certificate, name) == 1);
}

}  // namespace

KeyPtr generateKey(KeyType type) {
  constexpr std::size_t kRsaBits = 2048;
  KeyPtr key(type == KeyType::kRsa2048 ? EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", kRsaBits)
                                       : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  requireOpenssl(key != nullptr);
  return key;
}

Secret generateContentKey() {
  return randomBytes(kKeySize);
}

Secret randomBytes(std::size_t size) {
  Secret bytes(size);
  requireOpenssl(RAND_bytes(raw(bytes.bytes().data()), qvs::util::narrow<int>(size)) == 1);
  return bytes;
}

CertificatePtr issueCertificate(EVP_PKEY& key, const std::string& commonName, CertificateUse use, int fromDays,
                                int toDays) {
  CertificatePtr certificate(X509_new());
  require(certificate != nullptr, kRKXOutOfMemory);
  requireOpenssl(X509_set_version(certificate.get(), kVersion3) == 1);
  setSerialNumber(*certificate);
  setNames(*certificate, commonName);
  requireOpenssl(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), fromDays * kSecondsOfDay) != nullptr);
  requireOpenssl(X509_gmtime_adj(X509_getm_notAfter(certificate.get()), toDays * kSecondsOfDay) != nullptr);
  requireOpenssl(X509_set_pubkey(certificate.get(), &key) == 1);
  const bool wraps = use == CertificateUse::kKeyWrapping;
  // Both usages of wrapping, for both types of key: a reader looks at the one for its type.
  addExtension(*certificate, NID_key_usage,
               wraps ? "critical,keyEncipherment,keyAgreement" : "critical,digitalSignature");
  addExtension(*certificate, NID_subject_key_identifier, "hash");
  requireOpenssl(X509_sign(certificate.get(), &key, EVP_sha256()) > 0);
  return certificate;
}

std::string certificatePem(X509& certificate) {
  const BioPtr out = writingBio(BIO_s_mem());
  requireOpenssl(PEM_write_bio_X509(out.get(), &certificate) == 1);
  const auto text = contentOf(*out);
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

Secret privateKeyPem(EVP_PKEY& key) {
  const BioPtr out = writingBio(BIO_s_secmem());  // BIO_s_mem() would leave copies of the key when it grows
  requireOpenssl(PEM_write_bio_PKCS8PrivateKey(out.get(), &key, nullptr, nullptr, 0, nullptr, nullptr) == 1);
  return Secret(contentOf(*out));
}

std::vector<std::byte> makeCredential(EVP_PKEY* key, X509* certificate, const std::string& password) {
  const Pkcs12Ptr structure(PKCS12_create(password.c_str(), "packager", key, certificate, nullptr, NID_aes_256_cbc,
                                          NID_aes_256_cbc, kIterations, kIterations, 0));
  requireOpenssl(structure != nullptr);
  const BioPtr out = writingBio(BIO_s_mem());
  requireOpenssl(i2d_PKCS12_bio(out.get(), structure.get()) == 1);
  const auto der = contentOf(*out);
  return {der.begin(), der.end()};
}

}  // namespace krvo::encryption
