#pragma once

#include <cstddef>
#include <vector>

#include "host/input/Timeline.h"
#include "host/input/avObjects.h"

namespace host {

/// A packet and its times, as the demuxer gave them.
struct RawFrame {
  RawTimes times;
  Packet packet;
  /// The sequence header of its track from this frame on, if it changes here; empty otherwise.
  std::vector<std::byte> newHeader = {};
};

/// Gives the first frames of a track their decode times. Containers that store only presentation times leave the decode
/// times of the first reordered frames unknown. They are computed backwards from the first known one, by the frame
/// durations. A guess forwards would put several frames at the same time, and players drop those.
class LeadingFrames {
 public:
  /// More frames than any codec reorders. From then on frames keep their times, known or not.
  static constexpr std::size_t kMaxWaiting = 64;

  /// Takes the next frame. Returns the frames that need not wait any more, in order.
  std::vector<RawFrame> push(RawFrame frame);
  /// Returns the frames that still wait, with the times that they have. Call it at the end of the track.
  std::vector<RawFrame> flush();

 private:
  /// Sets the times of the waiting frames; `dts` is that of the frame after them.
  void countBack(std::int64_t dts);

  /// Whether a decode time was known, or the limit reached: no frame waits any more.
  bool done_ = false;
  /// The frames before the first known decode time, in order.
  std::vector<RawFrame> waiting_;
};

}  // namespace host
