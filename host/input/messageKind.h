#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/input/Input.h"

namespace host {

/// What the type byte and the first two bytes of a message's data say of it.
class MessageKind {
 public:
  explicit MessageKind(const InputMessage& message);

  bool isVideo() const { return video_; }
  bool isAudio() const { return audio_; }
  bool isAvc() const;
  bool isAac() const;
  /// The configuration of an AVC or AAC stream.
  bool isSequenceHeader() const;
  /// A picture or a sound: what has a place in time. False for sequence headers, ends of sequence, command frames and
  /// messages without data.
  bool isFrame() const;
  bool isKeyFrame() const;
  /// Script data whose command is `onMetaData`.
  bool isMetadata() const { return metadata_; }

 private:
  bool video_ = false;
  bool audio_ = false;
  bool metadata_ = false;
  bool empty_ = true;
  std::uint8_t first_ = 0;
  std::uint8_t second_ = 0;
};

/// A message that owns its data.
struct OwnedMessage {
  std::uint8_t type = 0;
  std::uint32_t timeMs = 0;
  std::vector<std::byte> data;

  OwnedMessage() = default;
  OwnedMessage(std::uint8_t typeByte, std::uint32_t time, std::vector<std::byte> bytes)
      : type(typeByte), timeMs(time), data(std::move(bytes)) {}
  explicit OwnedMessage(const InputMessage& message)
      : type(message.type), timeMs(message.timeMs), data(message.data.begin(), message.data.end()) {}
  /// Valid as long as this is neither changed nor moved.
  InputMessage view() const { return {.type = type, .timeMs = timeMs, .data = data}; }
};

}  // namespace host
