#pragma once

extern "C" {
#include <libavformat/avio.h>
}

#include <atomic>
#include <chrono>
#include <string>

#include "host/StopSignal.h"

namespace host {

/// Ends libav's waits: after a request to stop, or if the input gives no data for too long.
class InputWatch {
 public:
  using Clock = std::chrono::steady_clock;

  /// `limit` in ms; 0 is no limit. `stop` outlives it.
  InputWatch(const StopSignal& stop, std::chrono::milliseconds limit) : stop_(stop), limit_(limit) {}
  /// Starts to count the time without data.
  void restart(Clock::time_point now = Clock::now()) { start_ = now; }
  /// Leaves out a time in which the caller did not read.
  void leaveOut(Clock::duration time) { start_ = start_.load() + time; }
  /// Whether there was no restart() within the limit.
  bool isStalled() const { return limit_.count() > 0 && Clock::now() - start_.load() > limit_; }
  /// Whether a call of libav was interrupted. Packets that it still returns were received before that.
  bool wasInterrupted() const { return interrupted_; }
  /// Whether a failed call of libav was ended by the limit. `error` is the status that it returned.
  bool isStall(int error) const;
  /// Why a call of libav failed, for the user: what libav says, or how long nothing came.
  std::string reasonOf(int error) const;
  /// For the context of libav, which may call it from its own threads. It points to this object, which must not move
  /// and outlives the context.
  AVIOInterruptCB callback();

 private:
  const StopSignal& stop_;
  std::chrono::milliseconds limit_;
  std::atomic<Clock::time_point> start_ = Clock::now();
  std::atomic<bool> interrupted_ = false;
};

}  // namespace host
