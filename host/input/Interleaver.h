#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "host/input/AvTrack.h"
#include "host/input/Timeline.h"
#include "host/input/avObjects.h"

namespace host {

/// A frame between demuxer and message. Owns its packet.
struct QueuedFrame {
  std::size_t track = 0;
  FrameTimes times;
  Packet packet;
  /// The sequence header of its track from this frame on, if it changes here; empty otherwise.
  std::vector<std::byte> newHeader = {};
  /// Makes the message. Not null.
  std::shared_ptr<const AvTrack> converter = {};
  /// Number of new clocks of the source up to this frame.
  std::uint32_t newClocks = 0;
};

/// Sorts the frames of several tracks by decode time; on a tie the track of the lower number comes first. A frame waits
/// until every track has one, because an older one could still come. A track may fall silent, so the wait also ends
/// when the frames spread over more media time, or take more bytes, than the limits below; no file or live stream that
/// is interleaved needs so much.
class Interleaver {
 public:
  static constexpr std::int64_t kMaxSpreadMs = 5000;
  static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

  /// `tracks` is their number; they are counted from 0.
  explicit Interleaver(std::size_t tracks) : tracks_(tracks) {}
  /// The times of a track must not fall.
  void push(QueuedFrame frame);
  /// Returns the next frame, or nothing if an older one could still come. With `atEnd` no frame waits.
  std::optional<QueuedFrame> pop(bool atEnd);

 private:
  /// Whether a limit is exceeded.
  bool full() const;

  /// By track, the oldest frame first.
  std::vector<std::deque<QueuedFrame>> tracks_;
  /// Of the packets in all queues.
  std::size_t bytes_ = 0;
};

}  // namespace host
