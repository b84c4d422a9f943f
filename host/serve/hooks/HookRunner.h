#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/Log.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/hooks/HookProcess.h"
#include "host/serve/recordingName.h"

namespace host::serve {

/// The hooks of one stream. Counts are since the start of the process and never fall.
struct HookStatus {
  std::uint64_t succeeded = 0;
  std::uint64_t failed = 0;
  /// Ended because they ran too long; not in `failed`.
  std::uint64_t timedOut = 0;
  /// Recordings whose hook has not succeeded yet, and those of them whose hook runs now.
  std::size_t waiting = 0;
  std::size_t running = 0;
  /// Those whose hook has failed kAlarmFailures times or more since the start of the process.
  std::size_t alarms = 0;
  /// Why a hook did not succeed last; kept after a success.
  std::string lastError = {};
};

/// Runs `on_recording` for each finished recording until it succeeds, some at once, on one thread of its own. A marker
/// on disk (HookMarkers) lets the next process continue after any end of this one, so that a hook may run twice for one
/// recording. One that fails waits 10 s, then twice as long each time, up to an hour. Any thread may call it.
class HookRunner {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr unsigned kAlarmFailures = 8;

  /// For tests.
  struct Timing {
    std::function<Clock::time_point()> now = Clock::now;
    Clock::duration firstPause = std::chrono::seconds(10);
    Clock::duration longestPause = std::chrono::hours(1);
    /// Between SIGTERM and SIGKILL. A stop of the service has 5 s in all.
    Clock::duration grace = std::chrono::seconds(2);
  };

  /// `log` outlives it.
  explicit HookRunner(Log& log);
  HookRunner(Log& log, Timing timing);
  /// As stop().
  ~HookRunner();
  HookRunner(const HookRunner&) = delete;
  HookRunner& operator=(const HookRunner&) = delete;

  /// Takes the streams and limits of a configuration, also again, and reads which hooks were left in their roots. A
  /// stream that is gone keeps its hook until the end of the process; one that has no hook any more owes none. Before
  /// the retention and the streams start: mustKeep() knows these hooks only after it.
  void configure(const ServeConfig& config);
  /// Starts the thread.
  void start();
  /// Ends the hooks that run, within the grace and a little; they run again in the next process. No hook starts after
  /// it.
  void stop();

  /// A recording has begun. Waits until that is on the device.
  void begun(const RecordingPlace& recording) const;
  /// The recording that has begun had no fragment, and is removed.
  void dropped(const RecordingPlace& recording) const;
  /// A recording is finished: its hook, if its stream has one, is to run. Waits until the marker is on the device, so
  /// call it before the recording counts as finished for anything else.
  void add(const RecordingPlace& recording);
  /// Whether the recording must stay, because its hook has not succeeded yet.
  bool mustKeep(const std::string& stream, const std::string& recording) const;
  /// The recording is removed all the same, since the disk is full: its hook will not run again. Logs it.
  void forget(const std::string& stream, const std::string& recording);

  /// By the names of the streams that have a hook.
  std::map<std::string, HookStatus> status() const;

  /// What the thread does over and over: starts what is due, and takes what has ended. With `wait` it waits before
  /// until there is something to do. For tests, instead of start().
  void step(bool wait);

 private:
  struct Stream {
    std::string root;
    std::vector<std::string> words;
    HookStatus counts;
  };
  /// Stream and recording.
  using Key = std::pair<std::string, std::string>;
  struct Hook {
    std::string root;
    unsigned failures = 0;
    Clock::time_point due;
    bool isRunning = false;
  };
  struct Running {
    Key key;
    std::string root;
    std::unique_ptr<HookProcess> process;
    /// When it is asked to end, and when it is killed.
    std::optional<Clock::time_point> deadline;
    std::optional<Clock::time_point> killAt;
  };
  /// What a hook is started with.
  struct Job {
    Key key;
    std::string root;
    std::vector<std::string> words;
  };

  bool hasHook(const std::string& stream) const;
  /// `waiting` are the hooks of streams that are new.
  void takeConfiguration(const ServeConfig& config, std::map<Key, Hook> waiting);
  void run();
  bool isStopping() const;
  void wake() const;
  std::optional<Job> takeDue();
  void startHook(const Job& job);
  /// Until a hook ends or prints, something is due, or wake().
  void waitForEvent(bool wait);
  int pollTimeoutMs() const;
  void takeEnded();
  void endOverdue(Running& running, Clock::time_point now) const;
  void settle(const Key& key, const std::string& root, bool isTimeout, const std::string& failure);
  void countFailure(const Key& key, bool isTimeout, const std::string& failure);
  void endAll();

  Log& log_;
  const Timing timing_;
  /// An eventfd: readable after wake().
  int wakeFd_;
  std::thread thread_;
  /// Belongs to the thread that calls step().
  std::vector<Running> running_;

  /// Guards all below. Not held while files are changed or programs started.
  mutable std::mutex mutex_;
  std::map<std::string, Stream> streams_;
  std::map<Key, Hook> hooks_;
  std::size_t parallel_ = 1;
  std::optional<std::chrono::milliseconds> timeLimit_;
  bool isStopping_ = false;
};

}  // namespace host::serve
