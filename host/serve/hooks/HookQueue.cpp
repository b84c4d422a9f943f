#include "host/serve/hooks/HookQueue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>
#include <system_error>
#include <tuple>

#include "host/serve/catalog/RecordingFacts.h"
#include "host/serve/hooks/HookMarkers.h"

namespace host::serve {
namespace {

/// The pauses double; more doublings than this are longer than any limit.
constexpr unsigned kMostDoublings = 20;

HookMarkers::Marker markerOf(const RecordingPlace& recording) {
  return {.stream = recording.stream, .recording = recording.name};
}

/// The recordings whose process ended after it had finished them and before it could make their marker. A recording
/// that is not finished gets its hook after its repair.
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

}  // namespace

void HookQueue::configure(const ServeConfig& config) {
  // Only streams that are new: the hooks of the others are known, and one that succeeds meanwhile must not come back.
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

void HookQueue::takeConfiguration(const ServeConfig& config, std::map<Key, Hook> waiting) {
  const std::scoped_lock lock(mutex_);
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
}

bool HookQueue::hasHook(const std::string& stream) const {
  const std::scoped_lock lock(mutex_);
  return streams_.contains(stream);
}

void HookQueue::begun(const RecordingPlace& recording) const {
  // If this fails, add() still makes a marker, unless the process is killed before it.
  if (hasHook(recording.stream)) HookMarkers::begun(recording.root).add(markerOf(recording));
}

void HookQueue::dropped(const RecordingPlace& recording) const {
  if (hasHook(recording.stream)) HookMarkers::begun(recording.root).remove(markerOf(recording));
}

void HookQueue::add(const RecordingPlace& recording) {
  if (!hasHook(recording.stream)) return;
  // The marker is made first: the hook may end before this function does, and then removes it.
  if (!HookMarkers::waiting(recording.root).add(markerOf(recording))) {
    log_.warning(
        fmt::format("{}: would be forgotten by a restart, since its marker in '{}/.k2r/hooks' cannot be made: {}",
                    hookTitle(recording), recording.root, std::error_code(errno, std::generic_category()).message()));
  }
  HookMarkers::begun(recording.root).remove(markerOf(recording));
  const std::scoped_lock lock(mutex_);
  if (!streams_.contains(recording.stream)) return;
  hooks_.try_emplace({recording.stream, recording.name}, Hook{.root = recording.root, .due = timing_.now()});
}

bool HookQueue::mustKeep(const std::string& stream, const std::string& recording) const {
  const std::scoped_lock lock(mutex_);
  return hooks_.contains({stream, recording});
}

void HookQueue::forget(const std::string& stream, const std::string& recording) {
  RecordingPlace place{.root = {}, .stream = stream, .name = recording};
  {
    const std::scoped_lock lock(mutex_);
    const auto found = hooks_.find({stream, recording});
    if (found == hooks_.end()) return;
    place.root = found->second.root;
    hooks_.erase(found);
  }
  HookMarkers::waiting(place.root).remove(markerOf(place));
  log_.warning(fmt::format("{}: did not succeed before the recording was removed", hookTitle(place)));
}

std::map<std::string, HookStatus> HookQueue::status() const {
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

std::optional<HookJob> HookQueue::takeDue(std::map<std::string, std::size_t> running) {
  const std::scoped_lock lock(mutex_);
  // A stream whose hooks hang or fail must not take all the places from the others.
  const auto rank = [&running](const auto& entry) {
    const auto& [key, hook] = entry;
    return std::tuple(running[key.first], hook.failures, hook.due, key.second);
  };
  const auto now = timing_.now();
  auto first = hooks_.end();
  for (auto hook = hooks_.begin(); hook != hooks_.end(); ++hook) {
    if (hook->second.isRunning || hook->second.due > now) continue;
    if (first == hooks_.end() || rank(*hook) < rank(*first)) first = hook;
  }
  if (first == hooks_.end()) return std::nullopt;
  auto& [key, hook] = *first;
  hook.isRunning = true;
  return HookJob{.recording = {.root = hook.root, .stream = key.first, .name = key.second},
                 .words = streams_.at(key.first).words};
}

std::optional<HookQueue::Clock::time_point> HookQueue::nextDue() const {
  const std::scoped_lock lock(mutex_);
  std::optional<Clock::time_point> next;
  for (const auto& [key, hook] : hooks_) {
    if (!hook.isRunning) next = next ? std::min(*next, hook.due) : hook.due;
  }
  return next;
}

void HookQueue::succeeded(const RecordingPlace& recording) {
  // The marker is removed before the retention may remove the recording, so that no marker is left without one.
  if (!HookMarkers::waiting(recording.root).remove(markerOf(recording))) {
    log_.warning(
        fmt::format("{}: succeeded, but its marker cannot be removed, so a restart repeats it", hookTitle(recording)));
  }
  const std::scoped_lock lock(mutex_);
  hooks_.erase({recording.stream, recording.name});
  if (const auto stream = streams_.find(recording.stream); stream != streams_.end()) ++stream->second.counts.succeeded;
}

void HookQueue::failed(const RecordingPlace& recording, const std::string& reason) {
  postpone(recording, &HookStatus::failed, reason);
}

void HookQueue::timedOut(const RecordingPlace& recording) {
  postpone(recording, &HookStatus::timedOut, "ran too long and was ended");
}

void HookQueue::postpone(const RecordingPlace& recording, std::uint64_t HookStatus::*count, const std::string& reason) {
  Clock::duration pause{};
  unsigned failures = 0;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = hooks_.find({recording.stream, recording.name});
    // The hook was forgotten while it ran, or its stream has none any more.
    if (found == hooks_.end()) return;
    Hook& hook = found->second;
    hook.isRunning = false;
    pause = std::min(timing_.longestPause, timing_.firstPause * (1 << std::min(hook.failures, kMostDoublings)));
    failures = ++hook.failures;
    hook.due = timing_.now() + pause;
    HookStatus& counts = streams_.at(recording.stream).counts;
    ++(counts.*count);
    counts.lastError = reason;
  }
  const std::string text = fmt::format("{}: {} (failure {}); again in {} s", hookTitle(recording), reason, failures,
                                       std::chrono::duration_cast<std::chrono::seconds>(pause).count());
  failures == kAlarmFailures ? log_.error(text) : log_.warning(text);
}

}  // namespace host::serve
