#pragma once

#include <cstdint>
#include <span>

#include "util/NQBuffer.h"

namespace qvs::util {

/// Writes the body of an aggregate message: timed messages one behind another, each as a tag (see util/tagHeader.h)
/// with stream id 0. Belongs to one thread.
class MessageBuffer {
 public:
  // Bits of `contents`: the kinds of messages that are in. Audio without a payload sets none.
  static constexpr std::uint8_t kHasVideo = 0x01;
  static constexpr std::uint8_t kHasAudio = 0x04;
  static constexpr std::uint8_t kHasOther = 0x08;

  /// Starts over in a new block of 32768 bytes.
  void allocate();
  /// Starts over in the same block.
  void clear();
  /// Adds a message; `type` is stored as it is, and `payload` does not lie in the block. False, a diagnostic, and
  /// nothing added without a block, for a payload above kMaxTagDataSize, and where the block cannot grow.
  bool append(std::uint8_t type, std::span<const std::byte> payload, std::uint32_t timestamp);

  std::uint8_t contents() const { return counts_.contents; }
  /// The highest timestamp.
  std::uint32_t lastTime() const { return counts_.lastTime; }
  /// The timestamp of the first message.
  std::uint32_t firstTime() const { return counts_.firstTime; }
  /// How many messages there are.
  std::uint32_t appended() const { return counts_.appended; }
  /// Bytes that the first message takes.
  std::uint32_t firstSize() const { return counts_.firstSize; }
  /// The body, from the front of the block to the end of the window.
  const NQBuffer& buffer() const { return buffer_; }

 private:
  struct Counts {
    std::uint8_t contents = 0;
    std::uint32_t lastTime = 0;
    std::uint32_t firstTime = 0;
    std::uint32_t appended = 0;
    std::uint32_t firstSize = 0;
  };

  bool makeRoom(std::uint32_t size);
  void count(std::uint8_t type, std::uint32_t size, std::uint32_t timestamp);

  NQBuffer buffer_;
  Counts counts_;
};

}  // namespace qvs::util
