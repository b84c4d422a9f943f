#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Log.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/hooks/HookJob.h"
#include "host/serve/hooks/HookTiming.h"

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
  /// Those whose hook has failed HookQueue::kAlarmFailures times or more since the start of the process.
  std::size_t alarms = 0;
  /// Why a hook did not succeed last; kept after a success.
  std::string lastError = {};
};

/// The hooks that have not succeeded yet, in memory and as markers on disk (HookMarkers), by which the next process
/// continues after any end of this one. Any thread may call it. Only configure(), begun(), dropped(), add(), forget()
/// and succeeded() wait for a disk.
class HookQueue {
 public:
  using Clock = HookTiming::Clock;

  /// The failure of a recording's hook that is logged as an error.
  static constexpr unsigned kAlarmFailures = 8;

  /// Both outlive it.
  HookQueue(Log& log, const HookTiming& timing) : log_(log), timing_(timing) {}

  /// Takes the streams of a configuration, and reads which hooks were left in roots that are new. A stream that is gone
  /// keeps its hook; one without a hook any more loses those that wait. Recordings that an earlier process has finished
  /// without saying so are added.
  void configure(const ServeConfig& config);
  /// Notes a recording that begins, if its stream has a hook, by a marker on the device.
  void begun(const RecordingPlace& recording) const;
  /// Takes the note of begun() back: the recording had no fragment.
  void dropped(const RecordingPlace& recording) const;
  /// Queues the hook of a finished recording, due at once, after its marker is on the device. A marker that cannot be
  /// made is logged, and the hook is queued all the same.
  void add(const RecordingPlace& recording);
  /// Whether the hook of the recording has not succeeded yet. Does not wait for a disk.
  bool mustKeep(const std::string& stream, const std::string& recording) const;
  /// Takes a hook out of the queue that has not succeeded, and logs that. Does nothing if there is none.
  void forget(const std::string& stream, const std::string& recording);
  /// By the names of the streams that have a hook.
  std::map<std::string, HookStatus> status() const;

  // For the thread that runs the hooks.
  /// The hook to start next, which runs from now on: succeeded(), failed() or forget() has to follow. Nothing if none
  /// is due. `running` are the numbers of programs that run now, by stream.
  std::optional<HookJob> takeDue(std::map<std::string, std::size_t> running);
  /// When the next hook that does not run is due; nothing if there is none.
  std::optional<Clock::time_point> nextDue() const;
  /// The hook has succeeded: it leaves the queue.
  void succeeded(const RecordingPlace& recording);
  /// The hook has failed, and will be due again after a pause. Logs it.
  void failed(const RecordingPlace& recording, const std::string& reason);
  /// As failed(), for a hook that was ended because it ran too long.
  void timedOut(const RecordingPlace& recording);

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

  bool hasHook(const std::string& stream) const;
  /// `waiting` are the hooks of streams that are new.
  void takeConfiguration(const ServeConfig& config, std::map<Key, Hook> waiting);
  /// Counts a failure in `count`, logs it, and makes the hook wait.
  void postpone(const RecordingPlace& recording, std::uint64_t HookStatus::*count, const std::string& reason);

  Log& log_;
  const HookTiming& timing_;

  /// Guards all below. Not held while files are changed.
  mutable std::mutex mutex_;
  std::map<std::string, Stream> streams_;
  std::map<Key, Hook> hooks_;
};

}  // namespace host::serve
