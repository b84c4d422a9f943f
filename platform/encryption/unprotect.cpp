#include "platform/encryption/krvo_unprotect.h"

#include <openssl/pem.h>

#include "platform/encryption/certificates.h"
#include "platform/encryption/status.h"
#include "util/bytes.h"

namespace krvo::encryption {
namespace {

void expect(bool condition, const char* otherwise) {
  if (!condition) throw UnprotectError(otherwise);
}

CmsPtr readStructure(std::span<const std::byte> der, int type, const char* otherwise) {
  const auto* at = raw(der.data());
  CmsPtr structure(d2i_CMS_ContentInfo(nullptr, &at, qvs::util::narrow<long>(der.size())));
  // To the last byte: what follows the structure would not be covered by its signature.
  expect(structure && at == raw(der.data()) + der.size(), otherwise);
  expect(OBJ_obj2nid(CMS_get0_type(structure.get())) == type, otherwise);
  return structure;
}

/// The signer's certificate is taken from the block and not checked against any authority: the statement names it by
/// its digest, and the caller decides whether to trust it.
std::vector<std::byte> verifiedContent(CMS_ContentInfo& structure) {
  constexpr unsigned kFlags = CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY;
  const BioPtr out(BIO_new(BIO_s_mem()));
  require(out != nullptr, kRKXOutOfMemory);
  // One signer, since the statement names one; CMS_verify() would accept none as well.
  expect(sk_CMS_SignerInfo_num(CMS_get0_SignerInfos(&structure)) == 1, "the metadata is not signed by one signer");
  expect(CMS_verify(&structure, nullptr, nullptr, nullptr, out.get(), kFlags) == 1,
         "the signature of the metadata does not match: it has been changed");
  char* data = nullptr;
  const long size = BIO_get_mem_data(out.get(), &data);
  const auto content = std::as_bytes(std::span(data, static_cast<std::size_t>(size)));
  return {content.begin(), content.end()};
}

/// Only for a structure that CMS_verify() has accepted: it is what finds the signer's certificate.
CertificatePtr signerOf(CMS_ContentInfo& structure) {
  X509* certificate = nullptr;
  CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(&structure), 0), nullptr, &certificate, nullptr,
                           nullptr);
  expect(certificate != nullptr && X509_up_ref(certificate) == 1, "the metadata has no certificate of its signer");
  return CertificatePtr(certificate);
}

