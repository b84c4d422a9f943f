#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/encryption/openssl.h"

namespace krvo::encryption {

// Bytes of AES-128.
constexpr std::size_t kKeySize = 16;
constexpr std::size_t kVectorSize = 16;
constexpr std::size_t kCipherBlock = 16;

/// Size in bytes of a sample after encryption (RFC 5652, 6.3): padding fills its last block, or adds a whole one, so
/// there is always at least one byte of it. In 64 bits, since the result for 2^32 - 1 has 33.
constexpr std::uint64_t encryptedSize(std::uint64_t size) {
  return (size / kCipherBlock + 1) * kCipherBlock;
}

/// Encrypts samples with AES-128-CBC (FIPS 197, NIST SP 800-38A) under one key, each with a new random initialisation
/// vector. One OpenSSL context serves all samples, so the key schedule is computed once; OpenSSL wipes it when the
/// context is freed. Belongs to one thread at a time. Throws StatusError.
class SampleCipher {
 public:
  using Vector = std::array<std::byte, kVectorSize>;

  /// `key` has kKeySize bytes and is not needed any more afterwards.
  explicit SampleCipher(std::span<const std::byte> key);

  /// Encrypts one sample of less than 2 GiB. `destination` has room for encryptedSize() bytes and does not overlap the
  /// sample. Returns the vector, which the reader needs and which is no secret.
  Vector encrypt(std::span<const std::byte> sample, std::byte* destination);

 private:
  /// A vector that has not been used, from the generator of OpenSSL. CBC is secure only if nobody can predict it.
  Vector drawVector();

  // Random bytes for many vectors at a time: one draw costs as much as some hundred bytes of cipher (docs/decisions.md,
  // "Initialisation vectors are drawn 64 at a time").
  static constexpr std::size_t kVectorsPerDraw = 64;

  /// With the key schedule; each sample sets only its vector.
  CipherContextPtr context_;
  std::array<Vector, kVectorsPerDraw> drawn_{};
  /// Index into `drawn_`; at its size a new draw is due.
  std::size_t nextVector_ = kVectorsPerDraw;
};

}  // namespace krvo::encryption
