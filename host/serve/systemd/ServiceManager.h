#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace host::serve {

/// Reports the state of the process to the service manager that started it: one datagram each to the socket that the
/// environment names (sd_notify(3)). Does nothing if it names none. A datagram that cannot be sent is not an error: the
/// service works without it. A change of state waits up to a second for room in the manager's queue. Any thread may
/// call it.
class ServiceManager {
 public:
  /// Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID. The environment must not change meanwhile.
  ServiceManager();
  ~ServiceManager();
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  /// The service works; also after reloading().
  void ready() const;
  /// The configuration is being read again. ready() has to follow.
  void reloading() const;
  void stopping() const;
  /// The process is alive. To be sent each watchdogPause() from the thread whose hang must be noticed.
  void watchdog() const;
  /// Half of the time after which the manager restarts a silent process; nothing if it does not watch this one.
  std::optional<std::chrono::microseconds> watchdogPause() const { return watchdogPause_; }

 private:
  enum class Wait { kNo, kShortly };
  void send(const std::string& assignments, Wait wait) const;

  /// -1 without a manager.
  int socket_ = -1;
  std::optional<std::chrono::microseconds> watchdogPause_;
};

}  // namespace host::serve
