#include "host/serve/hooks/HookRunner.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <set>
#include <system_error>
#include <tuple>

#include "host/errors.h"
#include "host/serve/catalog/RecordingFacts.h"
#include "host/serve/config/maskedSource.h"
#include "host/serve/hooks/HookMarkers.h"
#include "host/serve/hooks/hookWords.h"
#include "platform/os/Descriptor.h"

namespace host::serve {
namespace {

/// The pauses double; more doublings than this are longer than any limit.
constexpr unsigned kMostDoublings = 20;

std::string nameOf(const std::pair<std::string, std::string>& key) {
  return fmt::format("hook of {}/{}", key.first, key.second);
}

HookMarkers::Marker markerOf(const std::pair<std::string, std::string>& key) {
  return {.stream = key.first, .recording = key.second};
}

/// The recordings that a process has finished which ended before it could say so. What is not finished gets its hook
/// after its repair.
std::vector<RecordingPlace> finishedUnseen(const std::string& root, const std::set<std::string>& streams) {
  std::vector<RecordingPlace> finished;
  const HookMarkers begun = HookMarkers::begun(root);
  for (const HookMarkers::Marker& marker : begun.list()) {
    if (!streams.contains(marker.stream)) continue;
    const auto facts = readFacts(root + '/' + marker.stream, *parseRecordingName(marker.recording));
    if (facts.kind == RecordingFacts::Kind::kMissing) begun.remove(marker);
    const bool isRecording = facts.kind == RecordingFacts::Kind::kRecording;
    if (isRecording && facts.state == RecordingState::kFinished) {
      finished.push_back({.root = root, .stream = marker.stream, .name = marker.recording});
    }
  }
  return finished;
}

/// Whether there is no such path in a folder, or no folder. False if that cannot be known.
bool isMissing(const platform::os::Descriptor& folder, const std::string& path) {
  struct stat ignored {};
  return !folder || (::fstatat(folder.get(), path.c_str(), &ignored, 0) != 0 && errno == ENOENT);
}

}  // namespace

HookRunner::HookRunner(Log& log) : HookRunner(log, Timing()) {}

HookRunner::HookRunner(Log& log, Timing timing)
    : log_(log), timing_(std::move(timing)), wakeFd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (wakeFd_ == -1) throw std::system_error(errno, std::generic_category(), "eventfd");
}

HookRunner::~HookRunner() {
  stop();
  ::close(wakeFd_);
}

void HookRunner::configure(const ServeConfig& config) {
  // Of the other streams the hooks that wait are known. One that succeeds meanwhile must not come back.
  std::map<std::string, std::set<std::string>> newStreams;
  {
    const std::scoped_lock lock(mutex_);
    for (const StreamConfig& stream : config.streams) {
      const auto known = streams_.find(stream.name);
      if (stream.onRecording.empty() || (known != streams_.end() && known->second.root == stream.root)) continue;
      newStreams[stream.root].insert(stream.name);
    }
  }
  std::map<Key, Hook> waiting;
  std::vector<RecordingPlace> unseen;
  for (const auto& [root, streams] : newStreams) {
    for (const auto& [stream, recording] : HookMarkers::waiting(root).list()) {
      if (streams.contains(stream)) waiting.try_emplace({stream, recording}, Hook{.root = root, .due = timing_.now()});
    }
    for (RecordingPlace& recording : finishedUnseen(root, streams)) unseen.push_back(std::move(recording));
  }
  takeConfiguration(config, std::move(waiting));
  for (const RecordingPlace& recording : unseen) add(recording);
}

void HookRunner::takeConfiguration(const ServeConfig& config, std::map<Key, Hook> waiting) {
  const std::scoped_lock lock(mutex_);
  parallel_ = config.hookParallel;
  timeLimit_ = config.hookTimeout;
  for (const StreamConfig& stream : config.streams) {
    if (stream.onRecording.empty()) {
      streams_.erase(stream.name);
    } else {
      Stream& taken = streams_[stream.name];
      taken.root = stream.root;
      taken.words = stream.onRecording;
    }
  }
  // A stream that is not in the configuration any more keeps its hook: its last recording is only finishing now.
  std::erase_if(hooks_, [this](const auto& hook) { return !streams_.contains(hook.first.first); });
  hooks_.merge(waiting);
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
  endAll();
}

bool HookRunner::hasHook(const std::string& stream) const {
  const std::scoped_lock lock(mutex_);
  return streams_.contains(stream);
}

void HookRunner::begun(const RecordingPlace& recording) const {
  // If it fails, add() is early enough for all but a kill in between.
  if (hasHook(recording.stream)) HookMarkers::begun(recording.root).add({recording.stream, recording.name});
}

