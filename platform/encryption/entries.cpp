#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "platform/encryption/EncryptionChoice.h"
#include "platform/encryption/SampleCipher.h"
#include "platform/encryption/Secret.h"
#include "platform/encryption/krvo_rkx.h"
#include "platform/encryption/metadataBlock.h"
#include "platform/encryption/status.h"

namespace krvo::encryption {
namespace {

constexpr const char* kFilterName = "AES128CBC";
constexpr std::uint32_t kFilterCount = 1;
// The only width that is read. A stream with another one has samples that cannot be judged, which are then encrypted.
constexpr std::uint32_t kNalLengthSize = 4;
constexpr std::size_t kLongestContentId = 1 << 16;
constexpr std::size_t kMostPolicies = 16;
// The data size of a tag has 24 bits; codec header bytes, filter name and vector need a part of it.
constexpr std::uint64_t kLongestStoredSample = 0xFFFFFF - 64;

struct Encryptor : RKXObject {
  Encryptor(std::span<const std::byte> keyBytes, std::string_view content, const RKXEncryptionOptions& options);

  /// Made with the first sample. The key is wiped then: from there on it exists only in OpenSSL's key schedule.
  SampleCipher& cipher();

  EncryptionChoice choice;
  /// Empty once samples have been encrypted.
  Secret key;
  std::string contentId;

 private:
  std::optional<SampleCipher> cipher_;
};

struct Metadata : RKXObject {
  explicit Metadata(std::vector<std::byte> made);

