#include "host/serve/hooks/HookRunner.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "host/errors.h"
#include "platform/os/Descriptor.h"

namespace host::serve {
namespace {

/// Whether the folder or the path in it does not exist. False if that cannot be found out.
bool isMissing(const platform::os::Descriptor& folder, const std::string& path) {
  struct stat ignored {};
  return !folder || (::fstatat(folder.get(), path.c_str(), &ignored, 0) != 0 && errno == ENOENT);
}

}  // namespace

HookRunner::HookRunner(Log& log) : HookRunner(log, Timing()) {}

HookRunner::HookRunner(Log& log, Timing timing)
    : timing_(std::move(timing)),
      queue_(log, timing_),
      running_(log, timing_),
      wakeFd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (wakeFd_ == -1) throw std::system_error(errno, std::generic_category(), "eventfd");
}

HookRunner::~HookRunner() {
  stop();
  ::close(wakeFd_);
}

void HookRunner::configure(const ServeConfig& config) {
  {
    const std::scoped_lock lock(mutex_);
    limits_ = {.parallel = config.hookParallel, .time = config.hookTimeout};
  }
  queue_.configure(config);
  wake();
}

void HookRunner::start() {
  thread_ = std::thread([this] { run(); });
}

void HookRunner::stop() {
  {
    const std::scoped_lock lock(mutex_);
    isStopping_ = true;
  }
  wake();
  if (thread_.joinable()) thread_.join();
  running_.endAll();
}

void HookRunner::add(const RecordingPlace& recording) {
  queue_.add(recording);
  wake();
}

void HookRunner::run() {
  while (!isStopping()) step(true);
}

bool HookRunner::isStopping() const {
  const std::scoped_lock lock(mutex_);
  return isStopping_;
}

HookRunner::Limits HookRunner::limits() const {
  const std::scoped_lock lock(mutex_);
  return limits_;
}

void HookRunner::wake() const {
  [[maybe_unused]] const int ignored = ::eventfd_write(wakeFd_, 1);
}

void HookRunner::step(bool wait) {
  startDue();
  running_.wait(wakeFd_, wait ? pollTimeoutMs() : 0);
  eventfd_t ignored = 0;
  ::eventfd_read(wakeFd_, &ignored);
  takeEnded();
}

void HookRunner::startDue() {
  while (!isStopping()) {
    const Limits now = limits();
    if (running_.count() >= now.parallel) return;
    const auto job = queue_.takeDue(running_.countByStream());
    if (!job) return;
    startHook(*job, now);
  }
}

void HookRunner::startHook(const HookJob& job, const Limits& limits) {
  const RecordingPlace& recording = job.recording;
  // Both checks use one descriptor: if a disk comes back between them, its recordings must not count as removed.
  const platform::os::Descriptor root(recording.root, O_PATH | O_DIRECTORY);
  if (isMissing(root, recording.stream + "/" + recording.name)) {
    if (!isMissing(root, ".k2r")) return queue_.forget(recording.stream, recording.name);
    return queue_.failed(recording, fmt::format("'{}' is not mounted", recording.root));
  }
  try {
    running_.start(job, limits.time);
  } catch (const CommandError& failure) {
    queue_.failed(recording, failure.what());
  }
}

int HookRunner::pollTimeoutMs() const {
  using std::chrono::milliseconds;
  // poll() takes an int, and a needless wake-up does no harm.
  constexpr milliseconds kLongest = std::chrono::hours(1);
  auto next = running_.nextDeadline();
  const auto due = running_.count() < limits().parallel ? queue_.nextDue() : std::nullopt;
  if (due) next = next ? std::min(*next, *due) : *due;
  if (!next) return -1;
  const auto left = std::chrono::ceil<milliseconds>(*next - timing_.now());
  return static_cast<int>(std::clamp(left, milliseconds(0), kLongest).count());
}

void HookRunner::takeEnded() {
  for (const RunningHooks::Ended& hook : running_.takeEnded()) {
    if (hook.isTimeout) {
      queue_.timedOut(hook.recording);
    } else if (hook.failure.empty()) {
      queue_.succeeded(hook.recording);
    } else {
      queue_.failed(hook.recording, hook.failure);
    }
  }
}

}  // namespace host::serve
