#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/input/EndingInput.h"
#include "host/input/InputFilter.h"
#include "host/input/RecordedVideo.h"
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
/// a player may begin at any of them. A caller may wish for a split there. Any other change ends the recording, and so
/// does a wish of the caller (splitWhen()): next() returns nothing, and change() says why. After beginRecording() the
/// messages of the next recording follow: metadata, sequence headers, and the frame at which the last recording ended.
/// No frame is in both or in none.
///
/// If the audio changes while there is video, the recording ends at the next key frame, so that the next one begins
/// with a picture that can be decoded. The audio from the change on waits for it, within limits.
class CodecChanges : public InputFilter {
 public:
  /// A frame with which a recording can begin: a key frame, without video an audio frame, without both any message.
  struct SplitPoint {
    /// Media time since the first frame of the recording, in ms.
    std::uint32_t recordedMs = 0;
    /// The source has started a new clock since the recording began.
    bool isNewClock = false;
    /// The frame is a picture of another size, or with other coding tools, than those with which the recording began.
    bool isNewPicture = false;
  };
  /// Why the recording should end before that frame; nothing if it should continue.
  using SplitWish = std::function<std::optional<std::string>(const SplitPoint&)>;

  /// `input` is not null. With `keepTimes` the next recording keeps the times of the input; else its times begin at 0.
  CodecChanges(std::unique_ptr<Input> input, bool keepTimes) : InputFilter(std::move(input)), keepTimes_(keepTimes) {}

  std::optional<InputMessage> next() override;

  /// Sets the codecs of the recording that an append continues. Call it before the first next().
  void expect(const CodecHeaders& headers);
  /// Sets a function that next() asks at each split point but a recording's first.
  void splitWhen(SplitWish wish) { wish_ = std::move(wish); }
  /// Why the next message needs a new recording; nothing if it does not. A clause for the log, such as "the audio's
  /// codec changes".
  const std::optional<std::string>& change() const { return change_; }
  /// After a change: the time of the first frame of the next recording, in ms on the time line of the input.
  std::uint32_t nextBeginMs() const;
  /// Call it after a change, when the next recording is ready for messages. Before the first message it makes the times
  /// of the first recording begin at 0, too.
  void beginRecording();
  /// Takes back the frames that were prepared for the next recording, in their order. The headers before them stay.
  std::vector<OwnedMessage> takeBack();

 private:
  struct Audio {
    /// Format code, by which the module distinguishes codecs; 0 if there is no track or its codec is unknown.
    std::uint32_t codec = 0;
    bool hasHeader = false;
    /// The last sequence header of the stream.
    std::vector<std::byte> header;
  };

  /// The next message of the input, or one of those that were prepared for a new recording.
  std::optional<InputMessage> read();
  std::optional<InputMessage> readInput();
  /// The time in ms that the message gets in the recording.
  std::uint32_t timeOf(const InputMessage& message) const;
  /// Why the message needs a new recording; nothing if it fits.
  std::optional<std::string> changeBy(const InputMessage& message, const MessageKind& kind) const;
  /// Why the recording ends before the message although its codec fits; nothing if it does not.
  std::optional<std::string> reasonToSplit(const InputMessage& message, const MessageKind& kind) const;
  /// Whether a recording can begin with the message.
  bool canBegin(const MessageKind& kind) const;
  /// Learns from a message of this recording, and returns it in the form that the recording needs.
  InputMessage recorded(const InputMessage& message, const MessageKind& kind);
  /// Keeps an audio message for the next recording.
  void hold(const InputMessage& message);
  /// Remembers codec, configuration and metadata.
  void learn(const InputMessage& message, const MessageKind& kind);
  /// Whether there were too many changes within a second each. A stream that alternates between two codecs must not
  /// make a recording of each message.
  bool isTooOften(const InputMessage& message);
  /// Ends the recording, and puts the messages with which the next one begins into `ahead_`: at last `message`, which
  /// is none at the end of the input.
  void split(const std::optional<InputMessage>& message, std::string reason);
  /// Puts the metadata of the next recording into `ahead_`, if there is any.
  void prepareMetadata(std::uint32_t timeMs);

  EndingInput input_{source()};
  bool keepTimes_;
  std::optional<std::string> change_;
  RecordedVideo video_;
  Audio audio_;
  /// Whether this is not the first recording.
  bool isContinued_ = false;
  /// Time of the recording's first frame in the input, without frames of its first message; nothing before that.
  std::optional<std::uint32_t> firstFrameMs_;
  /// Whether the recording has had a message with which it can begin.
  bool hasBegun_ = false;
  SplitWish wish_;
  /// Input::newClocks() when the recording began.
  std::uint32_t clocksAtBegin_ = 0;
  std::optional<std::uint32_t> lastChangeMs_;
  /// Number of changes in a row that came within a second of the one before.
  unsigned quickChanges_ = 0;
  /// Whether the input has given messages of that kind.
  bool hasVideo_ = false;
  bool hasAudio_ = false;
  /// The last metadata message of the stream.
  OwnedMessage metadata_;
  /// Set while a change of the audio waits for a key frame; `held_` then has the audio since that change.
  std::optional<std::string> audioChange_;
  std::vector<OwnedMessage> held_;
  std::size_t heldBytes_ = 0;
  /// Messages to return before those of the input.
  std::deque<OwnedMessage> ahead_;
  /// Owner of the data of the message that read() returned last.
  OwnedMessage current_;
};

}  // namespace host
