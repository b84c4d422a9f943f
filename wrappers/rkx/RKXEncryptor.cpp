#include "wrappers/rkx/RKXEncryptor.h"

#include "util/QVSException.h"
#include "util/narrow.h"
#include "wrappers/rkx/RKXException.h"
#include "wrappers/rkx/library.h"

namespace rkx {
namespace {

const std::uint8_t* octets(std::span<const std::byte> bytes) {
  return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

std::uint8_t* octets(std::span<std::byte> bytes) {
  return reinterpret_cast<std::uint8_t*>(bytes.data());
}

template <typename Bytes>
std::uint32_t size32(const Bytes& bytes) {
  return qvs::util::narrow<std::uint32_t>(bytes.size());
}

}  // namespace

RKXEncryptor::RKXEncryptor(std::span<const std::byte> key, std::string_view contentId,
                           const RKXEncryptionOptions& options)
    : table_(&encryptorTable()) {
  // 1 and 0 are fixed arguments of the entry.
  check(table_->createEncryptor(slot(), octets(key), size32(key), contentId.data(), size32(contentId), &options, 1, 0));
}

DRMMetadata RKXEncryptor::makeMetadata(const MetadataSources& sources) const {
  DRMMetadata metadata;
  check(table_->createMetadata(get(), sources.licenseServerUrl.data(), size32(sources.licenseServerUrl),
                               octets(sources.transportCert), size32(sources.transportCert),
                               octets(sources.licenseServerCert), size32(sources.licenseServerCert),
                               octets(sources.credential), size32(sources.credential), sources.password.data(),
                               size32(sources.password), &sources.policies, 0, metadata.slot()));
  return metadata;
}

RKXSampleInfo RKXEncryptor::querySample(std::span<const std::byte> sample, RKXSampleKind kind, std::uint32_t time,
                                        bool avc) const {
  // Width of the length before each NAL unit; the entry takes no other.
  constexpr std::uint32_t kNalLengthSize = 4;
  RKXSampleInfo info{};
  check(
      table_->querySample(get(), octets(sample), size32(sample), kind, time, 0, 0, &info, avc ? 1 : 0, kNalLengthSize));
  return info;
}

void RKXEncryptor::encryptSample(std::span<const std::byte> sample, std::span<std::byte> destination,
                                 std::span<std::byte> vector) const {
  std::uint32_t encryptedSize = size32(destination);
  std::uint32_t vectorSize = size32(vector);
  check(table_->encryptSample(get(), octets(sample), size32(sample), octets(destination), &encryptedSize,
                              octets(vector), &vectorSize));
  // The sizes of the query are in the sample's header already: a shorter result would be decrypted with old bytes at
  // its end.
  if (encryptedSize != destination.size() || vectorSize != vector.size()) {
    throw qvs::QVSException("An encrypted sample has another size than the encryption library said.");
  }
}

}  // namespace rkx
