#include "host/input/AvInput.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "host/errors.h"
#include "util/tagHeader.h"

namespace host {
namespace {

using Clock = InputWatch::Clock;
using std::chrono::milliseconds;

/// One video and one audio track. A source may have fewer, and another number after each reconnect.
constexpr std::size_t kMaxTracks = 2;

// Pauses between the attempts to open an input again; each is twice as long as the one before.
constexpr milliseconds kFirstPause{500};
constexpr milliseconds kLongestPause = std::chrono::seconds(30);

}  // namespace

AvInput::AvInput(const std::string& url, const InputOptions& options, Log& log, const StopSignal& stop)
    : url_(url),
      options_(options),
      log_(log),
      stop_(stop),
      logRoute_(log),
      timeline_(kMaxTracks, options.maxGap.count(), log),
      interleaver_(0) {
  setSource(std::make_unique<AvSource>(url, options, log, stop));
}

void AvInput::setSource(std::unique_ptr<AvSource> source) {
  source_ = std::move(source);
  interleaver_ = Interleaver(source_->trackCount());
  announced_.assign(source_->trackCount(), false);
  orders_.clear();
  orders_.resize(source_->trackCount());
}

std::optional<bool> AvInput::hasVideo() const {
  // Video is the first track.
  return source_->trackCount() > 0 && source_->isVideo(0);
}

std::optional<InputMessage> AvInput::next() {
  while (outbox_.empty()) {
    if (const auto frame = interleaver_.pop(source_->hasEnded())) {
      emit(*frame);
    } else if (!source_->hasEnded()) {
      read();
    } else if (!openNext()) {
      return std::nullopt;
    }
  }
  current_ = std::move(outbox_.front());
  outbox_.pop_front();
  return current_.view();
}

void AvInput::read() {
  for (SourceFrame& frame : source_->read()) queue(std::move(frame));
  if (!source_->hasEnded()) return;
  for (const auto& order : orders_) {
    if (!order) continue;
    for (QueuedFrame& frame : order->flush()) interleaver_.push(std::move(frame));
  }
}

void AvInput::queue(SourceFrame source) {
  // By kind, and not by track number: the tracks of a source that is opened again may be numbered differently, and the
  // time line has to continue for each of them.
  FrameTimes times = timeline_.map(source_->isVideo(source.track) ? 0 : 1, source.frame.times);
  if (source_->isVideo(source.track)) {
    // An inter frame in the same millisecond as the key frame after it could become the first frame of the next
    // fragment, and no fragment can begin with it: no fragment would be written any more.
    times.dtsMs = std::max(times.dtsMs, nextVideoMs_);
    nextVideoMs_ = times.dtsMs + 1;
  }
  QueuedFrame frame{.track = source.track,
                    .times = times,
                    .packet = std::move(source.frame.packet),
                    .newHeader = std::move(source.frame.newHeader),
                    .converter = std::move(source.converter),
                    .newClocks = timeline_.newClocks()};
  auto& order = orders_[source.track];
  if (!order && !times.ptsKnown && isReordered(source_->codec(source.track))) {
    order = std::make_unique<PresentationOrder>(source_->codec(source.track));
  }
  if (!order) return interleaver_.push(std::move(frame));
  for (QueuedFrame& ready : order->push(std::move(frame))) interleaver_.push(std::move(ready));
}

void AvInput::emit(const QueuedFrame& frame) {
  // Here and not when it is detected: frames of the old clock may still be in the interleaver then.
  newClocks_ = std::max(newClocks_, frame.newClocks);
  // Known only now: the first frame that leaves the interleaver is the earliest of all tracks.
  if (!baseMs_) {
    baseMs_ = earliestMs_ = frame.times.dtsMs;
    outbox_.emplace_back(qvs::util::kAmf0DataTag, startMs_, metadata());
  }
  // The composition time of a message has 24 bits and a sign.
  constexpr std::int64_t kMaxComposition = 0x7FFFFF;
  const std::uint32_t timeMs = messageTime(frame.times.dtsMs);
  announceTracks(timeMs);
  const std::uint8_t type = frame.converter->messageType();
  // The frame has its header with it: the converter may have learnt a later one from packets that still wait.
  if (!frame.newHeader.empty()) outbox_.emplace_back(type, timeMs, frame.newHeader);
  const std::int64_t compositionMs = frame.times.ptsMs - frame.times.dtsMs;
  qvs::util::ByteWriter data;
  // A hint: the header of a message is shorter than this.
  constexpr std::size_t kHeaderRoom = 16;
  data.reserve(payloadOf(*frame.packet).size() + kHeaderRoom);
  frame.converter->writeFrame(
      data, *frame.packet, static_cast<std::int32_t>(std::clamp(compositionMs, -kMaxComposition - 1, kMaxComposition)));
  outbox_.emplace_back(type, timeMs, data.take());
  outbox_.back().isAfterBreak = std::exchange(isAfterBreak_, false);
}

void AvInput::announceTracks(std::uint32_t timeMs) {
  for (std::size_t track = 0; track < announced_.size(); ++track) {
    const auto header = source_->firstHeader(track);
    if (announced_[track] || header.empty()) continue;
    announced_[track] = true;
    const std::uint8_t type = source_->isVideo(track) ? 9 : 8;
    outbox_.emplace_back(type, timeMs, std::vector<std::byte>(header.begin(), header.end()));
  }
}

std::uint32_t AvInput::messageTime(std::int64_t dtsMs) const {
  // A track that begins late in the file may have times before those of messages that are already out. It must not get
  // a time before the start.
  return startMs_ + static_cast<std::uint32_t>(std::max(dtsMs, earliestMs_) - *baseMs_);
}

bool AvInput::openNext() {
  if (stop_.requested()) return false;
  const std::string failure = source_->failure();
  // Before the failure is judged: with --reconnect an end and a failure of a live input are the same.
  if (options_.reconnect && source_->isLive()) return reconnect();
  if (failure.empty()) return false;
  // A server ends a live stream by breaking the connection, so that is an end (status 0), once there was media. If
  // it is the recorder that gives up, that is a failure, since a supervisor decides by the status.
  if (!source_->isLive() || source_->isGivenUp() || !baseMs_) throw InputError(failure);
  log_.warning(fmt::format("the input has ended: {}", failure));
  return false;
}

bool AvInput::reconnect() {
  log_.warning(fmt::format("the input has ended{}; opening it again",
                           source_->failure().empty() ? "" : ": " + source_->failure()));
  if (options_.observer != nullptr) options_.observer->inputLost(source_->failure());
  // A source that gave no packet keeps the time of the one before it.
  const auto lastPacketAt = source_->lastPacketAt().value_or(lastPacketAt_);
  // Before the next attempt: a device, or a server socket of ours, cannot be opened twice.
  source_->close();
  auto source = openAgain();
  if (!source) return false;
  lastPacketAt_ = lastPacketAt;
  // Real time, because media time is not known while the source is away.
  const auto awayMs = std::chrono::duration_cast<milliseconds>(source->openedAt() - lastPacketAt).count();
  // Before the first frame there is nothing that a gap could follow.
  if (baseMs_) {
    earliestMs_ = timeline_.endMs() + std::max<std::int64_t>(awayMs, 0);
    timeline_.restartAt(earliestMs_);
    isAfterBreak_ = true;
    log_.warning(fmt::format("the input is back after {:.1f} s", static_cast<double>(awayMs) / 1000));
  }
  setSource(std::move(source));
  if (options_.observer != nullptr) options_.observer->inputBack(milliseconds(std::max<std::int64_t>(awayMs, 0)));
  return true;
}

std::unique_ptr<AvSource> AvInput::openAgain() {
  // The first pause comes before the first attempt, because a server may accept each connection and end it at once.
  // There is no limit of attempts: a recorder that has given up would wait for a user.
  for (milliseconds pause = kFirstPause; stop_.waitUntil(Clock::now() + pause);
       pause = std::min(2 * pause, kLongestPause)) {
    try {
      return std::make_unique<AvSource>(url_, options_, log_, stop_);
    } catch (const InputError& error) {
      if (stop_.requested()) return nullptr;
      log_.warning(error.what());
      if (options_.observer != nullptr) options_.observer->inputFailed(error.what());
    }
  }
  return nullptr;
}

}  // namespace host
