#pragma once

#include <algorithm>
#include <cstddef>

/// What a reader may make of a payload, so that a sender cannot turn a few bytes into much memory: so many values, and
/// so many bytes of memory for a byte of payload. Whatever is read takes its share before it is made.
class ReadAllowance {
 public:
  static constexpr std::size_t kMaxValues = 1'000'000;
  static constexpr std::size_t kBytesPerByte = 15;
  /// However short the payload: small ones are mostly names and objects.
  static constexpr std::size_t kLeastBytes = kBytesPerByte << 16;
  /// What the heap takes for a block beside its bytes.
  static constexpr std::size_t kPerBlock = 8;

  explicit ReadAllowance(std::size_t payload) : bytes_(std::max(payload * kBytesPerByte, kLeastBytes)) {}

  // False, and nothing taken, where that much is not left.

  bool takeBytes(std::size_t bytes) { return takeFrom(bytes_, bytes); }
  bool takeValue() { return takeFrom(values_, 1); }

 private:
  static bool takeFrom(std::size_t& left, std::size_t amount) {
    if (amount > left) return false;
    left -= amount;
    return true;
  }

  std::size_t values_ = kMaxValues;
  std::size_t bytes_;
};
