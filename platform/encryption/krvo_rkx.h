#pragma once

#include <cstdint>

// The encryption library: encrypts samples with AES-128-CBC (NIST SP 800-38A, padding of RFC 5652, 6.3) and makes the
// block of protection metadata, a CMS structure (RFC 5652) in which the content key is wrapped for a license server.
//
// Every call returns a status: 0 for success, else an `RKXStatusCode`. The numbers are in the logs of hosts and must
// not change. An object is released by its own `release`. One thread at a time may use an object; different objects may
// be used on different threads. No exception leaves the library. A key is wiped from memory when its object is
// destroyed.

using RKXStatus = std::uint32_t;

enum RKXStatusCode : RKXStatus {
  kRKXOk = 0,
  /// The library has no table of the wanted kind.
  kRKXNoInterface = 1,
  /// A null pointer, a record of the wrong size, a number out of range.
  kRKXBadArgument = 2,
  /// The destination is too short for the result; the size argument then contains the size needed.
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
  /// OpenSSL refused for a reason that has no number here.
  kRKXCryptographyFailed = 15,
};

extern "C" {

/// The first member of every object. Its owner calls `release` with the object, once.
struct RKXObject {
  void (*release)(RKXObject* object);
};

/// Selects what is encrypted. The flags are 0 or 1.
struct RKXEncryptionOptions {
  std::uint32_t encryptVideo;
  std::uint32_t encryptAudio;
  std::uint32_t encryptData;
  /// 0 key frames, 1 all frames that others may refer to as well, 2 every frame.
  std::uint32_t videoEncryptLevel;
  /// 0.
  std::uint32_t reserved;
};

/// A policy file, whose content the library does not interpret: it is for the license server.
struct RKXPolicy {
  const std::uint8_t* data;
  std::uint32_t size;
};

/// Views of the caller's policies.
struct RKXPolicyList {
  const RKXPolicy* policies;
  std::uint32_t count;
};

/// The kind of a sample. Not bit flags, despite the values.
enum RKXSampleKind : std::uint32_t {
  /// Never encrypted.
  kRKXOther = 0,
  kRKXVideo = 1,
  kRKXAudio = 2,
  kRKXScriptData = 4,
};

/// The result of a query about one sample.
struct RKXSampleInfo {
  /// Zero-terminated; belongs to the library and lives as long as it does.
  const char* filterName;
  /// Always 1.
  std::uint32_t filterCount;
  /// Zero if the sample stays in the clear.
  std::uint32_t encrypted;
  /// Bytes that encryptSample will write; the sample's own size if it stays in the clear.
  std::uint32_t encryptedSize;
  /// Bytes of the initialisation vector, also for a sample in the clear, which is stored without one.
  std::uint32_t vectorSize;
};

/// A table of functions. Its first word counts the 64-bit words of the table, itself included, so that a caller can
/// tell an older table. The order of the entries is fixed.
struct RKXEncryptorInterface {
  std::uint64_t words;
  /// Makes an encryptor, which the caller releases. Copies key and content identifier (1 to 65536 bytes). The last two
  /// arguments are 1 and 0.
  RKXStatus (*createEncryptor)(RKXObject** encryptor, const std::uint8_t* key, std::uint32_t keySize,
                               const char* contentId, std::uint32_t contentIdSize, const RKXEncryptionOptions* options,
                               std::uint32_t one, std::uint32_t zero);
  /// Makes the protection metadata, which the caller releases. Only before the first sample is encrypted, since the
  /// encryptor then gives its copy of the key up: kRKXBadArgument. Certificates, credential and policies are the
  /// contents of files, at most 16 policies; nothing is kept of them or of the password.
  RKXStatus (*createMetadata)(RKXObject* encryptor, const char* licenseServerUrl, std::uint32_t licenseServerUrlSize,
                              const std::uint8_t* transportCert, std::uint32_t transportCertSize,
                              const std::uint8_t* licenseServerCert, std::uint32_t licenseServerCertSize,
                              const std::uint8_t* credential, std::uint32_t credentialSize, const char* password,
                              std::uint32_t passwordSize, const RKXPolicyList* policies, std::uint32_t zero,
                              RKXObject** metadata);
  /// Encrypts `sample` to `destination`, which must not overlap it. `*encryptedSize` and `*vectorSize` are the
  /// capacities on entry and the bytes written on return. Each call draws a new random vector, as CBC demands.
  RKXStatus (*encryptSample)(RKXObject* encryptor, const std::uint8_t* sample, std::uint32_t sampleSize,
                             std::uint8_t* destination, std::uint32_t* encryptedSize, std::uint8_t* vector,
                             std::uint32_t* vectorSize);
  /// Says whether a sample is to be encrypted, and how large it will be. `sample` is without the codec header bytes,
  /// which stay in the clear; `time` is in milliseconds; `avc` is 1 if the sample consists of length-prefixed NAL units
  /// (ISO/IEC 14496-15). `lengthSize` is the width of those prefixes, 4. Changes nothing, and draws no vector.
  RKXStatus (*querySample)(RKXObject* encryptor, const std::uint8_t* sample, std::uint32_t sampleSize,
                           std::uint32_t kind, std::uint32_t time, std::uint32_t zero1, std::uint32_t zero2,
                           RKXSampleInfo* info, std::uint32_t avc, std::uint32_t lengthSize);
};

struct RKXMetadataInterface {
  std::uint64_t words;
  /// Unused entries; they keep the later ones in place.
  void* reserved[2];
  /// Bytes of the block, in DER.
  RKXStatus (*metadataSize)(RKXObject* metadata, std::uint32_t* size);
  /// `*size` is the capacity on entry and the bytes written on return.
  RKXStatus (*copyMetadata)(RKXObject* metadata, std::uint8_t* buffer, std::uint32_t* size);
};

/// Must be called once before anything else. `block`: four 64-bit words, zero, which the library may use until
/// RKXTerminate and the caller keeps valid until then.
RKXStatus RKXInitialize(std::uint64_t* block);
/// After the last object has been released.
void RKXTerminate(std::uint64_t* block);
/// The tables are valid as long as the library is loaded.
RKXStatus RKX_GetEncryptorInterface(const RKXEncryptorInterface** table);
RKXStatus RKX_GetMetadataInterface(const RKXMetadataInterface** table);
}
