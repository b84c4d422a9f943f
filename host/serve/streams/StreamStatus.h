#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "host/record/LossReason.h"

namespace host::serve {

/// What a stream is doing.
enum class StreamState {
  /// Not wanted: disabled, or stopped by a request.
  kStopped,
  /// The source is being opened, or waited for.
  kConnecting,
  kRecording,
  /// The source gives media, and none can be stored: the disk is full, hangs, or the directory is gone.
  kBlocked,
  /// The stream cannot be recorded as it is configured; it is tried again.
  kFailed,
};

using host::kLossReasons;
using host::LossReason;
/// As in the label `reason` of the metrics: "source", "no_key_frame", "queue", "refused", "tail".
std::string_view lossReasonText(LossReason reason);
/// "stopped", "connecting", "recording", "blocked", "failed".
std::string_view streamStateText(StreamState state);

/// Frames and their bytes, without metadata and codec configurations.
struct FrameCount {
  std::uint64_t frames = 0;
  std::uint64_t bytes = 0;
};

/// A stream at one moment. Counts are since the start of the process and never fall.
struct StreamSnapshot {
  StreamState state = StreamState::kStopped;
  /// When it came into this state, in milliseconds since 1970-01-01 UTC.
  std::int64_t sinceMs = 0;
  /// Without passwords; empty if there was none. Kept after the fault has gone.
  std::string lastError;
  std::int64_t lastErrorAtMs = 0;
  /// Name of the recording in progress; empty if there is none.
  std::string recording;
  FrameCount received;
  FrameCount stored;
  /// By LossReason.
  std::array<double, kLossReasons> lostSeconds{};
  std::array<std::uint64_t, kLossReasons> lostFrames{};
  std::uint64_t gaps = 0;
  std::uint64_t reconnects = 0;
  std::uint64_t recordingsBegun = 0;
  /// Memory of the messages that wait for their fragment.
  std::uint64_t queueBytes = 0;
  /// When the last fragment was on disk, in milliseconds since 1970-01-01 UTC; 0 if none was.
  std::int64_t lastFragmentAtMs = 0;
  /// Average of the last five seconds or so, computed again after as long.
  double receivedBytesPerSecond = 0;
};

/// The snapshot of one stream. Its recording thread changes it, any thread reads it.
class StreamStatus {
 public:
  /// A copy, in which all members are of the same moment.
  StreamSnapshot get() const {
    const std::scoped_lock lock(mutex_);
    return snapshot_;
  }
  /// As get(), without a copy of the texts.
  StreamState state() const {
    const std::scoped_lock lock(mutex_);
    return snapshot_.state;
  }
  /// Whether the thread works on what the source gave, or waits for the source.
  void setWorking(bool isWorking) { workingSince_ = isWorking ? Clock::now() : Clock::time_point(); }
  /// How long it has worked on that; 0 while it waits.
  std::chrono::nanoseconds workingFor() const {
    const Clock::time_point since = workingSince_;
    return since == Clock::time_point() ? std::chrono::nanoseconds(0) : Clock::now() - since;
  }
  /// `change` gets the snapshot to change, under the lock; it must not block.
  template <typename Change>
  void update(const Change& change) {
    const std::scoped_lock lock(mutex_);
    change(snapshot_);
  }

 private:
  using Clock = std::chrono::steady_clock;

  mutable std::mutex mutex_;
  /// Guarded by `mutex_`.
  StreamSnapshot snapshot_;
  std::atomic<Clock::time_point> workingSince_ = Clock::time_point();
};

}  // namespace host::serve
