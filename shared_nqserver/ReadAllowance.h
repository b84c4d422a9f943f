#pragma once

#include <algorithm>
#include <cstddef>

/// The memory and the number of values that a reader may make from one payload. Without it a sender could turn 16 MiB
/// into gigabytes: each byte may be a value of 24 bytes, or an object of more than a hundred. A reader takes from it
/// before it allocates; what it may not take makes the payload malformed.
class ReadAllowance {
 public:
  static constexpr std::size_t kMaxValues = 1'000'000;
  /// Bytes of memory for each byte of payload.
  static constexpr std::size_t kBytesPerByte = 15;
  /// The least for any payload, what 64 KiB have: short payloads are mostly names and objects.
  static constexpr std::size_t kLeastBytes = kBytesPerByte << 16;
  /// Bytes that the heap needs for a block in addition to its size.
  static constexpr std::size_t kPerBlock = 8;

  /// `payload` in bytes.
  explicit ReadAllowance(std::size_t payload) : bytes_(std::max(payload * kBytesPerByte, kLeastBytes)) {}

  // Both return false and take nothing if less is left.

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
