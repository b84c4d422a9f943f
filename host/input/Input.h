#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace host {

/// One message of a stream, as it goes to the module. The data are the input's, and stay until its next().
struct InputMessage {
  /// 8 audio, 9 video, 18 script data in AMF0, 15 in AMF3; from a tag stream any other, too.
  std::uint8_t type = 0;
  std::uint32_t timeMs = 0;
  std::span<const std::byte> data;
};

/// What the user says of an input.
struct InputOptions {
  /// Streams of a media file to record, see chooseStreams().
  std::vector<std::string> maps;
  /// `KEY=VALUE` each, for libavformat.
  std::vector<std::string> avOptions;
  /// How long an input may give nothing before it is given up; 0 is for ever. Without a value it is kLiveStall for
  /// inputs from a network and for ever for others.
  std::optional<std::chrono::milliseconds> stallTimeout;
  /// Opens a live input again when it ends.
  bool reconnect = false;
  /// Leaves the times of a tag stream as they are.
  bool keepTimes = false;
  /// A jump forward by more is a new clock.
  std::chrono::milliseconds maxGap = std::chrono::hours(1);

  static constexpr std::chrono::milliseconds kLiveStall = std::chrono::seconds(30);
};

/// A source of messages.
class Input {
 public:
  Input() = default;
  virtual ~Input() = default;
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// Asks for times such that the first frame is at `timeMs`, for the continuation of a recording. Before the first
  /// next(). An input whose times are to be kept keeps them.
  virtual void continueAt(std::uint32_t) {}
  /// Its messages are handed on as they are, whatever can be made of them.
  virtual bool isVerbatim() const { return false; }
  /// The time of the first frame, of an input that keeps its times. Before the first next(); waits for the frame.
  virtual std::optional<std::uint32_t> keptStart() { return std::nullopt; }
  /// The data of an `onMetaData` message in AMF0 that tells what the input is now; empty where only its own messages
  /// say so.
  virtual std::vector<std::byte> metadata() const { return {}; }
  /// The next message; nothing at the end, and soon after a request to stop. Throws InputError where the source fails.
  virtual std::optional<InputMessage> next() = 0;
};

}  // namespace host
