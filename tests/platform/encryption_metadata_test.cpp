#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
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

std::vector<std::byte> certificateOf(KeyType type, CertificateUse use, int fromDays, int toDays) {
  const auto key = generateKey(type);
  return bytesOf(certificatePem(*issueCertificate(*key, "someone", use, fromDays, toDays)));
}

std::vector<std::byte> credentialOf(int fromDays, int toDays, const std::string& password) {
  const auto key = generateKey(KeyType::kEcP256);
  const auto certificate = issueCertificate(*key, "packager", CertificateUse::kSigning, fromDays, toDays);
  return makeCredential(key.get(), certificate.get(), password);
}

/// As makeCredential(), of a key and a certificate that are not of one pair: the certificate stands with the further
/// ones.
std::vector<std::byte> mismatchedCredential(EVP_PKEY& key, X509& certificate, const std::string& password) {
  const CertificatesPtr others(sk_X509_new_null());
  X509_up_ref(&certificate);
  sk_X509_push(others.get(), &certificate);
  const Pkcs12Ptr structure(PKCS12_create(password.c_str(), "packager", &key, nullptr, others.get(), NID_aes_256_cbc,
                                          NID_aes_256_cbc, 0, 0, 0));
  std::vector<std::byte> der(static_cast<std::size_t>(i2d_PKCS12(structure.get(), nullptr)));
  auto* at = raw(der.data());
  i2d_PKCS12(structure.get(), &at);
  return der;
}

/// A block of the content, signed by the credential.
std::vector<std::byte> signedBlock(const std::vector<std::byte>& content, const Credential& signer) {
  const CmsPtr structure(
      CMS_sign(signer.certificate.get(), signer.key.get(), nullptr, readingBio(content).get(), CMS_BINARY));
  std::vector<std::byte> der(static_cast<std::size_t>(i2d_CMS_ContentInfo(structure.get(), nullptr)));
  auto* at = raw(der.data());
  i2d_CMS_ContentInfo(structure.get(), &at);
  return der;
}

MetadataContent contentOf(const std::vector<std::byte>& block) {
  const auto* at = raw(block.data());
  const CmsPtr structure(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(block.size())));
  const ASN1_OCTET_STRING* const content = *CMS_get0_content(structure.get());
  return readMetadataContent(
      std::as_bytes(std::span(ASN1_STRING_get0_data(content), static_cast<std::size_t>(ASN1_STRING_length(content)))));
}

TEST(CreateMetadata, CanBeOpenedByTheLicenseServer) {
  for (const auto type : {KeyType::kRsa2048, KeyType::kEcP256}) {
    const ProtectionSet set(type);
    std::vector<std::byte> block;
    ASSERT_EQ(makeMetadata(set, &block), kRKXOk);
    const auto verified = verifyMetadataBlock(block);
    const auto& statement = verified.content.statement;
    EXPECT_EQ(statement.contentId, set.contentId);
    EXPECT_EQ(statement.licenseServerUrl, set.url);
    ASSERT_EQ(statement.policies.size(), 1U);
    EXPECT_EQ(statement.policies.front(), set.policy);
    EXPECT_EQ(verified.signer, "CN=packager");
    EXPECT_EQ(verified.signerFingerprint.size(), 64U);
    const auto key = openContentKey(verified, *readPrivateKey(set.licenseServerKey));
    EXPECT_EQ(test::hex(key.bytes()), test::hex(set.key));
    EXPECT_EQ(ERR_peek_error(), 0U);
  }
}

TEST(CreateMetadata, HoldsNoByteRunOfTheKey) {
  const ProtectionSet set;
  std::vector<std::byte> block;
  ASSERT_EQ(makeMetadata(set, &block), kRKXOk);
  for (std::size_t at = 0; at + 4 <= set.key.size(); ++at) {
    const auto* run = set.key.data() + at;
    EXPECT_EQ(std::search(block.begin(), block.end(), run, run + 4), block.end()) << at;
  }
}

// One row for each status number that an input can earn.
TEST(CreateMetadata, RefusesEachBadInputWithItsOwnNumber) {
  using Spoil = std::function<void(ProtectionSet&)>;
  const struct {
    const char* why;
    RKXStatus status;
    Spoil spoil;
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
       [](auto& set) {
         set.transportCertificate = certificateOf(KeyType::kEcP256, CertificateUse::kKeyWrapping, -9, -1);
       }},
      {"no license server certificate", kRKXBadLicenseServerCertificate,
       [](auto& set) { set.licenseServerCertificate = set.credential; }},
      {"a license server certificate that may not wrap", kRKXBadLicenseServerCertificate,
       [](auto& set) {
         set.licenseServerCertificate = certificateOf(KeyType::kRsa2048, CertificateUse::kSigning, -1, 9);
       }},
      {"a license server certificate of tomorrow", kRKXCertificateExpired,
       [](auto& set) {
         set.licenseServerCertificate = certificateOf(KeyType::kRsa2048, CertificateUse::kKeyWrapping, 1, 9);
       }},
      {"no credential", kRKXBadCredential, [](auto& set) { set.credential = set.transportCertificate; }},
      {"a cut credential", kRKXBadCredential, [](auto& set) { set.credential.resize(set.credential.size() - 1); }},
      {"a credential without a key", kRKXBadCredential,
       [](auto& set) {
         const auto key = generateKey(KeyType::kEcP256);
         const auto certificate = issueCertificate(*key, "packager", CertificateUse::kSigning, -1, 9);
         set.credential = makeCredential(nullptr, certificate.get(), set.password);
       }},
      {"a credential without a certificate", kRKXBadCredential,
       [](auto& set) { set.credential = makeCredential(generateKey(KeyType::kEcP256).get(), nullptr, set.password); }},
      {"a credential that may not sign", kRKXBadCredential,
       [](auto& set) {
         const auto key = generateKey(KeyType::kEcP256);
         const auto certificate = issueCertificate(*key, "packager", CertificateUse::kKeyWrapping, -1, 9);
         set.credential = makeCredential(key.get(), certificate.get(), set.password);
       }},
      {"an old credential", kRKXCertificateExpired,
       [](auto& set) { set.credential = credentialOf(-9, -1, set.password); }},
      {"a wrong password", kRKXBadPassword, [](auto& set) { set.password = "close sesame"; }},
      {"an empty password", kRKXBadPassword, [](auto& set) { set.password = ""; }},
      {"a password with a zero in it", kRKXBadPassword, [](auto& set) { set.password += std::string(1, '\0'); }},
      {"an empty policy", kRKXBadPolicy, [](auto& set) { set.policy.clear(); }},
      {"a policy too long", kRKXBadPolicy, [](auto& set) { set.policy.resize((1 << 20) + 1); }},
  };
  const ProtectionSet good;
  for (const auto& row : rows) {
    ProtectionSet set = good;
    row.spoil(set);
    std::vector<std::byte> block;
    EXPECT_EQ(makeMetadata(set, &block), row.status) << row.why;
    EXPECT_EQ(ERR_peek_error(), 0U) << row.why;
  }
}

