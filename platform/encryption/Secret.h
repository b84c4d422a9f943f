#pragma once

#include <openssl/crypto.h>

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace krvo::encryption {

/// Bytes that are wiped from memory when their owner goes. Never grows, so that no copy of them is left behind.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::size_t size) : bytes_(size) {}
  explicit Secret(std::span<const std::byte> bytes) : bytes_(bytes.begin(), bytes.end()) {}
  /// Takes the bytes over where they lie.
  explicit Secret(std::vector<std::byte>&& bytes) : bytes_(std::move(bytes)) {}
  ~Secret() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

  Secret(Secret&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
  Secret& operator=(Secret&& other) noexcept {
    std::swap(bytes_, other.bytes_);
    return *this;
  }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  std::span<const std::byte> bytes() const { return bytes_; }
  std::span<std::byte> bytes() { return bytes_; }
  std::size_t size() const { return bytes_.size(); }

 private:
  std::vector<std::byte> bytes_;
};

}  // namespace krvo::encryption
