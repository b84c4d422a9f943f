#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace test {

/// One call of a host's record operation.
struct StreamMessage {
  std::uint8_t type = 0;
  std::uint32_t time = 0;
  std::vector<std::byte> data;

  bool operator==(const StreamMessage& other) const = default;
};

/// Makes the messages of a stream in the order of their times, with metadata and the AVC and AAC sequence
/// headers in front:
/// `stream().keyFramesEvery(2000).audio(23).until(20000)`. The payload of each frame says which one it is, so that no
/// two are alike.
class StreamBuilder {
 public:
  /// Video frames every `periodMs`, 40 by default, once keyFramesEvery() is given.
  StreamBuilder& keyFramesEvery(std::uint32_t intervalMs) { return set(keyFrameInterval_, intervalMs); }
  StreamBuilder& framesEvery(std::uint32_t periodMs) { return set(framePeriod_, periodMs); }
  StreamBuilder& frameBytes(std::uint32_t size) { return set(frameBytes_, size); }
  /// Audio messages every `periodMs`.
  StreamBuilder& audio(std::uint32_t periodMs) { return set(audioPeriod_, periodMs); }
  StreamBuilder& audioBytes(std::uint32_t size) { return set(audioBytes_, size); }
  /// Time of the first message.
  StreamBuilder& from(std::uint32_t timeMs) { return set(start_, timeMs); }
  /// Leaves metadata and sequence headers out, as for the second half of a stream.
  StreamBuilder& withoutHeaders() { return set(headers_, false); }
  /// The messages with times below `timeMs`.
  std::vector<StreamMessage> until(std::uint32_t timeMs) const;

 private:
  template <typename Value>
  StreamBuilder& set(Value& field, Value value) {
    field = value;
    return *this;
  }

  std::uint32_t keyFrameInterval_ = 0;
  std::uint32_t framePeriod_ = 40;
  std::uint32_t frameBytes_ = 300;
  std::uint32_t audioPeriod_ = 0;
  std::uint32_t audioBytes_ = 80;
  std::uint32_t start_ = 0;
  bool headers_ = true;
};

inline StreamBuilder stream() {
  return {};
}

// The messages that a stream is made of. Frame data is filled from `seed`.
/// An onMetaData of 640 by 360 pixels.
StreamMessage metadata(std::uint32_t timeMs);
StreamMessage avcSequenceHeader(std::uint32_t timeMs);
StreamMessage aacSequenceHeader(std::uint32_t timeMs);
StreamMessage avcFrame(std::uint32_t timeMs, bool keyFrame, std::uint32_t size, std::uint32_t seed);
StreamMessage aacFrame(std::uint32_t timeMs, std::uint32_t size, std::uint32_t seed);

/// Messages of a stream one after another.
std::vector<StreamMessage> operator+(std::vector<StreamMessage> first, const std::vector<StreamMessage>& second);

}  // namespace test