void HookRunner::dropped(const RecordingPlace& recording) const {
  if (hasHook(recording.stream)) HookMarkers::begun(recording.root).remove({recording.stream, recording.name});
}

void HookRunner::add(const RecordingPlace& recording) {
  if (!hasHook(recording.stream)) return;
  const Key key(recording.stream, recording.name);
  // First the marker: the hook may end before this returns, and would leave it.
  if (!HookMarkers::waiting(recording.root).add(markerOf(key))) {
    log_.warning(
        fmt::format("{}: would be forgotten by a restart, since its marker in '{}/.k2r/hooks' cannot be made: {}",
                    nameOf(key), recording.root, std::error_code(errno, std::generic_category()).message()));
  }
  HookMarkers::begun(recording.root).remove(markerOf(key));
  const std::scoped_lock lock(mutex_);
  if (streams_.contains(recording.stream)) hooks_.try_emplace(key, Hook{.root = recording.root, .due = timing_.now()});
  wake();
}

bool HookRunner::mustKeep(const std::string& stream, const std::string& recording) const {
  const std::scoped_lock lock(mutex_);
  return hooks_.contains({stream, recording});
}

void HookRunner::forget(const std::string& stream, const std::string& recording) {
  const Key key(stream, recording);
  std::string root;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = hooks_.find(key);
    if (found == hooks_.end()) return;
    root = found->second.root;
    hooks_.erase(found);
  }
  HookMarkers::waiting(root).remove(markerOf(key));
  log_.warning(fmt::format("{}: did not succeed before the recording was removed", nameOf(key)));
}

std::map<std::string, HookStatus> HookRunner::status() const {
  const std::scoped_lock lock(mutex_);
  std::map<std::string, HookStatus> status;
  for (const auto& [name, stream] : streams_) status[name] = stream.counts;
  for (const auto& [key, hook] : hooks_) {
    HookStatus& counts = status[key.first];
    ++counts.waiting;
    if (hook.isRunning) ++counts.running;
    if (hook.failures >= kAlarmFailures) ++counts.alarms;
  }
  return status;
}

void HookRunner::run() {
  while (!isStopping()) step(true);
}

bool HookRunner::isStopping() const {
  const std::scoped_lock lock(mutex_);
  return isStopping_;
}

void HookRunner::wake() const {
  [[maybe_unused]] const int ignored = ::eventfd_write(wakeFd_, 1);
}

void HookRunner::step(bool wait) {
  while (const auto job = takeDue()) startHook(*job);
  waitForEvent(wait);
  takeEnded();
}

std::optional<HookRunner::Job> HookRunner::takeDue() {
  const std::scoped_lock lock(mutex_);
  if (isStopping_ || running_.size() >= parallel_) return std::nullopt;
  std::map<std::string, std::size_t> runningOf;
  for (const Running& running : running_) ++runningOf[running.key.first];
  // A stream whose hooks hang or fail must not take all the places from the others.
  const auto rank = [&runningOf](const auto& entry) {
    const auto& [key, hook] = entry;
    return std::tuple(runningOf[key.first], hook.failures, hook.due, key.second);
  };
  const auto now = timing_.now();
  auto first = hooks_.end();
  for (auto hook = hooks_.begin(); hook != hooks_.end(); ++hook) {
    if (hook->second.isRunning || hook->second.due > now) continue;
    if (first == hooks_.end() || rank(*hook) < rank(*first)) first = hook;
  }
  if (first == hooks_.end()) return std::nullopt;
  first->second.isRunning = true;
  return Job{.key = first->first, .root = first->second.root, .words = streams_.at(first->first.first).words};
}

void HookRunner::startHook(const Job& job) {
  const auto& [stream, recording] = job.key;
  const std::string directory = fmt::format("{}/{}/{}", job.root, stream, recording);
  // One descriptor for both looks: a disk that comes back between them must not make a recording on it a removed one.
  const platform::os::Descriptor root(job.root, O_PATH | O_DIRECTORY);
  if (isMissing(root, stream + "/" + recording)) {
    if (!isMissing(root, ".k2r")) return forget(stream, recording);
    return settle(job.key, job.root, false, fmt::format("'{}' is not mounted", job.root));
  }
  const auto words = hookWords(job.words, {.directory = directory, .stream = stream, .recording = recording});
  const auto takeLine = [this, name = nameOf(job.key)](std::string_view line) {
    log_.note(fmt::format("{}: {}", name, maskedText(line, "")));
  };
  std::optional<Clock::time_point> deadline;
  {
    const std::scoped_lock lock(mutex_);
    if (timeLimit_) deadline = timing_.now() + *timeLimit_;
  }
  try {
    running_.push_back({.key = job.key,
                        .root = job.root,
                        .process = std::make_unique<HookProcess>(words, takeLine),
                        .deadline = deadline,
                        .killAt = {}});
  } catch (const CommandError& failure) {
    settle(job.key, job.root, false, failure.what());
  }
}

