#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/encryption/openssl.h"

namespace krvo::encryption {

constexpr std::size_t kKeySize = 16;
constexpr std::size_t kVectorSize = 16;
constexpr std::size_t kCipherBlock = 16;

/// The size of a sample after encryption: padding fills its last block, or adds one.
constexpr std::uint64_t encryptedSize(std::uint64_t size) {
  return (size / kCipherBlock + 1) * kCipherBlock;
}

/// Encrypts samples with AES-128-CBC under one key, each with an initialisation vector of its own. One context serves
/// all samples: the key schedule is made once, and wiped by OpenSSL when the context goes.
class SampleCipher {
 public:
  using Vector = std::array<std::byte, kVectorSize>;

  /// `key` has kKeySize bytes.
  explicit SampleCipher(std::span<const std::byte> key);

  /// `destination` has encryptedSize() bytes of room and does not overlap the sample. Answers the vector drawn.
  Vector encrypt(std::span<const std::byte> sample, std::byte* destination);

 private:
  Vector drawVector();

  // Random bytes are drawn for many vectors at a time: one draw costs as much as some hundred bytes of cipher.
  static constexpr std::size_t kVectorsPerDraw = 64;

  CipherContextPtr context_;
  std::array<Vector, kVectorsPerDraw> drawn_{};
  std::size_t nextVector_ = kVectorsPerDraw;
};

}  // namespace krvo::encryption