std::string subjectOf(const X509& certificate) {
  const BioPtr out(BIO_new(BIO_s_mem()));
  require(out != nullptr, kRKXOutOfMemory);
  X509_NAME_print_ex(out.get(), X509_get_subject_name(&certificate), 0, XN_FLAG_RFC2253);
  char* data = nullptr;
  const long size = BIO_get_mem_data(out.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

/// Returns the content of the envelope, or nothing if it cannot be opened or is too long for a ContentKey. A wrong key
/// may be found out here or only by the content: OpenSSL returns random bytes on purpose, against padding oracles.
std::optional<Secret> openEnvelope(CMS_ContentInfo& structure, EVP_PKEY& key) {
  constexpr std::size_t kRoom = 256;
  if (CMS_decrypt_set1_pkey(&structure, &key, nullptr) != 1) return std::nullopt;
  const BioPtr cipher(CMS_dataInit(&structure, nullptr));
  if (!cipher) return std::nullopt;
  Secret content(kRoom);
  std::size_t size = 0;
  for (std::size_t got = 0; size < kRoom; size += got) {
    if (BIO_read_ex(cipher.get(), content.bytes().data() + size, kRoom - size, &got) != 1) break;
  }
  // Without the status a wrong padding would look like the end of the content.
  if (size == kRoom || BIO_get_cipher_status(cipher.get()) != 1) return std::nullopt;
  return Secret(std::span<const std::byte>(content.bytes()).first(size));
}

ContentKey unwrapKey(std::span<const std::byte> wrapped, EVP_PKEY& licenseServerKey) {
  const auto envelope = readStructure(wrapped, NID_pkcs7_enveloped, "the wrapped key is no CMS enveloped-data");
  // One text for all failures: to the user they mean the same, and an attacker learns nothing.
  const auto opened = openEnvelope(*envelope, licenseServerKey);
  constexpr const char* kWrongKey = "the key is not that of the license server the recording was made for";
  expect(opened.has_value(), kWrongKey);
  try {
    return readContentKey(opened->bytes());
  } catch (const qvs::util::MalformedInput&) {
    throw UnprotectError(kWrongKey);
  }
}

MetadataContent readContent(std::span<const std::byte> content) {
  try {
    return readMetadataContent(content);
  } catch (const qvs::util::MalformedInput& error) {
    throw UnprotectError(std::string("the metadata is malformed: ") + error.what());
  }
}

}  // namespace

KeyPtr readPrivateKey(std::span<const std::byte> file) {
  const ErrorQueueScope errors;
  // A prompt of OpenSSL would stop a script for ever.
  const auto refusePassword = [](char*, int, int, void*) { return -1; };
  KeyPtr key(PEM_read_bio_PrivateKey(readingBio(file).get(), nullptr, refusePassword, nullptr));
  if (!key) {
    const auto* at = raw(file.data());
    key.reset(d2i_AutoPrivateKey(nullptr, &at, qvs::util::narrow<long>(file.size())));
  }
  expect(key != nullptr, "no private key in PEM or DER without a password");
  return key;
}

SignedMetadata verifyMetadataBlock(std::span<const std::byte> block) {
  const ErrorQueueScope errors;
  const auto structure = readStructure(block, NID_pkcs7_signed, "the metadata is no CMS signed-data");
  auto content = readContent(verifiedContent(*structure));
  const auto signer = signerOf(*structure);
  const auto fingerprint = sha256(derOf(*signer));
  expect(fingerprint == content.statement.signerDigest,
         "the metadata names another certificate than the one that signed it");
  return {std::move(content), subjectOf(*signer), fingerprint};
}

Secret openContentKey(const SignedMetadata& metadata, EVP_PKEY& licenseServerKey) {
  const ErrorQueueScope errors;
  auto contentKey = unwrapKey(metadata.content.wrappedKey, licenseServerKey);
  expect(contentKey.statementDigest == metadata.content.statementDigest, "the wrapped key was made for other metadata");
  return std::move(contentKey.key);
}

SampleDecipher::SampleDecipher(std::span<const std::byte> key) : context_(EVP_CIPHER_CTX_new()) {
  require(context_ != nullptr, kRKXOutOfMemory);
  require(key.size() == kKeySize, kRKXBadKeyLength);
  requireOpenssl(EVP_DecryptInit_ex2(context_.get(), EVP_aes_128_cbc(), raw(key.data()), nullptr, nullptr) == 1);
}

std::optional<std::vector<std::byte>> SampleDecipher::decrypt(std::span<const std::byte> cipherText,
                                                              std::span<const std::byte> vector) {
  const ErrorQueueScope errors;
  if (vector.size() != kVectorSize || cipherText.empty() || cipherText.size() % kCipherBlock != 0) return std::nullopt;
  std::vector<std::byte> sample(cipherText.size() + kCipherBlock);  // OpenSSL may write a block more than it keeps
  requireOpenssl(EVP_DecryptInit_ex2(context_.get(), nullptr, nullptr, raw(vector.data()), nullptr) == 1);
  int written = 0;
  requireOpenssl(EVP_DecryptUpdate(context_.get(), raw(sample.data()), &written, raw(cipherText.data()),
                                   qvs::util::narrow<int>(cipherText.size())) == 1);
  int last = 0;
  // A wrong padding is the reader's only sign of a wrong key, so it is a result and not an exception.
  if (EVP_DecryptFinal_ex(context_.get(), raw(sample.data()) + written, &last) != 1) return std::nullopt;
  sample.resize(static_cast<std::size_t>(written) + static_cast<std::size_t>(last));
  return sample;
}

}  // namespace krvo::encryption
