#include "host/serve/systemd/ServiceManager.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <system_error>

#include "platform/os/retried.h"

namespace host::serve {
namespace {

std::string_view environmentText(const char* name) {
  const char* const text = std::getenv(name);
  return text != nullptr ? text : "";
}

std::optional<std::uint64_t> wholeNumber(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// A datagram socket that is connected to `name`: a path, or a name in the abstract name space with an `@` for its zero
/// byte. -1 if there is none.
int connectedSocket(std::string_view name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (name.size() < 2 || name.size() >= sizeof address.sun_path || (name[0] != '/' && name[0] != '@')) return -1;
  std::ranges::copy(name, address.sun_path);
  if (name[0] == '@') address.sun_path[0] = '\0';
  // Without a zero byte at the end, which would be part of an abstract name.
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const timeval longestWait{.tv_sec = 1, .tv_usec = 0};
  ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &longestWait, sizeof longestWait);
  if (fd == -1 || ::connect(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0) return fd;
  ::close(fd);
  return -1;
}

std::optional<std::chrono::microseconds> pauseOfWatchdog() {
  const auto limit = wholeNumber(environmentText("WATCHDOG_USEC"));
  if (!limit || *limit < 2) return std::nullopt;
  // A child of the watched process has the same environment.
  const std::string_view pid = environmentText("WATCHDOG_PID");
  if (!pid.empty() && wholeNumber(pid) != static_cast<std::uint64_t>(::getpid())) return std::nullopt;
  return std::chrono::microseconds(*limit / 2);
}

}  // namespace

ServiceManager::ServiceManager() : socket_(connectedSocket(environmentText("NOTIFY_SOCKET"))) {
  if (socket_ != -1) watchdogPause_ = pauseOfWatchdog();
}

ServiceManager::~ServiceManager() {
  if (socket_ != -1) ::close(socket_);
}

void ServiceManager::ready() const {
  send("READY=1", Wait::kShortly);
}

void ServiceManager::reloading() const {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  // Version 252 ignores the time. From 253 on a service of Type=notify-reload needs it.
  constexpr std::int64_t kMicrosecondsASecond = 1'000'000;
  send(fmt::format("RELOADING=1\nMONOTONIC_USEC={}", now.tv_sec * kMicrosecondsASecond + now.tv_nsec / 1000),
       Wait::kShortly);
}

void ServiceManager::stopping() const {
  send("STOPPING=1", Wait::kShortly);
}

void ServiceManager::watchdog() const {
  send("WATCHDOG=1", Wait::kNo);
}

void ServiceManager::send(const std::string& assignments, Wait wait) const {
  if (socket_ == -1) return;
  // What comes again may be lost; the watchdog's thread must not hang because the manager does.
  const int flags = MSG_NOSIGNAL | (wait == Wait::kNo ? MSG_DONTWAIT : 0);
  platform::os::retried([&] { return ::send(socket_, assignments.data(), assignments.size(), flags); });
}

}  // namespace host::serve
