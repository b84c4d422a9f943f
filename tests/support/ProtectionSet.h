#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/encryption/krvo_issuing.h"
#include "platform/encryption/krvo_rkx.h"

namespace test {

/// All that a protected recording is given, with the private keys that only the receivers hold.
struct ProtectionSet {
  explicit ProtectionSet(krvo::encryption::KeyType licenseServerKeyType = krvo::encryption::KeyType::kRsa2048);

  std::vector<std::byte> key;
  std::string contentId = "stream-1";
  std::string url = "https://license.example/v2";
  std::vector<std::byte> transportCertificate;
  std::vector<std::byte> licenseServerKey;
  std::vector<std::byte> licenseServerCertificate;
  std::string password = "open sesame";
  std::vector<std::byte> credential;
  std::vector<std::byte> policy;
};

std::vector<std::byte> bytesOf(std::string_view text);
/// Bytes and their number, as the library takes them.
const std::uint8_t* raw(std::span<const std::byte> bytes);
std::uint32_t sizeOf(std::span<const std::byte> bytes);

/// The library's table.
const RKXEncryptorInterface& encryptorTable();
const RKXMetadataInterface& metadataTable();

/// An object of the library, given back at the end.
struct ReleasingRkx {
  void operator()(RKXObject* object) const { object->release(object); }
};
using RkxPtr = std::unique_ptr<RKXObject, ReleasingRkx>;

RkxPtr makeEncryptor(std::span<const std::byte> key, RKXEncryptionOptions options = {1, 1, 1, 2, 0});
RKXStatus makeMetadata(const ProtectionSet& set, std::vector<std::byte>* block);

}  // namespace test
