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

/// The data with which messages of a recording's tracks begin: the sequence header, or of a codec without one the byte
/// that names it. Empty for a track that the recording does not have.
struct CodecHeaders {
  std::vector<std::byte> video;
  std::vector<std::byte> audio;
};

/// The messages of an input, such that each recording gets one codec and one configuration a track, which is all that a
/// recording can have. What changes of AVC goes into the stream: parameter sets that the recording did not begin with
/// stand in every key frame from then on, since a player may begin at any of them. Any other change ends the recording:
/// next() answers nothing, change() says why, and after beginRecording() the messages go on as those of a new one, with
/// metadata and sequence headers in front, and with the pictures since the last key frame once more where only the
/// sound changed, so that none is lost.
class CodecChanges : public Input {
 public:
  /// With `keepTimes` a new recording goes on with the times of the old one; else its times begin at 0.
  CodecChanges(std::unique_ptr<Input> input, bool keepTimes) : input_(std::move(input)), keepTimes_(keepTimes) {}

  void continueAt(std::uint32_t timeMs) override { input_->continueAt(timeMs); }
  bool isVerbatim() const override { return input_->isVerbatim(); }
  std::optional<std::uint32_t> keptStart() override { return input_->keptStart(); }
  std::optional<InputMessage> next() override;

  /// What the recording has that is to be continued. Before the first next().
  void expect(const CodecHeaders& headers);
  /// Why the next message belongs into a new recording; nothing where it does not.
  const std::optional<std::string>& change() const { return change_; }
  void beginRecording();

 private:
  /// What the recording began with, and the stream has now.
  struct Video {
    std::optional<std::uint8_t> codec;
    bool hasHeader = false;
    std::size_t lengthSize = 4;
    ParameterSets sets;
    /// The stream's last sequence header.
    std::vector<std::byte> header;
    std::size_t streamLengthSize = 4;
    ParameterSets streamSets;
  };
  struct Audio {
    /// By which the module tells codecs apart.
    std::uint32_t codec = 0;
    bool hasHeader = false;
    /// The stream's last sequence header.
    std::vector<std::byte> header;
  };

  std::optional<InputMessage> read();
  std::uint32_t timeOf(const InputMessage& message, const MessageKind& kind);
  std::optional<std::string> changeBy(const InputMessage& message, const MessageKind& kind) const;
  void learn(const InputMessage& message, const MessageKind& kind);
  void learnVideoHeader(const InputMessage& message);
  /// A stream whose messages have now this codec and now that one does not get a recording for each of them.
  bool isTooOften(const InputMessage& message);
  /// For a new recording: what has to come in front of the message with which it begins.
  void prepareNext(const InputMessage& message, const MessageKind& kind);
  void keepForNext(const InputMessage& message, const MessageKind& kind);
  /// An AVC frame as the recording needs it.
  InputMessage adapted(const InputMessage& message, const MessageKind& kind);
  std::vector<std::byte> currentVideoHeader() const;

  std::unique_ptr<Input> input_;
  bool keepTimes_;
  std::optional<std::string> change_;
  Video video_;
  Audio audio_;
  /// This is not the first recording, and how much earlier its times are; known from its first frame on.
  bool isContinued_ = false;
  std::optional<std::uint32_t> lastChangeMs_;
  unsigned quickChanges_ = 0;
  std::optional<std::uint32_t> distanceMs_;
  /// What the input has given so far.
  bool hasVideo_ = false;
  bool hasAudio_ = false;
  /// The last message that was metadata.
  OwnedMessage metadata_;
  /// Video messages since the last key frame.
  std::vector<OwnedMessage> pictures_;
  std::size_t pictureBytes_ = 0;
  /// Come before what the input has.
  std::deque<OwnedMessage> ahead_;
  OwnedMessage current_;
  std::vector<std::byte> adapted_;
};

}  // namespace host
