#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "host/input/AvTrack.h"
#include "host/input/Timeline.h"
#include "host/input/avObjects.h"

namespace host {

/// A frame between demuxer and message.
struct QueuedFrame {
  std::size_t track = 0;
  FrameTimes times;
  Packet packet;
  /// The sequence header that its track has from here on; empty where nothing changes.
  std::vector<std::byte> newHeader = {};
  std::shared_ptr<const AvTrack> converter = {};
};

/// Brings the frames of several tracks into the order of their decode times; on a tie the track of lower number comes
/// first. A frame waits until every track has one, so that none can come that is older. As a track may fall silent, the
/// wait ends when the frames spread over more media time, or have more bytes, than such an input would ever need.
class Interleaver {
 public:
  static constexpr std::int64_t kMaxSpreadMs = 5000;
  static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

  explicit Interleaver(std::size_t tracks) : tracks_(tracks) {}
  /// The times of a track do not fall.
  void push(QueuedFrame frame);
  /// The next frame, or nothing where it is too early to tell. With `atEnd` none waits.
  std::optional<QueuedFrame> pop(bool atEnd);

 private:
  bool full() const;

  std::vector<std::deque<QueuedFrame>> tracks_;
  std::size_t bytes_ = 0;
};

}  // namespace host
