#pragma once

#include <cstdint>
#include <span>

#include "util/NQBuffer.h"

namespace qvs::util {

/// Writes the body of an aggregate message, as CompositeMessage reads it: timed messages one after another, each as a
/// tag with header and back pointer (see util/tagHeader.h) and with stream id 0. To be allocated before the first
/// append. Belongs to one thread.
class MessageBuffer {
 public:
  // Bits of `contents`, one for each kind of message in the body. Audio without a payload sets none.
  static constexpr std::uint8_t kHasVideo = 0x01;
  static constexpr std::uint8_t kHasAudio = 0x04;
  static constexpr std::uint8_t kHasOther = 0x08;

  /// Starts a new body in a new block of 32768 bytes. Throws std::bad_alloc.
  void allocate();
  /// Starts a new body in the same block, which keeps its size. Whoever shares the block sees its bytes change.
  void clear();
  /// Adds a message; `type` is stored unchanged, `timestamp` is in milliseconds, and `payload` is not part of the
  /// block. Returns false, with a diagnostic and nothing added, without a block, for a payload above kMaxTagDataSize,
  /// and if the block cannot grow.
  bool append(std::uint8_t type, std::span<const std::byte> payload, std::uint32_t timestamp);

  std::uint8_t contents() const { return counts_.contents; }
  /// The highest timestamp of all messages, in milliseconds.
  std::uint32_t lastTime() const { return counts_.lastTime; }
  /// The timestamp of the first message, in milliseconds.
  std::uint32_t firstTime() const { return counts_.firstTime; }
  /// Number of messages in the body.
  std::uint32_t appended() const { return counts_.appended; }
  /// Bytes of the first message with its header and back pointer.
  std::uint32_t firstSize() const { return counts_.firstSize; }
  /// The body: from the front of its block to the end of the window. Valid until the next append, which may move the
  /// bytes.
  const NQBuffer& buffer() const { return buffer_; }

 private:
  /// What is counted since the last allocate() or clear().
  struct Counts {
    std::uint8_t contents = 0;
    std::uint32_t lastTime = 0;
    std::uint32_t firstTime = 0;
    std::uint32_t appended = 0;
    std::uint32_t firstSize = 0;
  };

  /// Doubles the block until `size` more bytes fit; false if it cannot.
  bool makeRoom(std::uint32_t size);
  void count(std::uint8_t type, std::uint32_t size, std::uint32_t timestamp);

  NQBuffer buffer_;
  Counts counts_;
};

}  // namespace qvs::util
