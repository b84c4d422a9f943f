#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace host {

/// One message of a stream, as the module gets it. `data` belongs to the input, and is valid until its next next().
struct InputMessage {
  /// 8 for audio, 9 for video, 18 for script data in AMF0, 15 in AMF3. A tag stream may have any other value, too.
  std::uint8_t type = 0;
  /// In ms, modulo 2^32.
  std::uint32_t timeMs = 0;
  std::span<const std::byte> data;
  /// The source was away before this frame, and was opened again: what came in between is missing.
  bool isAfterBreak = false;
};

/// Learns when a live input is away, and when it is back. Called on the thread of the input.
class InputObserver {
 public:
  /// It ended, and is opened again until that succeeds. `why` is empty if it ended normally.
  virtual void inputLost(const std::string& why) = 0;
  /// One attempt to open it failed.
  virtual void inputFailed(const std::string& why) = 0;
  /// It was away for so long. The times of its messages have a gap of that length.
  virtual void inputBack(std::chrono::milliseconds away) = 0;

 protected:
  ~InputObserver() = default;
};

/// What the user specifies for an input.
struct InputOptions {
  /// Specifiers of the streams of a media file to record; see chooseStreams().
  std::vector<std::string> maps;
  /// Options for libavformat, each `KEY=VALUE`.
  std::vector<std::string> avOptions;
  /// An input that gives no data for so long has failed; 0 is no limit. Nothing is the default: kLiveStall for an input
  /// from a network, no limit for others.
  std::optional<std::chrono::milliseconds> stallTimeout;
  /// Whether to open a live input again when it ends.
  bool reconnect = false;
  /// Whether the messages of a tag stream keep their timestamps.
  bool keepTimes = false;
  /// If times jump forward by more than this, the source has started a new clock.
  std::chrono::milliseconds maxGap = std::chrono::hours(1);
  /// Whether the bytes of a live input may gather for a moment before they are read; see ReadPause.
  bool mayGather = false;
  /// Null for none. Outlives the input.
  InputObserver* observer = nullptr;

  static constexpr std::chrono::milliseconds kLiveStall = std::chrono::seconds(30);
};

/// A source of messages. Belongs to one thread. The order of calls: continueAt() or keptStart() once, then next() until
/// it returns nothing.
class Input {
 public:
  Input() = default;
  virtual ~Input() = default;
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// Sets the time of the first frame in ms, for an append. Call it before the first next(). Inputs that keep their
  /// times ignore it.
  virtual void continueAt(std::uint32_t) {}
  /// Whether its messages must be recorded unchanged, even if they are of no use: those of a tag stream.
  virtual bool isVerbatim() const { return false; }
  /// The time in ms of the first frame, if the input keeps its times; nothing otherwise. Call it before the first
  /// next(). Waits for the frame. Throws as next() does.
  virtual std::optional<std::uint32_t> keptStart() { return std::nullopt; }
  /// The data of an `onMetaData` message in AMF0 that describes the input as it is now. Empty if the input describes
  /// itself by its own messages.
  virtual std::vector<std::byte> metadata() const { return {}; }
  /// Whether it has video; nothing if that is not known before a message of it comes.
  virtual std::optional<bool> hasVideo() const { return std::nullopt; }
  /// Whether it comes from a network and has no end of its own.
  virtual bool isLive() const { return false; }
  /// How many new clocks the source has started (SourceClock), up to the message that next() returned last.
  virtual std::uint32_t newClocks() const { return 0; }
  /// Returns the next message, or nothing at the end and soon after a request to stop. Waits for data. Throws
  /// InputError if the source fails.
  virtual std::optional<InputMessage> next() = 0;
};

}  // namespace host