  std::vector<std::byte> block;
};

/// The `release` of objects of the type. Its address also identifies the type: see objectOf().
template <typename Object>
void releaseObject(RKXObject* object) {
  const std::unique_ptr<Object> ended(static_cast<Object*>(object));
}

Encryptor::Encryptor(std::span<const std::byte> keyBytes, std::string_view content, const RKXEncryptionOptions& options)
    : RKXObject{&releaseObject<Encryptor>}, choice(options), key(keyBytes), contentId(content) {
  require(keyBytes.size() == kKeySize, kRKXBadKeyLength);
}

SampleCipher& Encryptor::cipher() {
  if (!cipher_) {
    cipher_.emplace(key.bytes());
    key = Secret();  // after the cipher: if making it throws, the next sample tries again
  }
  return *cipher_;
}

Metadata::Metadata(std::vector<std::byte> made) : RKXObject{&releaseObject<Metadata>}, block(std::move(made)) {}

/// The compare of `release` finds an object of the wrong kind, or of another library, before it is used as this one.
template <typename Object>
Object& objectOf(RKXObject* object) {
  require(object != nullptr && object->release == &releaseObject<Object>, kRKXBadArgument);
  return static_cast<Object&>(*object);
}

void requireArgument(bool condition) {
  require(condition, kRKXBadArgument);
}

std::span<const std::byte> bytesOf(const std::uint8_t* data, std::uint32_t size) {
  requireArgument(data != nullptr || size == 0);
  return std::as_bytes(std::span(data, size));
}

std::string_view textOf(const char* data, std::uint32_t size) {
  requireArgument(data != nullptr || size == 0);
  return size == 0 ? std::string_view() : std::string_view(data, size);
}

/// Replaces the capacity by the size needed, and throws kRKXBufferTooSmall if that was more. The size is set in both
/// cases, so that a caller can ask with a capacity of 0.
void takeRoom(std::uint32_t& room, std::uint64_t needed) {
  const bool enough = room >= needed;
  room = qvs::util::narrow<std::uint32_t>(needed);
  require(enough, kRKXBufferTooSmall);
}

std::vector<std::span<const std::byte>> policiesOf(const RKXPolicyList* list) {
  requireArgument(list != nullptr && list->count <= kMostPolicies && (list->policies != nullptr || list->count == 0));
  std::vector<std::span<const std::byte>> policies;
  for (const auto& policy : std::span(list->policies, list->count)) {
    policies.push_back(bytesOf(policy.data, policy.size));
  }
  return policies;
}

RKXStatus createEncryptor(RKXObject** encryptor, const std::uint8_t* key, std::uint32_t keySize, const char* contentId,
                          std::uint32_t contentIdSize, const RKXEncryptionOptions* options, std::uint32_t one,
                          std::uint32_t zero) {
  return guarded([&] {
    requireArgument(encryptor != nullptr && options != nullptr && one == 1 && zero == 0);
    *encryptor = nullptr;  // so that a caller who ignores the status has no pointer to release
    requireArgument(contentIdSize > 0 && contentIdSize <= kLongestContentId);
    *encryptor =
        std::make_unique<Encryptor>(bytesOf(key, keySize), textOf(contentId, contentIdSize), *options).release();
  });
}

RKXStatus createMetadata(RKXObject* encryptor, const char* licenseServerUrl, std::uint32_t licenseServerUrlSize,
                         const std::uint8_t* transportCert, std::uint32_t transportCertSize,
                         const std::uint8_t* licenseServerCert, std::uint32_t licenseServerCertSize,
                         const std::uint8_t* credential, std::uint32_t credentialSize, const char* password,
                         std::uint32_t passwordSize, const RKXPolicyList* policies, std::uint32_t zero,
                         RKXObject** metadata) {
  return guarded([&] {
    requireArgument(metadata != nullptr && zero == 0);
    *metadata = nullptr;
    const auto& made = objectOf<Encryptor>(encryptor);
    requireArgument(made.key.size() != 0);  // empty once a sample has been encrypted
    const MetadataRequest request{.key = made.key.bytes(),
                                  .contentId = made.contentId,
                                  .licenseServerUrl = textOf(licenseServerUrl, licenseServerUrlSize),
                                  .transportCertificate = bytesOf(transportCert, transportCertSize),
                                  .licenseServerCertificate = bytesOf(licenseServerCert, licenseServerCertSize),
                                  .credential = bytesOf(credential, credentialSize),
                                  .password = textOf(password, passwordSize),
                                  .policies = policiesOf(policies)};
    *metadata = std::make_unique<Metadata>(makeMetadataBlock(request)).release();
  });
}

RKXStatus encryptSample(RKXObject* encryptor, const std::uint8_t* sample, std::uint32_t sampleSize,
                        std::uint8_t* destination, std::uint32_t* encryptedRoom, std::uint8_t* vector,
                        std::uint32_t* vectorRoom) {
  return guarded([&] {
    auto& made = objectOf<Encryptor>(encryptor);
    requireArgument(encryptedRoom != nullptr && vectorRoom != nullptr);
    const auto clear = bytesOf(sample, sampleSize);
    const auto needed = encryptedSize(sampleSize);
    require(needed <= kLongestStoredSample, kRKXSampleTooLarge);
    // Both sizes are set before either failure is reported, so that one query gives the caller both.
    const bool vectorFits = *vectorRoom >= kVectorSize;
    *vectorRoom = kVectorSize;
    takeRoom(*encryptedRoom, needed);
    require(vectorFits, kRKXBufferTooSmall);
    requireArgument(destination != nullptr && vector != nullptr);

    const auto drawn = made.cipher().encrypt(clear, reinterpret_cast<std::byte*>(destination));
    std::copy(drawn.begin(), drawn.end(), reinterpret_cast<std::byte*>(vector));
  });
}

RKXStatus querySample(RKXObject* encryptor, const std::uint8_t* sample, std::uint32_t sampleSize, std::uint32_t kind,
                      std::uint32_t /*time*/, std::uint32_t zero1, std::uint32_t zero2, RKXSampleInfo* info,
                      std::uint32_t avc, std::uint32_t lengthSize) {
  return guarded([&] {
    const auto& made = objectOf<Encryptor>(encryptor);
    requireArgument(info != nullptr && zero1 == 0 && zero2 == 0 && avc <= 1 && lengthSize == kNalLengthSize);
    const auto clear = bytesOf(sample, sampleSize);
    // By the same rule on every call: a caller may ask twice about a sample, and has to get the same size.
    const bool encrypted = made.choice.encrypts(clear, static_cast<RKXSampleKind>(kind), avc == 1);
    const std::uint64_t stored = encrypted ? encryptedSize(sampleSize) : sampleSize;
    require(stored <= kLongestStoredSample, kRKXSampleTooLarge);
    *info = {.filterName = kFilterName,
             .filterCount = kFilterCount,
             .encrypted = encrypted ? 1U : 0U,
             .encryptedSize = static_cast<std::uint32_t>(stored),
             .vectorSize = kVectorSize};
  });
}

RKXStatus metadataSize(RKXObject* metadata, std::uint32_t* size) {
  return guarded([&] {
    requireArgument(size != nullptr);
    *size = qvs::util::narrow<std::uint32_t>(objectOf<Metadata>(metadata).block.size());
  });
}

RKXStatus copyMetadata(RKXObject* metadata, std::uint8_t* buffer, std::uint32_t* size) {
  return guarded([&] {
    const auto& block = objectOf<Metadata>(metadata).block;
    requireArgument(size != nullptr);
    takeRoom(*size, block.size());
    requireArgument(buffer != nullptr);
    std::copy(block.begin(), block.end(), reinterpret_cast<std::byte*>(buffer));
  });
}

constexpr std::uint64_t kTableWords = 5;
constexpr RKXEncryptorInterface kEncryptorTable{kTableWords, createEncryptor, createMetadata, encryptSample,
                                                querySample};
constexpr RKXMetadataInterface kMetadataTable{kTableWords, {nullptr, nullptr}, metadataSize, copyMetadata};

static_assert(sizeof(RKXEncryptorInterface) == kTableWords * sizeof(std::uint64_t));
static_assert(sizeof(RKXMetadataInterface) == kTableWords * sizeof(std::uint64_t));

}  // namespace
}  // namespace krvo::encryption

using namespace krvo::encryption;

RKXStatus RKXInitialize(std::uint64_t* block) {
  return guarded([&] {
    requireArgument(block != nullptr);
    requireOpenssl(OPENSSL_init_crypto(0, nullptr) == 1);
  });
}

// Nothing to do: OpenSSL belongs to the whole process, and the host may still use it.
void RKXTerminate(std::uint64_t* /*block*/) {}

RKXStatus RKX_GetEncryptorInterface(const RKXEncryptorInterface** table) {
  if (table == nullptr) return kRKXBadArgument;
  *table = &kEncryptorTable;
  return kRKXOk;
}

RKXStatus RKX_GetMetadataInterface(const RKXMetadataInterface** table) {
  if (table == nullptr) return kRKXBadArgument;
  *table = &kMetadataTable;
  return kRKXOk;
}
