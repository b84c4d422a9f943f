#include "tests/support/ProtectionSet.h"

#include <gtest/gtest.h>

#include "util/bytes.h"

namespace test {

using namespace krvo::encryption;

std::vector<std::byte> bytesOf(std::string_view text) {
  const auto bytes = qvs::util::asBytes(text);
  return {bytes.begin(), bytes.end()};
}

ProtectionSet::ProtectionSet(KeyType licenseServerKeyType)
    : key(bytesOf("a key of 16 byte")), policy(bytesOf("play until 2030")) {
  const auto licenseServer = generateKey(licenseServerKeyType);
  const auto pem = privateKeyPem(*licenseServer);
  licenseServerKey.assign(pem.bytes().begin(), pem.bytes().end());
  licenseServerCertificate = bytesOf(
      certificatePem(*issueCertificate(*licenseServer, "license server", CertificateUse::kKeyWrapping, -1, 30)));
  const auto transport = generateKey(KeyType::kEcP256);
  transportCertificate =
      bytesOf(certificatePem(*issueCertificate(*transport, "transport", CertificateUse::kKeyWrapping, -1, 30)));
  const auto packager = generateKey(KeyType::kEcP256);
  const auto certificate = issueCertificate(*packager, "packager", CertificateUse::kSigning, -1, 30);
  credential = makeCredential(packager.get(), certificate.get(), password);
}

const std::uint8_t* raw(std::span<const std::byte> bytes) {
  return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

std::uint32_t sizeOf(std::span<const std::byte> bytes) {
  return static_cast<std::uint32_t>(bytes.size());
}

const RKXEncryptorInterface& encryptorTable() {
  const RKXEncryptorInterface* table = nullptr;
  EXPECT_EQ(RKX_GetEncryptorInterface(&table), kRKXOk);
  return *table;
}

const RKXMetadataInterface& metadataTable() {
  const RKXMetadataInterface* table = nullptr;
  EXPECT_EQ(RKX_GetMetadataInterface(&table), kRKXOk);
  return *table;
}

RkxPtr makeEncryptor(std::span<const std::byte> key, RKXEncryptionOptions options) {
  RKXObject* made = nullptr;
  EXPECT_EQ(encryptorTable().createEncryptor(&made, raw(key), sizeOf(key), "stream-1", 8, &options, 1, 0), kRKXOk);
  return RkxPtr(made);
}

RKXStatus makeMetadata(const ProtectionSet& set, std::vector<std::byte>* block) {
  const auto encryptor = makeEncryptor(set.key);
  const RKXPolicy policy{raw(set.policy), sizeOf(set.policy)};
  const RKXPolicyList policies{&policy, 1};
  RKXObject* made = nullptr;
  const auto status = encryptorTable().createMetadata(
      encryptor.get(), set.url.data(), static_cast<std::uint32_t>(set.url.size()), raw(set.transportCertificate),
      sizeOf(set.transportCertificate), raw(set.licenseServerCertificate), sizeOf(set.licenseServerCertificate),
      raw(set.credential), sizeOf(set.credential), set.password.data(), static_cast<std::uint32_t>(set.password.size()),
      &policies, 0, &made);
  const RkxPtr metadata(made);
  if (status != kRKXOk) return status;
  std::uint32_t size = 0;
  EXPECT_EQ(metadataTable().metadataSize(made, &size), kRKXOk);
  block->resize(size);
  EXPECT_EQ(metadataTable().copyMetadata(made, reinterpret_cast<std::uint8_t*>(block->data()), &size), kRKXOk);
  return status;
}

}  // namespace test
