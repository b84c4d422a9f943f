#pragma once

#include <cstddef>
#include <vector>

#include "host/input/Timeline.h"
#include "host/input/avObjects.h"

namespace host {

/// A packet and its times as the demuxer gave them.
struct RawFrame {
  RawTimes times;
  Packet packet;
  /// The sequence header that its track has from here on; empty where nothing changes.
  std::vector<std::byte> newHeader = {};
};

/// Gives the first frames of a track their decode times. Containers that store presentation times alone leave those of
/// the first reordered frames unknown; counted back from the first known one they are right, where a guess forward
/// would put several frames at one time.
class LeadingFrames {
 public:
  /// More than any codec reorders. From then on frames go on as they are.
  static constexpr std::size_t kMaxWaiting = 64;

  /// Takes the next frame and answers those that need not wait, in order.
  std::vector<RawFrame> push(RawFrame frame);
  /// Those that still wait, as they are: the track has ended.
  std::vector<RawFrame> flush();

 private:
  void countBack(std::int64_t dts);

  bool done_ = false;
  std::vector<RawFrame> waiting_;
};

}  // namespace host
