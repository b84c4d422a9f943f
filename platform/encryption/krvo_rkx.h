#pragma once

#include <cstdint>

// The encryption library: encrypts samples with AES-128-CBC (NIST SP 800-38A, padding of RFC 5652, 6.3) and makes the
// block of protection metadata, a CMS structure (RFC 5652) in which the content key is wrapped for a license server.
//
// Every call answers a status, 0 for success, else an `RKXStatusCode`. An object is given back by its own `release`.
// Objects may be used from any one thread at a time; different objects from different threads. No exception leaves the
// library. Keys are wiped from memory when their object goes.

using RKXStatus = std::uint32_t;

enum RKXStatusCode : RKXStatus {
  kRKXOk = 0,
  /// The library has no table of the wanted kind.
  kRKXNoInterface = 1,
  /// A null pointer, a record of the wrong size, a number out of range.
  kRKXBadArgument = 2,
  /// The destination is shorter than the answer; the size needed is in the size argument.
  kRKXBufferTooSmall = 3,
  kRKXOutOfMemory = 4,
  /// The common key is not 16 bytes long.
  kRKXBadKeyLength = 5,
  /// The transport certificate is no X.509 certificate in DER or PEM.
  kRKXBadTransportCertificate = 6,
  /// The license server certificate is no X.509 certificate in DER or PEM, or its key cannot wrap a key.
  kRKXBadLicenseServerCertificate = 7,
  /// A certificate is not valid today: before its first or after its last day.
  kRKXCertificateExpired = 8,
  /// The credential is no PKCS#12 structure with a key and its certificate.
  kRKXBadCredential = 9,
  /// The credential's password is wrong.
  kRKXBadPassword = 10,
  /// The credential's key and certificate do not belong together.
  kRKXCredentialMismatch = 11,
  /// The policy is empty or longer than 1 MiB.
  kRKXBadPolicy = 12,
  /// The license server's address is no http or https URL.
  kRKXBadLicenseServerUrl = 13,
  /// A sample longer than a tag can hold.
  kRKXSampleTooLarge = 14,
  /// OpenSSL refused for a reason that has no number of its own.
  kRKXCryptographyFailed = 15,
};

extern "C" {

/// Begins every object. The holder of the last reference calls `release` with the object, once.
struct RKXObject {
  void (*release)(RKXObject* object);
};

/// What is encrypted. The flags are 0 or 1.
struct RKXEncryptionOptions {
  std::uint32_t encryptVideo;
  std::uint32_t encryptAudio;
  std::uint32_t encryptData;
  /// 0 key frames, 1 all frames that others may refer to as well, 2 every frame.
  std::uint32_t videoEncryptLevel;
  std::uint32_t reserved;
};

struct RKXPolicy {
  const std::uint8_t* data;
  std::uint32_t size;
};

struct RKXPolicyList {
  const RKXPolicy* policies;
  std::uint32_t count;
};

enum RKXSampleKind : std::uint32_t {
  kRKXOther = 0,
  kRKXVideo = 1,
  kRKXAudio = 2,
  kRKXScriptData = 4,
};

/// The answer to a query about one sample.
struct RKXSampleInfo {
  /// Zero-terminated; belongs to the library and lives as long as it does.
  const char* filterName;
  std::uint32_t filterCount;
  /// Zero where the sample stays as it is.
  std::uint32_t encrypted;
  /// Bytes that encryptSample will write; the sample's own size where it stays as it is.
  std::uint32_t encryptedSize;
  std::uint32_t vectorSize;
};

/// The functions behind the first word, which counts the 64-bit words of the table.
struct RKXEncryptorInterface {
  std::uint64_t words;
  /// Copies key and content identifier. The last two arguments are 1 and 0.
  RKXStatus (*createEncryptor)(RKXObject** encryptor, const std::uint8_t* key, std::uint32_t keySize,
                               const char* contentId, std::uint32_t contentIdSize, const RKXEncryptionOptions* options,
                               std::uint32_t one, std::uint32_t zero);
  /// In front of the first sample: with that the key goes into the cipher.
  RKXStatus (*createMetadata)(RKXObject* encryptor, const char* licenseServerUrl, std::uint32_t licenseServerUrlSize,
                              const std::uint8_t* transportCert, std::uint32_t transportCertSize,
                              const std::uint8_t* licenseServerCert, std::uint32_t licenseServerCertSize,
                              const std::uint8_t* credential, std::uint32_t credentialSize, const char* password,
                              std::uint32_t passwordSize, const RKXPolicyList* policies, std::uint32_t zero,
                              RKXObject** metadata);
  /// Encrypts `sample` to `destination`, which may not overlap it. `*encryptedSize` and `*vectorSize` are the rooms on
  /// the way in and what was written on the way out. Each call draws a fresh vector.
  RKXStatus (*encryptSample)(RKXObject* encryptor, const std::uint8_t* sample, std::uint32_t sampleSize,
                             std::uint8_t* destination, std::uint32_t* encryptedSize, std::uint8_t* vector,
                             std::uint32_t* vectorSize);
  /// Says what encryptSample will do. `sample` begins behind the codec header that stays in the clear; `time` is in
  /// milliseconds; `avc` is 1 where the sample is a run of length-prefixed NAL units (ISO/IEC 14496-15). `lengthSize`
  /// is the width of those prefixes, 4.
  RKXStatus (*querySample)(RKXObject* encryptor, const std::uint8_t* sample, std::uint32_t sampleSize,
                           std::uint32_t kind, std::uint32_t time, std::uint32_t zero1, std::uint32_t zero2,
                           RKXSampleInfo* info, std::uint32_t avc, std::uint32_t lengthSize);
};

struct RKXMetadataInterface {
  std::uint64_t words;
  /// Two places that nothing uses.
  void* reserved[2];
  RKXStatus (*metadataSize)(RKXObject* metadata, std::uint32_t* size);
  /// `*size` is the room on the way in and what was written on the way out.
  RKXStatus (*copyMetadata)(RKXObject* metadata, std::uint8_t* buffer, std::uint32_t* size);
};

/// `block`: four 64-bit words, zero, that the caller keeps until RKXTerminate and the library may use.
RKXStatus RKXInitialize(std::uint64_t* block);
void RKXTerminate(std::uint64_t* block);
/// The tables live as long as the library.
RKXStatus RKX_GetEncryptorInterface(const RKXEncryptorInterface** table);
RKXStatus RKX_GetMetadataInterface(const RKXMetadataInterface** table);
}
