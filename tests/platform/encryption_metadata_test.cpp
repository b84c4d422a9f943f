#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "platform/encryption/MetadataContent.h"
#include "platform/encryption/unprotect.h"
#include "tests/support/ProtectionSet.h"
#include "tests/support/hex.h"

namespace {

using namespace krvo::encryption;
using test::bytesOf;
using test::makeMetadata;
using test::ProtectionSet;

struct Issued {
  Issued(KeyType type, CertificateUse use, int fromDays, int toDays)
      : key(generateKey(type)), certificate(issueCertificate(*key, "someone", use, fromDays, toDays)) {}

  std::vector<std::byte> pem() const { return bytesOf(certificatePem(*certificate)); }
  std::vector<std::byte> credential(const std::string& password) const {
    return makeCredential(key.get(), certificate.get(), password);
  }

  KeyPtr key;
  CertificatePtr certificate;
};

Issued wrapping(KeyType type, int fromDays, int toDays) {
  return {type, CertificateUse::kKeyWrapping, fromDays, toDays};
}

Issued signing(int fromDays = -1, int toDays = 9, KeyType type = KeyType::kEcP256) {
  return {type, CertificateUse::kSigning, fromDays, toDays};
}

template <auto write, typename Structure>
std::vector<std::byte> encoded(Structure* structure) {
  std::vector<std::byte> der(static_cast<std::size_t>(write(structure, nullptr)));
  auto* at = raw(der.data());
  write(structure, &at);
  return der;
}

/// A credential of a key and a certificate that are not of one pair: the certificate stands with the further ones.
std::vector<std::byte> mismatchedCredential(const Issued& own, const Issued& other, const std::string& password) {
  const CertificatesPtr others(sk_X509_new_null());
  X509_up_ref(other.certificate.get());
  sk_X509_push(others.get(), other.certificate.get());
  const Pkcs12Ptr structure(PKCS12_create(password.c_str(), "packager", own.key.get(), nullptr, others.get(),
                                          NID_aes_256_cbc, NID_aes_256_cbc, 0, 0, 0));
  return encoded<i2d_PKCS12>(structure.get());
}

/// A block of the content, signed by the credential.
std::vector<std::byte> signedBlock(const std::vector<std::byte>& content, const Issued& signer) {
  const CmsPtr structure(
      CMS_sign(signer.certificate.get(), signer.key.get(), nullptr, readingBio(content).get(), CMS_BINARY));
  return encoded<i2d_CMS_ContentInfo>(structure.get());
}

std::vector<std::byte> blockOf(const ProtectionSet& set) {
  std::vector<std::byte> block;
  EXPECT_EQ(makeMetadata(set, &block), kRKXOk);
  return block;
}

TEST(CreateMetadata, CanBeOpenedByTheLicenseServer) {
  for (const auto type : {KeyType::kRsa2048, KeyType::kEcP256}) {
    const ProtectionSet set(type);
    const auto verified = verifyMetadataBlock(blockOf(set));
    const auto& statement = verified.content.statement;
    EXPECT_EQ(statement.contentId, set.contentId);
    EXPECT_EQ(statement.licenseServerUrl, set.url);
    EXPECT_EQ(statement.policies, (std::vector<std::vector<std::byte>>{set.policy}));
    EXPECT_EQ(verified.signer, "CN=packager");
    EXPECT_EQ(verified.signerFingerprint.size(), 64U);
    const auto key = openContentKey(verified, *readPrivateKey(set.licenseServerKey));
    EXPECT_EQ(test::hex(key.bytes()), test::hex(set.key));
    EXPECT_EQ(ERR_peek_error(), 0U);
  }
}

TEST(CreateMetadata, HoldsNoByteRunOfTheKey) {
  const ProtectionSet set;
  const auto block = blockOf(set);
  for (std::size_t at = 0; at + 4 <= set.key.size(); ++at) {
    EXPECT_TRUE(std::ranges::search(block, std::span(set.key).subspan(at, 4)).empty()) << at;
  }
}

// One row for each status number that an input can earn.
TEST(CreateMetadata, RefusesEachBadInputWithItsOwnNumber) {
  const struct {
    const char* why;
    RKXStatus status;
    std::function<void(ProtectionSet&)> spoil;
  } rows[] = {
      {"no URL", kRKXBadLicenseServerUrl, [](auto& set) { set.url = ""; }},
      {"another scheme", kRKXBadLicenseServerUrl, [](auto& set) { set.url = "ftp://license.example"; }},
      {"no host", kRKXBadLicenseServerUrl, [](auto& set) { set.url = "https:///v2"; }},
      {"a blank", kRKXBadLicenseServerUrl, [](auto& set) { set.url = "https://license example"; }},
      {"an empty transport certificate", kRKXBadTransportCertificate,
       [](auto& set) { set.transportCertificate.clear(); }},
      {"no transport certificate", kRKXBadTransportCertificate,
       [](auto& set) { set.transportCertificate = bytesOf("-----BEGIN CERTIFICATE-----\n"); }},
      {"an old transport certificate", kRKXCertificateExpired,
       [](auto& set) { set.transportCertificate = wrapping(KeyType::kEcP256, -9, -1).pem(); }},
      {"no license server certificate", kRKXBadLicenseServerCertificate,
       [](auto& set) { set.licenseServerCertificate = set.credential; }},
      {"a license server certificate that may not wrap", kRKXBadLicenseServerCertificate,
       [](auto& set) { set.licenseServerCertificate = signing(-1, 9, KeyType::kRsa2048).pem(); }},
      {"a license server certificate of tomorrow", kRKXCertificateExpired,
       [](auto& set) { set.licenseServerCertificate = wrapping(KeyType::kRsa2048, 1, 9).pem(); }},
      {"no credential", kRKXBadCredential, [](auto& set) { set.credential = set.transportCertificate; }},
      {"a cut credential", kRKXBadCredential, [](auto& set) { set.credential.pop_back(); }},
      {"a credential without a key", kRKXBadCredential,
       [](auto& set) { set.credential = makeCredential(nullptr, signing().certificate.get(), set.password); }},
      {"a credential without a certificate", kRKXBadCredential,
       [](auto& set) { set.credential = makeCredential(signing().key.get(), nullptr, set.password); }},
      {"a credential that may not sign", kRKXBadCredential,
       [](auto& set) { set.credential = wrapping(KeyType::kEcP256, -1, 9).credential(set.password); }},
      {"an old credential", kRKXCertificateExpired,
       [](auto& set) { set.credential = signing(-9, -1).credential(set.password); }},
      {"the certificate of another key", kRKXCredentialMismatch,
       [](auto& set) { set.credential = mismatchedCredential(signing(), signing(), set.password); }},
      {"a wrong password", kRKXBadPassword, [](auto& set) { set.password = "close sesame"; }},
      {"an empty password", kRKXBadPassword, [](auto& set) { set.password = ""; }},
      {"a password with a zero in it", kRKXBadPassword, [](auto& set) { set.password += std::string(1, '\0'); }},
      {"an empty policy", kRKXBadPolicy, [](auto& set) { set.policy.clear(); }},
      {"a policy too long", kRKXBadPolicy, [](auto& set) { set.policy.resize((1 << 20) + 1); }},
      {"a policy of a mebibyte", kRKXOk, [](auto& set) { set.policy.resize(1 << 20); }}};
  const ProtectionSet good;
  for (const auto& row : rows) {
    ProtectionSet set = good;
    row.spoil(set);
    std::vector<std::byte> block;
    EXPECT_EQ(makeMetadata(set, &block), row.status) << row.why;
    EXPECT_EQ(ERR_peek_error(), 0U) << row.why;
  }
}

std::string reasonOf(const std::vector<std::byte>& block, EVP_PKEY& key) {
  try {
    openContentKey(verifyMetadataBlock(block), key);
    return "opened";
  } catch (const UnprotectError& error) {
    return error.what();
  }
}

TEST(OpenMetadataBlock, SaysWhyNot) {
  const ProtectionSet set;
  const auto key = readPrivateKey(set.licenseServerKey);
  const auto block = blockOf(set);
  auto changed = block;
  std::ranges::search(changed, bytesOf(set.contentId)).front() = std::byte{'S'};
  auto longer = block;
  longer.push_back(std::byte{0});
  EXPECT_EQ(reasonOf(block, *key), "opened");
  EXPECT_EQ(reasonOf(longer, *key), "the metadata is no CMS signed-data");
  EXPECT_EQ(reasonOf(changed, *key), "the signature of the metadata does not match: it has been changed");
  for (const auto type : {KeyType::kRsa2048, KeyType::kEcP256}) {
    EXPECT_EQ(reasonOf(block, *generateKey(type)),
              "the key is not that of the license server the recording was made for");
  }

  // What others signed: the same under another name, and the wrapped key with other words.
  auto content = verifyMetadataBlock(block).content;
  EXPECT_EQ(reasonOf(content.wrappedKey, *key), "the metadata is no CMS signed-data");
  const Issued other = signing();
  const auto forged = [&] {
    return signedBlock(writeMetadataContent(writeStatement(content.statement), content.wrappedKey), other);
  };
  EXPECT_EQ(reasonOf(forged(), *key), "the metadata is signed by another than it names");
  content.statement.signerDigest = sha256(derOf(*other.certificate));
  content.statement.policies = {bytesOf("play for ever")};
  EXPECT_EQ(reasonOf(forged(), *key), "the wrapped key was made for other metadata");
  EXPECT_THROW(verifyMetadataBlock(signedBlock(bytesOf("something"), other)), UnprotectError);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(OpenMetadataBlock, RefusesEveryCutBlock) {
  for (auto block = blockOf(ProtectionSet(KeyType::kEcP256)); !block.empty();) {
    block.pop_back();
    ASSERT_THROW(verifyMetadataBlock(block), UnprotectError) << block.size();
  }
}

}  // namespace
