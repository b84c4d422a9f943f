#include "host/serve/streams/Supervisor.h"

#include <fmt/format.h>

#include <cstdint>
#include <set>
#include <system_error>
#include <utility>

#include "host/Log.h"

namespace host::serve {
namespace {

/// Whether a stream is recorded in the same way by both: how finished recordings are treated is no reason to begin a
/// new one.
bool recordsAlike(const StreamConfig& one, StreamConfig other) {
  other.enabled = one.enabled;
  other.keep = one.keep;
  other.onRecording = one.onRecording;
  return one == other;
}

std::int64_t wholeSeconds(std::chrono::nanoseconds time) {
  return std::chrono::floor<std::chrono::seconds>(time).count();
}

std::string hangText(std::chrono::nanoseconds time) {
  return fmt::format("the stream has not responded for {} s: its disk hangs, or is far too slow", wholeSeconds(time));
}

}  // namespace

Supervisor::~Supervisor() {
  const std::scoped_lock lock(mutex_);
  // All are asked to stop before the first one is awaited.
  for (auto& [name, stream] : streams_) end(stream);
  streams_.clear();
}

void Supervisor::apply(const ServeConfig& config) {
  const std::scoped_lock lock(mutex_);
  if (isFinishing_) return;
  std::set<std::string> names;
  for (const StreamConfig& wanted : config.streams) {
    names.insert(wanted.name);
    const auto [entry, isNew] = streams_.try_emplace(wanted.name);
    Stream& stream = entry->second;
    if (isNew) stream.status->update([&](StreamSnapshot& status) { status.sinceMs = services_.now(); });
    const bool isChanged = !std::exchange(stream.isConfigured, true) || !recordsAlike(stream.config, wanted);
    stream.config = wanted;
    if (!stream.wanted.value_or(wanted.enabled)) {
      end(stream);
    } else if (isChanged || stream.isEnding || !stream.recorder) {
      begin(stream);
    }
  }
  for (auto& [name, stream] : streams_) {
    if (names.contains(name)) continue;
    stream.isConfigured = false;
    stream.wanted.reset();
    end(stream);
  }
  removeDone();
}

std::vector<std::string> Supervisor::finish(std::chrono::steady_clock::time_point deadline) {
  const std::scoped_lock lock(mutex_);
  isFinishing_ = true;
  for (auto& [name, stream] : streams_) end(stream);
  const auto unfinished = [this] {
    std::vector<std::string> names;
    for (const auto& [name, stream] : streams_) {
      if (stream.recorder && !stream.recorder->isDone()) names.push_back(name);
    }
    return names;
  };
  std::unique_lock doneLock(doneMutex_);
  done_.wait_until(doneLock, deadline, [&] { return unfinished().empty(); });
  return unfinished();
}

std::vector<Supervisor::View> Supervisor::views() const {
  const std::scoped_lock lock(mutex_);
  std::vector<View> views;
  for (const auto& [name, stream] : streams_) {
    if (stream.isConfigured) views.push_back(viewOf(stream));
  }
  return views;
}

std::optional<Supervisor::View> Supervisor::find(const std::string& name) const {
  const std::scoped_lock lock(mutex_);
  const auto found = streams_.find(name);
  if (found == streams_.end() || !found->second.isConfigured) return std::nullopt;
  return viewOf(found->second);
}

void Supervisor::logHangs() {
  const std::scoped_lock lock(mutex_);
  for (auto& [name, stream] : streams_) {
    const auto hanging = hangingFor(stream, stream.status->state());
    const bool hangs = hanging.count() != 0;
    if (hangs == stream.hangsSince.has_value()) continue;
    const auto now = std::chrono::steady_clock::now();
    Log log(services_.log, name + ": ", nullptr);
    if (hangs) {
      stream.hangsSince = now - hanging;
      log.error(hangText(hanging));
    } else {
      log.note(fmt::format("the stream responds again, after {} s", wholeSeconds(now - *stream.hangsSince)));
      stream.hangsSince.reset();
    }
  }
}

std::chrono::nanoseconds Supervisor::hangingFor(const Stream& stream, StreamState state) const {
  const bool isGoingOn = state == StreamState::kRecording || state == StreamState::kConnecting;
  const auto worked = stream.status->workingFor();
  return isGoingOn && worked >= services_.workLimit ? worked : std::chrono::nanoseconds(0);
}

Supervisor::View Supervisor::viewOf(const Stream& stream) const {
  View view{.config = stream.config, .snapshot = stream.status->get()};
  StreamSnapshot& now = view.snapshot;
  const auto hanging = hangingFor(stream, now.state);
  if (hanging.count() == 0) return view;
  now.state = StreamState::kBlocked;
  now.lastErrorAtMs = services_.now();
  now.sinceMs = now.lastErrorAtMs - std::chrono::floor<std::chrono::milliseconds>(hanging).count();
  now.lastError = hangText(hanging);
  now.receivedBytesPerSecond = 0;
  return view;
}

bool Supervisor::start(const std::string& name) {
  const std::scoped_lock lock(mutex_);
  const auto found = streams_.find(name);
  if (isFinishing_ || found == streams_.end() || !found->second.isConfigured) return false;
  Stream& stream = found->second;
  stream.wanted = true;
  if (stream.isEnding || !stream.recorder || stream.recorder->isDone()) begin(stream);
  return true;
}

bool Supervisor::stop(const std::string& name) {
  const std::scoped_lock lock(mutex_);
  const auto found = streams_.find(name);
  if (found == streams_.end() || !found->second.isConfigured) return false;
  found->second.wanted = false;
  end(found->second);
  return true;
}

bool Supervisor::rotate(const std::string& name) {
  const std::scoped_lock lock(mutex_);
  const auto found = streams_.find(name);
  if (found == streams_.end() || !found->second.isConfigured || !found->second.recorder) return false;
  if (found->second.status->get().state != StreamState::kRecording) return false;
  found->second.recorder->requestRotation();
  return true;
}

void Supervisor::begin(Stream& stream) {
  if (stream.recorder) stream.recorder->requestStop();
  stream.isEnding = false;
  const auto whenDone = [this] {
    const std::scoped_lock lock(doneMutex_);
    done_.notify_all();
  };
  try {
    stream.recorder =
        std::make_unique<StreamRecorder>(stream.config, services_, stream.status, std::move(stream.recorder), whenDone);
  } catch (const std::system_error& error) {
    // No threads or descriptors are left. The next apply() or start() tries again.
    stream.status->update([&](StreamSnapshot& status) {
      status.state = StreamState::kFailed;
      status.lastError = error.what();
      status.sinceMs = status.lastErrorAtMs = services_.now();
    });
  }
}

void Supervisor::end(Stream& stream) {
  if (!stream.recorder) return;
  stream.recorder->requestStop();
  stream.isEnding = true;
}

void Supervisor::removeDone() {
  std::erase_if(streams_, [](const auto& entry) {
    const Stream& stream = entry.second;
    return !stream.isConfigured && (!stream.recorder || stream.recorder->isDone());
  });
}

}  // namespace host::serve
