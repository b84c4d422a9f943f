#pragma once

#include <openssl/crypto.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "platform/os/wipe.h"

namespace krvo::encryption {

/// Secret bytes: kept out of the swap space and of core dumps, and wiped when the object is destroyed. It cannot be
/// copied or grow, because either would leave bytes in memory that is not wiped. Belongs to one thread at a time.
class Secret {
 public:
  Secret() = default;
  /// `size` zero bytes, to be filled through bytes(). The pages are protected before there is anything secret in them.
  explicit Secret(std::size_t size) : bytes_(size) { platform::os::keepPrivate(bytes_); }
  explicit Secret(std::span<const std::byte> bytes) : Secret(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
  }
  /// Takes the vector's memory over without a copy. The vector must not have grown since the secret came into it.
  explicit Secret(std::vector<std::byte>&& bytes) : bytes_(std::move(bytes)) { platform::os::keepPrivate(bytes_); }
  ~Secret() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

  /// Moves the pointer, so that the bytes stay where they are; `other` is empty afterwards.
  Secret(Secret&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
  Secret& operator=(Secret&& other) noexcept {
    // A swap, so that the old bytes are wiped by the destructor of `other`; an assignment would free them as they are.
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
