#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "host/Log.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/hooks/HookQueue.h"
#include "host/serve/hooks/HookTiming.h"
#include "host/serve/hooks/RunningHooks.h"

namespace host::serve {

/// Runs `on_recording` for each finished recording until it succeeds, some at once, on one thread. A marker on disk
/// (HookMarkers) lets the next process continue after any end of this one, so that a hook may run twice for one
/// recording. One that fails waits 10 s, then twice as long each time, up to an hour. Any thread may call it.
class HookRunner {
 public:
  using Clock = HookTiming::Clock;
  using Timing = HookTiming;

  static constexpr unsigned kAlarmFailures = HookQueue::kAlarmFailures;

  /// `log` outlives it. Throws std::system_error if the process has no descriptor left.
  explicit HookRunner(Log& log);
  HookRunner(Log& log, Timing timing);
  /// As stop().
  ~HookRunner();
  HookRunner(const HookRunner&) = delete;
  HookRunner& operator=(const HookRunner&) = delete;

  /// Takes the streams and limits of a configuration, also again, and reads which hooks were left in their roots. A
  /// stream that is gone keeps its hook until the end of the process; the hooks of one that has no command any more are
  /// dropped. Call it before the retention and the streams start: mustKeep() knows these hooks only afterwards.
  void configure(const ServeConfig& config);
  /// Starts the thread.
  void start();
  /// Ends the hooks that run, within the grace and a little; they run again in the next process. No hook starts after
  /// it.
  void stop();

  /// A recording has begun. Waits until that is on the device.
  void begun(const RecordingPlace& recording) const { queue_.begun(recording); }
  /// The recording that has begun had no fragment, and is removed.
  void dropped(const RecordingPlace& recording) const { queue_.dropped(recording); }
  /// A recording is finished: its hook, if its stream has one, is to run. Waits until the marker is on the device, so
  /// call it before the recording counts as finished for anything else.
  void add(const RecordingPlace& recording);
  /// Whether the recording must stay, because its hook has not succeeded yet.
  bool mustKeep(const std::string& stream, const std::string& recording) const {
    return queue_.mustKeep(stream, recording);
  }
  /// The recording is removed all the same, since the disk is full: its hook will not run again. Logs it.
  void forget(const std::string& stream, const std::string& recording) { queue_.forget(stream, recording); }

  /// By the names of the streams that have a hook.
  std::map<std::string, HookStatus> status() const { return queue_.status(); }

  /// What the thread does over and over: starts what is due, and takes what has ended. With `wait` it waits before
  /// until there is something to do. For tests, instead of start().
  void step(bool wait);

 private:
  struct Limits {
    std::size_t parallel = 1;
    std::optional<std::chrono::milliseconds> time;
  };

  void run();
  bool isStopping() const;
  Limits limits() const;
  void wake() const;
  void startDue();
  void startHook(const HookJob& job, const Limits& limits);
  /// How long poll(2) waits until a hook is due, or has to be ended: in ms, -1 without a limit.
  int pollTimeoutMs() const;
  void takeEnded();

  const Timing timing_;
  HookQueue queue_;
  /// Belongs to the thread that calls step().
  RunningHooks running_;
  /// An eventfd: readable after wake().
  int wakeFd_;
  std::thread thread_;

  /// Guards all below.
  mutable std::mutex mutex_;
  Limits limits_;
  bool isStopping_ = false;
};

}  // namespace host::serve
