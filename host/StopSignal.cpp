#include "host/StopSignal.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace host {
namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM};

/// The object that catches signals. A signal handler has no argument for it.
std::atomic<StopSignal*> catcher = nullptr;
struct sigaction oldActions[std::size(kStopSignals)];

/// Calls only what is safe in a signal handler, and keeps errno of the interrupted code.
void onSignal(int) {
  const int savedErrno = errno;
  if (StopSignal* const stop = catcher.load()) stop->request();
  errno = savedErrno;
}

}  // namespace

StopSignal::StopSignal() {
  if (::pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
}

StopSignal::~StopSignal() {
  if (catching_) {
    for (std::size_t i = 0; i < std::size(kStopSignals); ++i) ::sigaction(kStopSignals[i], &oldActions[i], nullptr);
    catcher = nullptr;
  }
  ::close(pipe_[0]);
  ::close(pipe_[1]);
}

void StopSignal::catchSignals() {
  catcher = this;
  catching_ = true;
  struct sigaction action {};
  action.sa_handler = onSignal;  // no SA_RESTART: a blocking read must return
  ::sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < std::size(kStopSignals); ++i) ::sigaction(kStopSignals[i], &action, &oldActions[i]);
}

void StopSignal::request() noexcept {
  requested_ = true;
  [[maybe_unused]] const ssize_t ignored = ::write(pipe_[1], "", 1);  // a full pipe wakes the reader as well
}

bool StopSignal::waitReadable(int fd) const {
  return wait(fd, nullptr);
}

bool StopSignal::waitReadable(int fd, std::chrono::steady_clock::time_point until) const {
  return wait(fd, &until);
}

bool StopSignal::waitUntil(std::chrono::steady_clock::time_point time) const {
  return wait(-1, &time);
}

bool StopSignal::wait(int fd, const std::chrono::steady_clock::time_point* until) const {
  using std::chrono::milliseconds;
  // poll() takes an int of milliseconds; the loop waits again.
  constexpr milliseconds kLongestPoll = std::chrono::minutes(1);
  while (!requested()) {
    int timeoutMs = -1;
    if (until != nullptr) {
      const auto left = *until - std::chrono::steady_clock::now();
      if (left <= left.zero()) return fd == -1;
      timeoutMs = static_cast<int>(std::min(std::chrono::ceil<milliseconds>(left), kLongestPoll).count());
    }
    pollfd watched[2] = {{pipe_[0], POLLIN, 0}, {fd, POLLIN, 0}};
    const int ready = ::poll(watched, 2, timeoutMs);
    if (ready < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
    // Also for an end or an error of `fd`: the read that follows reports it.
    if (ready > 0 && watched[1].revents != 0) return !requested();
  }
  return false;
}

}  // namespace host
