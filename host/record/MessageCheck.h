#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "host/input/Input.h"
#include "util/fourcc.h"

namespace host {

/// What the module does with a message before its fragmenter sees it.
enum class Reception {
  /// The fragmenter sees it, and the module queues it.
  kRecorded,
  /// The same, but the segment writer skips it, because its codec or its type is not one that is stored.
  kPassedOver,
  /// The module uses its content and stores no tag: metadata, a codec configuration, a command to the player, empty
  /// audio.
  kSkipped,
  /// `record` returns false and nothing changes.
  kRefused,
};

/// Whether the module passes such a message to its fragmenter.
constexpr bool reachesFragmenter(Reception reception) {
  return reception == Reception::kRecorded || reception == Reception::kPassedOver;
}

/// The format codes of a recording's tracks, by SampleKind: nothing if there is no such track, 0 if the codec is
/// unknown.
using TrackCodecs = std::array<std::optional<qvs::util::FourCC>, 3>;

/// Repeats the module's check of messages on the host's side. It is needed because the result of `record` does not say
/// whether a message was queued or skipped, or whether it was refused or its fragment could not be written. A
/// difference between the two makes FragmentModel wrong, and the end of a recording may be lost (docs/decisions.md,
/// "The host checks messages as the module does"). Belongs to the thread that records the stream.
class MessageCheck {
 public:
  /// `stored` has the tracks of the recording to append to; nothing for a new recording. A protected recording accepts
  /// slightly smaller messages, since padding and filter need room.
  MessageCheck(const std::optional<TrackCodecs>& stored, bool isProtected);

  /// What the module will do with the next message. Changes state as the module does, so call it once for each message,
  /// in order.
  Reception judge(const InputMessage& message);
  /// Whether the last message that was judged created the track of its kind.
  bool madeTrack() const { return madeTrack_; }
  /// From now on no track can be created: the module has begun the first segment, whose `moov` lists them.
  void fixTracks() { fixed_ = true; }

 private:
  /// Whether the message is the metadata that a new recording waits for.
  bool takeMetadata(const InputMessage& message);
  Reception judgeTrack(const InputMessage& message);

  /// Bytes of data that a message may have.
  std::size_t mostData_;
  TrackCodecs codecs_{};
  /// Tracks are known and cannot be added any more; an append has them from the start.
  bool fixed_ = false;
  bool continued_ = false;
  /// A new recording takes no other message before its metadata.
  bool hasMetadata_ = false;
  bool madeTrack_ = false;
};

}  // namespace host
