#include "host/serve/streams/StreamMeter.h"

#include <algorithm>
#include <utility>

namespace host::serve {
namespace {

constexpr double kMsPerSecond = 1000.0;
constexpr std::chrono::seconds kRatePeriod(5);

void add(FrameCount& count, const Tally& now, Tally& before) {
  count.frames += now.messages - before.messages;
  count.bytes += now.bytes - before.bytes;
  before = now;
}

}  // namespace

StreamMeter::StreamMeter(const StreamConfig& config, StreamStatus& status, const StreamServices& services,
                         Log::Filter filter)
    : status_(status),
      services_(services),
      filter_(std::move(filter)),
      recording_{.root = config.root, .stream = config.name, .name = {}},
      rateBytes_(status.get().received.bytes) {}

void StreamMeter::setState(StreamState state) {
  if (status_.state() == state) return;
  // At once: otherwise the retention looks only every few seconds.
  if (state == StreamState::kBlocked && services_.makeRoom) services_.makeRoom(recording_.root);
  status_.update([&](StreamSnapshot& status) {
    status.state = state;
    status.sinceMs = services_.now();
    if (state != StreamState::kRecording) status.receivedBytesPerSecond = 0;
  });
}

void StreamMeter::fail(const std::string& text) {
  std::string shown = filter_ ? filter_(text) : text;
  status_.update([&](StreamSnapshot& status) {
    status.lastError = std::move(shown);
    status.lastErrorAtMs = services_.now();
  });
}

void StreamMeter::began(const std::string& recording) {
  recording_.name = recording;
  last_ = {};
  isFailing_ = isFull_ = false;
  status_.update([&](StreamSnapshot& status) {
    status.recording = recording_.name;
    ++status.recordingsBegun;
  });
  setState(StreamState::kRecording);
  services_.events.began(recording_);
}

void StreamMeter::finished(bool isEmpty) {
  const Tally rest = unsettled();
  status_.update([&](StreamSnapshot& status) {
    status.stored.frames += rest.messages;
    status.stored.bytes += rest.bytes;
  });
  services_.events.finished(leaveRecording(), isEmpty);
}

StreamMeter::Missing StreamMeter::interrupted() {
  Missing missing{.messages = unsettled()};
  if (missing.messages.messages > 0) missing.ms = last_.keptMs - std::min(last_.keptMs, last_.storedMs);
  status_.update([&](StreamSnapshot& status) {
    constexpr auto kTail = static_cast<std::size_t>(LossReason::kTail);
    status.lostFrames[kTail] += missing.messages.messages;
    status.lostSeconds[kTail] += missing.ms / kMsPerSecond;
  });
  services_.events.interrupted(leaveRecording());
  return missing;
}

Tally StreamMeter::unsettled() const {
  Tally settled = last_.stored;
  for (const Tally& lost : last_.lost) settled += lost;
  // A message may be counted as lost twice, such as one of an unknown codec that waits at the end.
  return {.messages = last_.received.messages - std::min(last_.received.messages, settled.messages),
          .bytes = last_.received.bytes - std::min(last_.received.bytes, settled.bytes)};
}

RecordingPlace StreamMeter::leaveRecording() {
  isFailing_ = isFull_ = false;
  status_.update([](StreamSnapshot& status) {
    status.recording.clear();
    status.queueBytes = 0;
  });
  RecordingPlace left = recording_;
  recording_.name.clear();
  return left;
}

void StreamMeter::readAhead(const Backlog& backlog) {
  status_.update([&](StreamSnapshot& status) {
    addDropped(status, LossReason::kNoKeyFrame, backlog.beforeBegin(), beforeBegin_);
    addDropped(status, LossReason::kQueue, backlog.overLimit(), overLimit_);
    status.queueBytes = backlog.bytes();
  });
}

void StreamMeter::addDropped(StreamSnapshot& status, LossReason reason, const Backlog::Dropped& now,
                             Backlog::Dropped& before) {
  const auto index = static_cast<std::size_t>(reason);
  status.lostFrames[index] += now.messages.messages - before.messages.messages;
  status.lostSeconds[index] += static_cast<double>(now.ms - before.ms) / kMsPerSecond;
  add(status.received, now.messages, before.messages);
  before.ms = now.ms;
}

void StreamMeter::recorded(const State& state) {
  const RecordAccount& account = state.account;
  isFailing_ = !state.failure.empty();
  // A full queue without a failure means that the limit is too low for one fragment of the stream.
  isFull_ = isFailing_ && state.isFull;
  const bool hasGrown = !isFailing_ && state.fragments > last_.fragments;
  const std::uint32_t keptMs = account.spanMs - std::min(account.spanMs, account.lostMs);
  // Not after each fragment that the module has written: the index and the bootstrap may not name it, and if the
  // directory is gone it is lost. The next fragment that succeeds makes them name all before it.
  const auto stored = hasGrown ? storedBy(state) : std::nullopt;
  if (stored) last_.storedMs = keptMs;
  status_.update([&](StreamSnapshot& status) {
    add(status.received, account.received, last_.received);
    add(status.stored, stored.value_or(last_.stored), last_.stored);
    addLosses(status, account);
    status.gaps += account.gaps - last_.gaps;
    status.queueBytes = state.queueBytes;
    if (hasGrown) status.lastFragmentAtMs = services_.now();
    measureRate(status);
  });
  last_.lost = account.lostBy;
  last_.lostMs = account.lostMsBy;
  last_.keptMs = keptMs;
  last_.gaps = account.gaps;
  last_.fragments = state.fragments;
  if (isFailing_ && status_.state() != StreamState::kBlocked) fail(state.failure);
  setState(isFailing_ ? StreamState::kBlocked : StreamState::kRecording);
  if (hasGrown) services_.events.grew(recording_);
}

std::optional<Tally> StreamMeter::storedBy(const State& state) const {
  const RecordAccount& account = state.account;
  const std::uint64_t missing = account.lost.messages + state.waiting.messages;
  // At the end what still waits is counted as lost, too: the sum is then no longer meaningful.
  if (account.received.messages < last_.stored.messages + missing) return std::nullopt;
  Tally stored = account.received;
  stored -= account.lost;
  stored -= state.waiting;
  return stored;
}

void StreamMeter::addLosses(StreamSnapshot& status, const RecordAccount& account) const {
  for (std::size_t i = 0; i < kLossReasons; ++i) {
    status.lostFrames[i] += account.lostBy[i].messages - last_.lost[i].messages;
    status.lostSeconds[i] += static_cast<double>(account.lostMsBy[i] - last_.lostMs[i]) / kMsPerSecond;
  }
}

void StreamMeter::measureRate(StreamSnapshot& status) {
  const auto now = Clock::now();
  if (now - rateSince_ < kRatePeriod) return;
  status.receivedBytesPerSecond =
      static_cast<double>(status.received.bytes - rateBytes_) / std::chrono::duration<double>(now - rateSince_).count();
  rateSince_ = now;
  rateBytes_ = status.received.bytes;
}

void StreamMeter::wroteFragment(std::chrono::nanoseconds duration) {
  if (services_.fragmentWrites != nullptr) services_.fragmentWrites->add(duration);
}

void StreamMeter::inputLost(const std::string& why) {
  fail(why.empty() ? "the source has ended" : why);
  setState(StreamState::kConnecting);
}

void StreamMeter::inputBack(std::chrono::milliseconds away) {
  status_.update([&](StreamSnapshot& status) {
    ++status.reconnects;
    if (recording_.name.empty()) return;
    ++status.gaps;
    status.lostSeconds[static_cast<std::size_t>(LossReason::kSource)] +=
        static_cast<double>(away.count()) / kMsPerSecond;
  });
  if (!recording_.name.empty()) setState(StreamState::kRecording);
}

}  // namespace host::serve
