#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/input/Input.h"
#include "host/input/annexB.h"
#include "host/input/avcConfig.h"
#include "host/input/messageKind.h"

namespace host {

/// The video's codec and configuration: those with which the recording began, and those that the stream has now. Brings
/// AVC frames into the form of the recording, which has one configuration from its begin to its end: parameter sets
/// that have changed are inserted into key frames. Messages that are no video change nothing.
class RecordedVideo {
 public:
  /// Why the message needs a new recording; nothing if it fits. `message` is not empty.
  std::optional<std::string> change(const InputMessage& message, const MessageKind& kind) const;
  /// Remembers codec and configuration of a message of this recording. The first header becomes that of the recording;
  /// each one becomes the stream's. `message` is not empty.
  void learn(const InputMessage& message, const MessageKind& kind);
  /// Collects the parameter sets of an AVC frame, also of one that belongs to the next recording. Returns its NAL
  /// units, views of the message; nothing for other messages and damaged ones.
  std::optional<std::vector<NalUnit>> collectSets(const InputMessage& message, const MessageKind& kind);
  /// An AVC frame in the form that the recording needs, other messages as they are. The result refers to the message
  /// or to this object, and is valid until the next call.
  InputMessage adapted(const InputMessage& message, const MessageKind& kind);

  /// Whether the last video message that was learnt is AVC.
  bool isAvc() const;
  /// Whether the stream's pictures now have another size or other coding tools than those of the recording's begin.
  bool isNewPicture() const { return hasHeader_ && !streamSets_.hasSequenceOf(sets_); }
  /// The sequence header for a recording that begins now; empty if none is known.
  std::vector<std::byte> currentHeader() const;
  /// From now on messages belong to the next recording.
  void beginRecording();

 private:
  void learnHeader(const InputMessage& message);

  /// Number of the codec, as in the first byte of a message.
  std::optional<std::uint8_t> codec_;
  bool hasHeader_ = false;
  /// Bytes of the length before each NAL unit in the recording: 1, 2 or 4.
  std::size_t lengthSize_ = 4;
  ParameterSets sets_;
  /// The last sequence header of the stream.
  std::vector<std::byte> header_;
  /// The same as `lengthSize_` and `sets_`, for the stream now.
  std::size_t streamLengthSize_ = 4;
  ParameterSets streamSets_;
  /// Owns the data of the message that adapted() returned last.
  std::vector<std::byte> adapted_;
};

}  // namespace host
