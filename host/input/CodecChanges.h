#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/input/Input.h"
#include "host/input/avcConfig.h"
#include "host/input/messageKind.h"

namespace host {

/// The first bytes of message data in each track of a recording: the sequence header, or for a codec without one the
/// byte that names the codec. Empty if the recording has no such track.
struct CodecHeaders {
  std::vector<std::byte> video;
  std::vector<std::byte> audio;
};

/// Splits the messages of an input into recordings, so that each recording has one codec and one configuration for each
/// track: a recording cannot have more.
///
/// A changed AVC configuration does not split: its parameter sets are inserted into every key frame from then on, since
/// a player may begin at any of them. Any other change ends the recording: next() returns nothing, and change() says
/// why. After beginRecording() the messages of the next recording follow: metadata, sequence headers, and if only the
/// audio changed, the pictures since the last key frame again, so that none is lost.
class CodecChanges : public Input {
 public:
  /// `input` is not null. With `keepTimes` the next recording keeps the times of the input; else its times begin at 0.
  CodecChanges(std::unique_ptr<Input> input, bool keepTimes) : input_(std::move(input)), keepTimes_(keepTimes) {}

  void continueAt(std::uint32_t timeMs) override { input_->continueAt(timeMs); }
  bool isVerbatim() const override { return input_->isVerbatim(); }
  std::optional<std::uint32_t> keptStart() override { return input_->keptStart(); }
  std::optional<InputMessage> next() override;

  /// Sets the codecs of the recording that an append continues. Call it before the first next().
  void expect(const CodecHeaders& headers);
  /// Why the next message needs a new recording; nothing if it does not. A clause for the log, such as "the audio's
  /// codec changes".
  const std::optional<std::string>& change() const { return change_; }
  /// Call it after a change, when the next recording is ready for messages.
  void beginRecording();

 private:
  /// The configuration with which the recording began, and the one that the stream has now.
  struct Video {
    /// Number of the codec, as in the first byte of a message.
    std::optional<std::uint8_t> codec;
    bool hasHeader = false;
    /// Bytes of the length before each NAL unit in the recording: 1, 2 or 4.
    std::size_t lengthSize = 4;
    ParameterSets sets;
    /// The last sequence header of the stream.
    std::vector<std::byte> header;
    /// The same as `lengthSize` and `sets`, for the stream now.
    std::size_t streamLengthSize = 4;
    ParameterSets streamSets;
  };
  struct Audio {
    /// Format code, by which the module distinguishes codecs; 0 if there is no track or its codec is unknown.
    std::uint32_t codec = 0;
    bool hasHeader = false;
    /// The last sequence header of the stream.
    std::vector<std::byte> header;
  };

  /// The next message of the input, or one of those that were prepared for a new recording.
  std::optional<InputMessage> read();
  /// The time in ms that the message gets in the recording.
  std::uint32_t timeOf(const InputMessage& message, const MessageKind& kind);
  /// Why the message needs a new recording; nothing if it fits.
  std::optional<std::string> changeBy(const InputMessage& message, const MessageKind& kind) const;
  /// Remembers codec, configuration and metadata.
  void learn(const InputMessage& message, const MessageKind& kind);
  /// The first header becomes that of the recording; each one becomes the stream's.
  void learnVideoHeader(const InputMessage& message);
  /// Whether there were too many changes within a second each. A stream that alternates between two codecs must not
  /// make a recording of each message.
  bool isTooOften(const InputMessage& message);
  /// Puts the messages with which the new recording begins into `ahead_`. `message` is the one that caused the change.
  void prepareNext(const InputMessage& message, const MessageKind& kind);
  /// Keeps the video messages since the last key frame.
  void keepForNext(const InputMessage& message, const MessageKind& kind);
  /// Returns an AVC frame in the form that the recording needs, and other messages as they are.
  InputMessage adapted(const InputMessage& message, const MessageKind& kind);
  /// The sequence header for a recording that begins now.
  std::vector<std::byte> currentVideoHeader() const;

  std::unique_ptr<Input> input_;
  bool keepTimes_;
  std::optional<std::string> change_;
  Video video_;
  Audio audio_;
  /// Whether this is not the first recording.
  bool isContinued_ = false;
  /// How much earlier than in the input its times are; nothing before its first frame.
  std::optional<std::uint32_t> distanceMs_;
  std::optional<std::uint32_t> lastChangeMs_;
  /// Number of changes in a row that came within a second of the one before.
  unsigned quickChanges_ = 0;
  /// Whether the input has given messages of that kind.
  bool hasVideo_ = false;
  bool hasAudio_ = false;
  /// The last metadata message of the stream.
  OwnedMessage metadata_;
  /// The video messages since the last key frame; empty if they are not kept.
  std::vector<OwnedMessage> pictures_;
  std::size_t pictureBytes_ = 0;
  /// Messages to return before those of the input.
  std::deque<OwnedMessage> ahead_;
  /// Owners of the data of the message that next() returned last.
  OwnedMessage current_;
  std::vector<std::byte> adapted_;
};

}  // namespace host
