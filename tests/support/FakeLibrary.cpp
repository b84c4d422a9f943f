#include "tests/support/FakeLibrary.h"

#include <algorithm>
#include <memory>
#include <span>
#include <sstream>
#include <stdexcept>

namespace test {
namespace {

constexpr std::uint32_t kBlockSize = 16;
constexpr std::uint32_t kVectorSize = 16;

FakeLibrary* current = nullptr;

FakeLibrary& library() {
  if (current == nullptr) throw std::logic_error("no FakeLibrary");
  return *current;
}

struct Object : RKXObject {
  Object() : RKXObject{&giveBack} { ++library().objects; }
  static void giveBack(RKXObject* object) {
    const std::unique_ptr<Object> gone(static_cast<Object*>(object));
    --library().objects;
  }
};

std::string text(const void* bytes, std::uint32_t size) {
  return "'" + std::string(static_cast<const char*>(bytes), size) + "'";
}

/// Notes the call and returns its status.
template <typename... Arguments>
RKXStatus called(const std::string& name, const Arguments&... arguments) {
  std::ostringstream call;
  call << name;
  ((call << ' ' << arguments), ...);
  library().calls.push_back(call.str());
  const auto found = library().statuses.find(name);
  return found == library().statuses.end() ? kRKXOk : found->second;
}

std::uint32_t encryptedSize(std::uint32_t size) {
  return size / kBlockSize * kBlockSize + kBlockSize;
}

RKXStatus createEncryptor(RKXObject** encryptor, const std::uint8_t* key, std::uint32_t keySize, const char* contentId,
                          std::uint32_t contentIdSize, const RKXEncryptionOptions* options, std::uint32_t one,
                          std::uint32_t zero) {
  const RKXStatus status =
      called("createEncryptor", text(key, keySize), text(contentId, contentIdSize), options->encryptVideo,
             options->encryptAudio, options->encryptData, options->videoEncryptLevel, options->reserved, one, zero);
  if (status == kRKXOk) *encryptor = std::make_unique<Object>().release();
  return status;
}

RKXStatus createMetadata(RKXObject*, const char* url, std::uint32_t urlSize, const std::uint8_t* transportCert,
                         std::uint32_t transportCertSize, const std::uint8_t* licenseServerCert,
                         std::uint32_t licenseServerCertSize, const std::uint8_t* credential,
                         std::uint32_t credentialSize, const char* password, std::uint32_t passwordSize,
                         const RKXPolicyList* policies, std::uint32_t zero, RKXObject** metadata) {
  std::string all;
  for (const RKXPolicy& policy : std::span(policies->policies, policies->count))
    all += text(policy.data, policy.size) + " ";
  const RKXStatus status = called("createMetadata", text(url, urlSize), text(transportCert, transportCertSize),
                                  text(licenseServerCert, licenseServerCertSize), text(credential, credentialSize),
                                  text(password, passwordSize), all + std::to_string(zero));
  if (status == kRKXOk) *metadata = std::make_unique<Object>().release();
  return status;
}

RKXStatus encryptSample(RKXObject*, const std::uint8_t* sample, std::uint32_t sampleSize, std::uint8_t* destination,
                        std::uint32_t* room, std::uint8_t* vector, std::uint32_t* vectorSize) {
  const std::uint32_t size = encryptedSize(sampleSize);
  const RKXStatus status = called("encryptSample", sampleSize);
  if (status != kRKXOk) return status;
  if (*room < size || *vectorSize < kVectorSize) return kRKXBufferTooSmall;
  std::transform(sample, sample + sampleSize, destination,
                 [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
  std::fill(destination + sampleSize, destination + size, static_cast<std::uint8_t>(size - sampleSize));
  std::fill_n(vector, kVectorSize, ++library().samples);
  *room = size - library().missing;
  *vectorSize = kVectorSize;
  return kRKXOk;
}

RKXStatus querySample(RKXObject*, const std::uint8_t*, std::uint32_t sampleSize, std::uint32_t kind, std::uint32_t time,
                      std::uint32_t zero1, std::uint32_t zero2, RKXSampleInfo* info, std::uint32_t avc,
                      std::uint32_t lengthSize) {
  const bool encrypted = (kind & library().encryptedKinds) != 0;
  *info = {.filterName = library().filterName.c_str(),
           .filterCount = 1,
           .encrypted = encrypted ? 1U : 0U,
           .encryptedSize = encrypted ? encryptedSize(sampleSize) : sampleSize,
           .vectorSize = encrypted ? kVectorSize : 0};
  return called("querySample", sampleSize, kind, time, zero1, zero2, avc, lengthSize);
}

RKXStatus metadataSize(RKXObject*, std::uint32_t* size) {
  *size = static_cast<std::uint32_t>(library().metadata.size());
  return called("metadataSize");
}

RKXStatus copyMetadata(RKXObject*, std::uint8_t* buffer, std::uint32_t* size) {
  std::copy(library().metadata.begin(), library().metadata.end(), buffer);
  return called("copyMetadata", *size);
}

RKXEncryptorInterface encryptors{5, &createEncryptor, &createMetadata, &encryptSample, &querySample};
RKXMetadataInterface metadatas{5, {nullptr, nullptr}, &metadataSize, &copyMetadata};

}  // namespace

FakeLibrary::FakeLibrary() {
  current = this;
}

FakeLibrary::~FakeLibrary() {
  current = nullptr;
}

}  // namespace test

using namespace test;

RKXStatus RKXInitialize(std::uint64_t* block) {
  return called("initialize", *block);
}

void RKXTerminate(std::uint64_t*) {
  called("terminate");
}

RKXStatus RKX_GetEncryptorInterface(const RKXEncryptorInterface** table) {
  encryptors.words = library().encryptorWords;
  *table = library().noTable ? nullptr : &encryptors;
  return called("encryptorTable");
}

RKXStatus RKX_GetMetadataInterface(const RKXMetadataInterface** table) {
  metadatas.words = library().metadataWords;
  *table = library().noTable ? nullptr : &metadatas;
  return called("metadataTable");
}