void HookRunner::waitForEvent(bool wait) {
  std::vector<pollfd> watched{{wakeFd_, POLLIN, 0}};
  for (const Running& running : running_) {
    watched.push_back({running.process->endDescriptor(), POLLIN, 0});
    // poll(2) ignores -1.
    watched.push_back({running.process->outputDescriptor(), POLLIN, 0});
  }
  // EINTR is an event as good as any.
  ::poll(watched.data(), watched.size(), wait ? pollTimeoutMs() : 0);
  eventfd_t ignored = 0;
  ::eventfd_read(wakeFd_, &ignored);
}

int HookRunner::pollTimeoutMs() const {
  using std::chrono::milliseconds;
  // poll() takes an int; a step more does no harm.
  constexpr milliseconds kLongest = std::chrono::hours(1);
  std::optional<Clock::time_point> next;
  const auto take = [&next](Clock::time_point time) { next = next ? std::min(*next, time) : time; };
  for (const Running& running : running_) {
    if (const auto time = running.killAt ? running.killAt : running.deadline) take(*time);
  }
  {
    const std::scoped_lock lock(mutex_);
    for (const auto& [key, hook] : hooks_) {
      if (!hook.isRunning && running_.size() < parallel_) take(hook.due);
    }
  }
  if (!next) return -1;
  const auto left = std::chrono::ceil<milliseconds>(*next - timing_.now());
  return static_cast<int>(std::clamp(left, milliseconds(0), kLongest).count());
}

void HookRunner::takeEnded() {
  const auto now = timing_.now();
  for (Running& running : running_) {
    running.process->readOutput();
    if (const auto failure = running.process->result()) {
      running.process.reset();
      settle(running.key, running.root, running.killAt.has_value(), *failure);
    } else {
      endOverdue(running, now);
    }
  }
  std::erase_if(running_, [](const Running& running) { return running.process == nullptr; });
}

void HookRunner::endOverdue(Running& running, Clock::time_point now) const {
  if (running.killAt && now >= *running.killAt) running.process->endBy(SIGKILL);
  if (running.killAt || !running.deadline || now < *running.deadline) return;
  running.process->endBy(SIGTERM);
  running.killAt = now + timing_.grace;
}

void HookRunner::settle(const Key& key, const std::string& root, bool isTimeout, const std::string& failure) {
  if (isTimeout || !failure.empty()) return countFailure(key, isTimeout, failure);
  // Before the retention may remove the recording: no marker must be left without one.
  const bool isRemoved = HookMarkers::waiting(root).remove(markerOf(key));
  if (!isRemoved)
    log_.warning(fmt::format("{}: succeeded, but its marker cannot be removed, so a restart repeats it", nameOf(key)));
  const std::scoped_lock lock(mutex_);
  hooks_.erase(key);
  if (const auto stream = streams_.find(key.first); stream != streams_.end()) ++stream->second.counts.succeeded;
}

void HookRunner::countFailure(const Key& key, bool isTimeout, const std::string& failure) {
  std::string text = isTimeout ? "ran too long and was ended" : failure;
  Clock::duration pause{};
  unsigned failures = 0;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = hooks_.find(key);
    // Forgotten while it ran, or its stream has no hook any more.
    if (found == hooks_.end()) return;
    Hook& hook = found->second;
    hook.isRunning = false;
    pause = std::min(timing_.longestPause, timing_.firstPause * (1 << std::min(hook.failures, kMostDoublings)));
    failures = ++hook.failures;
    hook.due = timing_.now() + pause;
    HookStatus& counts = streams_.at(key.first).counts;
    ++(isTimeout ? counts.timedOut : counts.failed);
    counts.lastError = text;
  }
  text = fmt::format("{}: {} (failure {}); again in {} s", nameOf(key), text, failures,
                     std::chrono::duration_cast<std::chrono::seconds>(pause).count());
  failures == kAlarmFailures ? log_.error(text) : log_.warning(text);
}

void HookRunner::endAll() {
  for (Running& running : running_) running.process->endBy(SIGTERM);
  const auto killAt = timing_.now() + timing_.grace;
  while (!running_.empty()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(killAt - timing_.now()).count();
    pollfd end{running_.back().process->endDescriptor(), POLLIN, 0};
    if (left > 0 && ::poll(&end, 1, static_cast<int>(left)) < 1) continue;
    // Not counted, and the marker stays: the next process runs it again. The destructor kills what is left.
    if (left > 0) running_.back().process->result();
    running_.pop_back();
  }
}

}  // namespace host::serve
