#pragma once

#include <openssl/crypto.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "platform/os/wipe.h"

namespace krvo::encryption {

/// Bytes that are kept out of swap space and core dumps, and wiped from memory when their owner goes. Never grows, so
/// that no copy of them is left behind.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::size_t size) : bytes_(size) { platform::os::keepPrivate(bytes_); }
  explicit Secret(std::span<const std::byte> bytes) : Secret(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
  }
  /// Takes the bytes over where they lie.
  explicit Secret(std::vector<std::byte>&& bytes) : bytes_(std::move(bytes)) { platform::os::keepPrivate(bytes_); }
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
