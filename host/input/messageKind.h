#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/input/Input.h"

namespace host {

/// What a message is, by its type byte and the first two bytes of its data. Looks at nothing else, and keeps no
/// reference. For video the first byte has frame type and codec, for audio codec, rate and channels; the second byte of
/// AVC and AAC is the packet type.
class MessageKind {
 public:
  explicit MessageKind(const InputMessage& message);

  bool isVideo() const { return video_; }
  bool isAudio() const { return audio_; }
  /// A video message of that codec, or an audio message: a frame, a configuration or an end of sequence.
  bool isAvc() const;
  bool isAac() const;
  /// The configuration of an AVC or AAC stream.
  bool isSequenceHeader() const;
  /// Whether it is a video or audio frame, which has a time of its own. False for sequence headers, ends of sequence,
  /// command frames and messages without data.
  bool isFrame() const;
  /// A video frame whose frame type says that decoding can begin with it. The picture is not looked at.
  bool isKeyFrame() const;
  /// Whether it is script data with the command `onMetaData`.
  bool isMetadata() const { return metadata_; }

 private:
  bool video_ = false;
  bool audio_ = false;
  bool metadata_ = false;
  /// Whether it has no data. `first_` and `second_` are then 0.
  bool empty_ = true;
  std::uint8_t first_ = 0;
  std::uint8_t second_ = 0;
};

/// A message that owns its data.
struct OwnedMessage {
  std::uint8_t type = 0;
  std::uint32_t timeMs = 0;
  std::vector<std::byte> data;
  bool isAfterBreak = false;

  OwnedMessage() = default;
  OwnedMessage(std::uint8_t typeByte, std::uint32_t time, std::vector<std::byte> bytes)
      : type(typeByte), timeMs(time), data(std::move(bytes)) {}
  explicit OwnedMessage(const InputMessage& message)
      : type(message.type),
        timeMs(message.timeMs),
        data(message.data.begin(), message.data.end()),
        isAfterBreak(message.isAfterBreak) {}
  /// Valid until the object is changed, moved or destroyed.
  InputMessage view() const { return {.type = type, .timeMs = timeMs, .data = data, .isAfterBreak = isAfterBreak}; }
};

}  // namespace host
