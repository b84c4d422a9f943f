#pragma once

#include <chrono>
#include <cstddef>

#include "host/StopSignal.h"

namespace host {

/// Lets the bytes of a live source gather before the next read, so that its thread wakes a few times a second and not
/// for every packet. Adapts to the source: what gathers stays far below what the buffers of the system and of
/// libavformat take. Belongs to the thread that reads.
class ReadPause {
 public:
  /// The longest pause, and so what it adds to the age of a frame.
  static constexpr std::chrono::milliseconds kLongest{200};
  /// A pause is shortened when more than this has gathered.
  static constexpr std::size_t kMostGathered = std::size_t{64} << 10;

  /// `stop` ends a pause. It outlives this object.
  explicit ReadPause(const StopSignal& stop) : stop_(stop) {}

  /// Waits if the last read had to wait, since then everything that had come was read. Returns whether there was a
  /// pause.
  bool await();
  /// Called at once before and after a read of libavformat; `bytes` is what it returned.
  void beginRead() { beganAt_ = Clock::now(); }
  void endRead(std::size_t bytes) { add(bytes, hasWaited()); }
  /// What endRead() does: `hasWaited` is whether the read had to wait.
  void add(std::size_t bytes, bool hasWaited);
  /// The pause that comes next.
  std::chrono::milliseconds pause() const { return isDue_ ? pause_ : std::chrono::milliseconds(0); }

 private:
  using Clock = std::chrono::steady_clock;

  /// Whether the read since beginRead() had to wait.
  bool hasWaited();

  const StopSignal& stop_;
  std::chrono::milliseconds pause_{0};
  std::size_t gathered_ = 0;
  bool isDue_ = false;
  Clock::time_point beganAt_;
  /// How often this thread had given up its processor to wait when that was last looked at.
  long switches_ = 0;
};

}  // namespace host
