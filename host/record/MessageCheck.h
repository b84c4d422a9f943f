#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "fragmentation/SampleInfo.h"
#include "host/input/Input.h"
#include "util/fourcc.h"

namespace host {

/// What the module does with a message before its fragmenter sees it.
enum class Reception {
  /// The fragmenter sees it, and the module queues it.
  kRecorded,
  /// The same, and the writer of segments passes over it: its codec, or its type byte, is none that is stored.
  kPassedOver,
  /// Taken for what it says: metadata, a codec configuration, a command to the player, silence. Not stored as it is.
  kSkipped,
  kRefused,
};

/// Whether the module's fragmenter gets to see it.
constexpr bool reachesFragmenter(Reception reception) {
  return reception == Reception::kRecorded || reception == Reception::kPassedOver;
}

/// The codecs of a recording's tracks by SampleKind, as tags have them: 0 is one that is not known. Nothing where there
/// is no such track.
using TrackCodecs = std::array<std::optional<qvs::util::FourCC>, 3>;

/// The module's check of messages, done once more on the host's side, since its answer does not tell a message that was
/// skipped from one that was queued, nor one that was refused from one whose fragment could not be written.
class MessageCheck {
 public:
  /// `stored` are the tracks of a recording that is continued. A protected one takes slightly smaller messages.
  MessageCheck(const std::optional<TrackCodecs>& stored, bool isProtected);

  /// What becomes of the next message. Learns from it as the module does, so it is asked once for each, in order.
  Reception judge(const InputMessage& message);
  /// Whether the last message that was judged made the track of its kind.
  bool madeTrack() const { return madeTrack_; }
  /// From here on there are no new tracks: the first segment has been begun.
  void fixTracks() { fixed_ = true; }

 private:
  bool takeMetadata(const InputMessage& message);
  Reception judgeTrack(const InputMessage& message);

  std::size_t mostData_;
  TrackCodecs codecs_{};
  bool fixed_ = false;
  bool continued_ = false;
  bool hasMetadata_ = false;
  bool madeTrack_ = false;
};

}  // namespace host