TEST(CreateMetadata, RefusesACredentialWhoseKeyIsNotThatOfItsCertificate) {
  ProtectionSet set;
  const auto owner = generateKey(KeyType::kEcP256);
  const auto certificate = issueCertificate(*owner, "packager", CertificateUse::kSigning, -1, 9);
  set.credential = mismatchedCredential(*generateKey(KeyType::kEcP256), *certificate, set.password);
  std::vector<std::byte> block;
  EXPECT_EQ(makeMetadata(set, &block), kRKXCredentialMismatch);
}

TEST(CreateMetadata, TakesAPolicyOfAMebibyte) {
  ProtectionSet set;
  set.policy.resize(1 << 20);
  std::vector<std::byte> block;
  ASSERT_EQ(makeMetadata(set, &block), kRKXOk);
  EXPECT_EQ(verifyMetadataBlock(block).content.statement.policies.front(), set.policy);
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
  std::vector<std::byte> block;
  ASSERT_EQ(makeMetadata(set, &block), kRKXOk);
  auto changed = block;
  const auto id = bytesOf(set.contentId);
  *std::search(changed.begin(), changed.end(), id.begin(), id.end()) = std::byte{'S'};
  auto longer = block;
  longer.push_back(std::byte{0});

  EXPECT_EQ(reasonOf({}, *key), "the metadata is no CMS signed-data");
  EXPECT_EQ(reasonOf(longer, *key), "the metadata is no CMS signed-data");
  EXPECT_EQ(reasonOf(contentOf(block).wrappedKey, *key), "the metadata is no CMS signed-data");
  EXPECT_EQ(reasonOf(changed, *key), "the signature of the metadata does not match: it has been changed");
  for (const auto type : {KeyType::kRsa2048, KeyType::kEcP256}) {
    EXPECT_EQ(reasonOf(block, *generateKey(type)),
              "the key is not that of the license server the recording was made for");
  }
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(OpenMetadataBlock, RefusesAKeyThatWasWrappedForOtherMetadata) {
  const ProtectionSet set;
  const auto key = readPrivateKey(set.licenseServerKey);
  std::vector<std::byte> block;
  ASSERT_EQ(makeMetadata(set, &block), kRKXOk);
  auto content = contentOf(block);

  const auto other = readCredential(credentialOf(-1, 9, "pw"), "pw");
  const auto forged = [&](const MetadataStatement& statement) {
    return signedBlock(writeMetadataContent(writeStatement(statement), content.wrappedKey), other);
  };
  EXPECT_EQ(reasonOf(forged(content.statement), *key), "the metadata is signed by another than it names");
  content.statement.signerDigest = sha256(derOf(*other.certificate));
  content.statement.policies = {bytesOf("play for ever")};
  EXPECT_EQ(reasonOf(forged(content.statement), *key), "the wrapped key was made for other metadata");
  EXPECT_THROW(verifyMetadataBlock(signedBlock(bytesOf("something"), other)), UnprotectError);
}

TEST(OpenMetadataBlock, FindsEveryChangedByteOfWhatMatters) {
  const ProtectionSet set(KeyType::kEcP256);
  std::vector<std::byte> block;
  ASSERT_EQ(makeMetadata(set, &block), kRKXOk);
  const auto whole = verifyMetadataBlock(block);
  std::size_t opened = 0;
  for (auto& byte : block) {
    byte ^= std::byte{0x10};
    try {
      const auto read = verifyMetadataBlock(block);
      EXPECT_EQ(read.content.statementDigest, whole.content.statementDigest);
      EXPECT_EQ(read.content.wrappedKey, whole.content.wrappedKey);
      EXPECT_EQ(read.signerFingerprint, whole.signerFingerprint);
      ++opened;
    } catch (const UnprotectError&) {
    }
    byte ^= std::byte{0x10};
  }
  // Fields of the outer structure that CMS leaves unsigned and that change nothing: versions and parameters.
  EXPECT_LT(opened, 24U);
}

TEST(OpenMetadataBlock, RefusesEveryCutBlock) {
  const ProtectionSet set(KeyType::kEcP256);
  std::vector<std::byte> block;
  ASSERT_EQ(makeMetadata(set, &block), kRKXOk);
  while (!block.empty()) {
    block.pop_back();
    ASSERT_THROW(verifyMetadataBlock(block), UnprotectError);
  }
}

}  // namespace
