#include "host/serve/Server.h"

#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <initializer_list>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>

#include "host/Module.h"
#include "host/errorLines.h"
#include "host/input/AvLogRoute.h"
#include "host/serve/DurationHistogram.h"
#include "host/serve/ExitDeadline.h"
#include "host/serve/Storage.h"
#include "host/serve/WebInterface.h"
#include "host/serve/config/readServeConfig.h"
#include "host/serve/streams/Supervisor.h"
#include "host/serve/systemd/ServiceManager.h"

namespace host::serve {
namespace {

using std::chrono::microseconds;

/// After a request to stop: the time in which the recordings have to be finished, and the time after which the process
/// ends in any case. Both are within the 5 s that are promised.
constexpr std::chrono::milliseconds kFinishTime(4500);
constexpr std::chrono::milliseconds kExitTime(4800);
/// The longest time between two checks whether a stream hangs.
constexpr std::chrono::seconds kLongestWait(5);
/// The longest time between two checks whether a reload has ended.
constexpr std::chrono::milliseconds kLongestPoll(1000);

/// Blocks signals while it exists, so that wait() gets them.
class BlockedSignals {
 public:
  BlockedSignals(std::initializer_list<int> signals) {
    ::sigemptyset(&signals_);
    for (const int signal : signals) ::sigaddset(&signals_, signal);
    ::pthread_sigmask(SIG_BLOCK, &signals_, &old_);
  }
  ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &old_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

  /// The next signal; nothing if none came within the time.
  std::optional<int> wait(microseconds time) const {
    while (true) {
      const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
      const timespec limit{.tv_sec = seconds.count(), .tv_nsec = std::chrono::nanoseconds(time - seconds).count()};
      const int signal = ::sigtimedwait(&signals_, nullptr, &limit);
      if (signal > 0) return signal;
      if (errno == EAGAIN) return std::nullopt;
    }
  }

 private:
  sigset_t signals_{};
  sigset_t old_{};
};

/// A stream has some six descriptors, and the usual limit of 1,024 is for programs that use select(2).
void allowDescriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

/// Owns the parts of the service, in the order in which they need each other.
class Server {
 public:
  Server(const std::string& configPath, Log& log) : configPath_(configPath), log_(log) {}

  ExitStatus run(const ServeConfig& config) {
    apply(config);
    manager_.ready();
    while (true) {
      const auto signal =
          signals_.wait(std::min<microseconds>(manager_.watchdogPause().value_or(kLongestWait), kLongestWait));
      lookAround();
      if (signal == SIGHUP ? isStoppedInReload() : signal.has_value()) return finish();
    }
  }

 private:
  void lookAround() {
    manager_.watchdog();
    streams_.logHangs();
  }

  void apply(const ServeConfig& config) {
    // Before anything changes: if the address cannot be used, or the token cannot be read, the whole configuration is
    // refused.
    applyHttp(config);
    storage_.apply(config);
    streams_.apply(config);
  }

  void applyHttp(const ServeConfig& config) {
    // Without an address there is no HTTP.
    if (config.listenAddress.empty()) return web_.reset();
    const HttpOptions wanted = WebInterface::optionsOf(config);
    if (web_ && web_->options() == wanted) return;
    if (!web_) return openHttp(wanted);
    // The new address may be free only after the old one is. If it cannot be used, the old one has to work again.
    const HttpOptions before = web_->options();
    web_.reset();
    try {
      openHttp(wanted);
    } catch (...) {
      openHttp(before);
      throw;
    }
  }

  void openHttp(const HttpOptions& options) {
    web_ = std::make_unique<WebInterface>(options, streams_, storage_, fragmentWrites_, log_);
  }

  /// Reads the configuration again. Returns true if a request to stop came meanwhile; the reading may still be running
  /// then.
  bool isStoppedInReload() {
    manager_.reloading();
    // On another thread: this one must react to a request to stop although a disk does not respond.
    isReloading_ = true;
    const auto work = [this] {
      reload();
      isReloading_ = false;
    };
    try {
      reload_ = std::jthread(work);
    } catch (const std::system_error&) {
      // The system has no thread left. That must not end the streams.
      work();
    }
    const BlockedSignals stops{SIGINT, SIGTERM};
    for (std::chrono::milliseconds pause(10); isReloading_; pause = std::min(2 * pause, kLongestPoll)) {
      if (stops.wait(pause)) return true;
      // A restart would not help, and would interrupt the streams on other disks.
      lookAround();
    }
    manager_.ready();
    return false;
  }

  void reload() {
    // A user who reloads looks for the result in the log. It must be a line, not a higher count of the line before.
    log_.forget();
    try {
      apply(readServeConfig(configPath_, &log_));
      log_.note("the configuration was read again");
    } catch (const std::exception& error) {
      logErrorLines(log_, error.what());
      log_.error("the configuration was not changed");
    }
  }

  ExitStatus finish() {
    manager_.stopping();
    const auto now = std::chrono::steady_clock::now();
    std::jthread hooks;
    try {
      exitDeadline_.emplace(now + kExitTime, [this] { return lastWords(); });
      // Hooks need some seconds to end, so they end while the streams do.
      hooks = std::jthread([this] { storage_.stop(); });
    } catch (const std::system_error&) {
      // The system has no thread left: hooks end after the streams.
    }
    const auto unfinished = streams_.finish(now + kFinishTime);
    for (const std::string& name : unfinished) log_.error(fmt::format("{}: did not finish in time", name));
    isFinished_ = unfinished.empty();
    hooks.joinable() ? hooks.join() : storage_.stop();
    return isFinished_ ? ExitStatus::kOk : ExitStatus::kIncomplete;
  }

  ExitStatus lastWords() {
    // Everything that waits for a disk may hang in one that is gone, and the threads of streams in a name server.
    log_.error("the stop took too long: the process ends, and leaves what hangs");
    return isFinished_ ? ExitStatus::kOk : ExitStatus::kIncomplete;
  }

  StreamServices services() {
    return {.module = module_,
            .events = storage_,
            .prepare = [this](const StreamConfig& stream) { storage_.prepare(stream); },
            .requireRoot = [this](const StreamConfig& stream) { storage_.requireRoot(stream); },
            .makeRoom = [this](const std::string& root) { storage_.makeRoom(root); },
            .fragmentWrites = &fragmentWrites_};
  }

  const std::string& configPath_;
  Log& log_;
  // Before anything that starts threads: they inherit the mask.
  BlockedSignals signals_{SIGINT, SIGTERM, SIGHUP};
  std::atomic<bool> isReloading_ = false;
  /// All recordings were finished at the stop.
  std::atomic<bool> isFinished_ = false;
  /// From the stop on. Declared before the parts that may hang, so that it ends after them.
  std::optional<ExitDeadline> exitDeadline_;
  ServiceManager manager_;
  AvLogRoute avLog_{log_};
  Module module_{findModule()};
  DurationHistogram fragmentWrites_;
  Storage storage_{log_};
  Supervisor streams_{services()};
  /// Null before the first apply(), and without an address. Belongs to the thread that applies a configuration.
  std::unique_ptr<WebInterface> web_;
  /// Last, so that it ends before what it changes.
  std::jthread reload_;
};

}  // namespace

ExitStatus runServer(const std::string& configPath, const ServeConfig& config, Log& log) {
  // A connection that ends while something is written to it is an error of that connection.
  std::signal(SIGPIPE, SIG_IGN);
  allowDescriptors();
  return Server(configPath, log).run(config);
}

}  // namespace host::serve
