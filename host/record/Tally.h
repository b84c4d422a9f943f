#pragma once

#include <cstdint>

namespace host {

/// Messages, and the bytes of their data.
struct Tally {
  std::uint64_t messages = 0;
  std::uint64_t bytes = 0;

  /// One more message, with `size` bytes of data.
  void add(std::uint64_t size) {
    ++messages;
    bytes += size;
  }
  Tally& operator+=(const Tally& other) {
    messages += other.messages;
    bytes += other.bytes;
    return *this;
  }
  /// `other` must be a part of this: the numbers are unsigned.
  Tally& operator-=(const Tally& other) {
    messages -= other.messages;
    bytes -= other.bytes;
    return *this;
  }
};

}  // namespace host
