#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/serve/hooks/HookJob.h"
#include "host/serve/hooks/HookProcess.h"
#include "host/serve/hooks/HookTiming.h"

namespace host::serve {

/// The programs of hooks that run now, each with its time limit. What they print goes to the log. Belongs to one
/// thread.
class RunningHooks {
 public:
  using Clock = HookTiming::Clock;

  /// Both outlive it.
  RunningHooks(Log& log, const HookTiming& timing) : log_(log), timing_(timing) {}
  /// Kills those that still run.
  ~RunningHooks() = default;
  RunningHooks(const RunningHooks&) = delete;
  RunningHooks& operator=(const RunningHooks&) = delete;

  /// Starts the program. It gets SIGTERM after `timeLimit`, if there is one, and SIGKILL after the grace. Throws
  /// CommandError if it cannot be started.
  void start(const HookJob& job, std::optional<std::chrono::milliseconds> timeLimit);
  std::size_t count() const { return hooks_.size(); }
  /// By stream; those without a program are not in it.
  std::map<std::string, std::size_t> countByStream() const;
  /// When the next program has to be ended or killed; nothing if none has a limit.
  std::optional<Clock::time_point> nextDeadline() const;

  /// Waits until a program ends or prints, `wakeFd` is readable, or the time is over. `timeoutMs` as for poll(2): -1
  /// without a limit. May return earlier.
  void wait(int wakeFd, int timeoutMs) const;
  struct Ended {
    RecordingPlace recording;
    bool isTimeout = false;
    /// As HookProcess::result(): empty for success.
    std::string failure;
  };
  /// Takes what the programs have printed, ends those whose time is over, and returns those that have ended.
  std::vector<Ended> takeEnded();
  /// Ends all programs, within the grace and a little.
  void endAll();

 private:
  struct Running {
    RecordingPlace recording;
    std::unique_ptr<HookProcess> process;
    /// When it is asked to end, and when it is killed.
    std::optional<Clock::time_point> deadline;
    std::optional<Clock::time_point> killAt;
  };

  void endOverdue(Running& running, Clock::time_point now) const;

  Log& log_;
  const HookTiming& timing_;
  std::vector<Running> hooks_;
};

}  // namespace host::serve
