#include "host/serve/streams/StreamSession.h"

#include <fmt/format.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "fileset/RecordingDirectory.h"
#include "host/HeldPlace.h"
#include "host/errors.h"
#include "host/files/RecordedSegments.h"
#include "host/input/openInput.h"
#include "host/record/RecordSummary.h"
#include "host/record/Recorder.h"
#include "host/serve/streams/WatchedInput.h"
#include "host/serve/streams/streamSettings.h"

namespace host::serve {
namespace {

using SteadyClock = std::chrono::steady_clock;

/// Times in a recording end at 2^32 ms; well before that it is rotated in any case.
constexpr std::uint32_t kLongestRecordingMs = std::uint32_t{1} << 31;

RecordOptions recordOptions(const StreamConfig& config) {
  RecordOptions options;
  options.durability = config.durability;
  options.maxQueue = config.maxQueue;
  // The streams of a process often rotate at the same moment, and each would read a whole recording again.
  options.countsStored = false;
  return options;
}

/// Removes what is left of a recording without a fragment. Returns whether it had none.
bool removeIfEmpty(const OutputDirectory& place, std::uint64_t fragments, Durability durability) {
  std::error_code error;
  // The bootstrap decides: it exists from the first fragment on.
  if (fragments > 0 || fileset::examineRecordingDirectory(place.native(), place.stem(), error).hasBootstrap) {
    return false;
  }
  return fileset::emptyRecording(place.native(), place.stem(), durability);
}

/// Whether the files say that the recording has ended.
bool isStopped(const OutputDirectory& place) try {
  std::error_code error;
  const auto directory = fileset::examineRecordingDirectory(place.native(), place.stem(), error);
  std::vector<std::string> faults;
  return !error && readRecordedContent(directory, faults).stopped && faults.empty();
} catch (const std::exception&) {
  return false;
}

}  // namespace

StreamSession::StreamSession(const StreamConfig& config, const Settings& settings, const StreamServices& services,
                             StreamMeter& meter, const StopSignal& stop, std::atomic<bool>& rotation, Log& log)
    : config_(config),
      settings_(settings),
      services_(services),
      meter_(meter),
      stop_(stop),
      rotation_(rotation),
      log_(log),
      options_(recordOptions(config)),
      begins_(services.now),
      rotationTime_(config.rotate, services.now) {}

bool StreamSession::run() {
  InputOptions options = inputOptionsOf(config_);
  options.observer = &meter_;
  auto source = std::make_unique<Backlog>(
      std::make_unique<WatchedInput>(openSource(config_.source, options, log_, stop_), meter_.status()));
  Backlog& backlog = *source;
  const bool hasOwnEnd = !backlog.isLive();
  meter_.opened();
  auto beginMs = backlog.awaitBegin();
  meter_.readAhead(backlog);
  if (!beginMs) {
    backlog.throwFailure();
    return hasOwnEnd;
  }
  CodecChanges input(std::move(source), false);
  // The first recording's times begin at 0 with its key frame, too.
  input.beginRecording();
  input.splitWhen([this](const CodecChanges::SplitPoint& point) { return wish(point); });
  while (true) {
    record(input, backlog, *beginMs);
    if (inputFailure_) throw InputError(*inputFailure_);
    if (!input.change()) return hasOwnEnd;
    endReason_ = *input.change() + ": ";
    beginMs = input.nextBeginMs();
    input.beginRecording();
  }
}

std::optional<std::string> StreamSession::wish(const CodecChanges::SplitPoint& point) {
  if (!point.isNewClock) begins_.received(point.recordedMs);
  if (meter_.isFull()) return "the queue is full and cannot be written";
  if (meter_.isFailing()) {
    // Its segment is still open, and what is written to it is lost.
    std::error_code ignored;
    if (!std::filesystem::exists(recordingPath_, ignored)) return "the recording's directory is gone";
    // Its end could not be written either. It continues if there is room before the queue is full.
    return std::nullopt;
  }
  if (point.isNewClock) {
    begins_.forgetDelays();
    return "the source has a new clock";
  }
  if (point.isNewPicture && mayFollowPicture(point.recordedMs)) return "the video's configuration changes";
  if (rotation_.exchange(false)) return "asked for by a user";
  if (rotationTime_.isDue()) return "rotation";
  if (rotationTime_.isClockSetBack()) {
    begins_.forgetDelays();
    return "the clock was set back";
  }
  if (point.recordedMs >= kLongestRecordingMs) return "the longest time of a recording";
  return std::nullopt;
}

bool StreamSession::mayFollowPicture(std::uint32_t recordedMs) {
  // A source that alternates must not make a recording of each key frame; one recording can have both.
  constexpr std::uint32_t kQuickMs = 10'000;
  constexpr unsigned kMostQuick = 8;
  quickPictures_ = recordedMs < kQuickMs ? quickPictures_ + 1 : 0;
  return quickPictures_ <= kMostQuick;
}

void StreamSession::record(CodecChanges& input, Backlog& backlog, std::uint32_t mediaMs) {
  std::int64_t beginMs = begins_.next(mediaMs);
  bool isBlocked = false;
  for (bool hasMore = true;; hasMore = waitForRoom(backlog)) {
    // The queue may have dropped the first frames by now.
    if (isBlocked) beginMs = beginOfKept(backlog).value_or(beginMs);
    try {
      return recordAt(input, beginMs);
    } catch (const CommandError& error) {
      meter_.fail(error.what());
      meter_.setState(StreamState::kBlocked);
      if (!std::exchange(isBlocked, true)) {
        log_.error(
            fmt::format("{}; the newest that fits the queue is kept until a recording can be made", error.what()));
        // The frames go to the front of the queue, before those that follow them: no hole at the begin.
        backlog.putBack(input.takeBack());
      }
    }
    if (hasMore) continue;
    // This was the last attempt.
    backlog.giveUp();
    meter_.readAhead(backlog);
    log_.error("what was kept in the queue is lost");
    backlog.throwFailure();
    return;
  }
}

std::optional<std::int64_t> StreamSession::beginOfKept(Backlog& backlog) {
  auto mediaMs = backlog.beginMs();
  // If nothing is kept, the next key frame is the first one.
  if (!mediaMs) mediaMs = backlog.awaitBegin();
  meter_.readAhead(backlog);
  return mediaMs ? std::optional(begins_.move(*mediaMs)) : std::nullopt;
}

bool StreamSession::waitForRoom(Backlog& backlog) {
  if (services_.makeRoom) services_.makeRoom(config_.root);
  const auto until = SteadyClock::now() + services_.roomPause;
  // A source with an end, such as a file, waits.
  if (!backlog.isLive()) return stop_.waitUntil(until);
  do {
    // A source that gives nothing needs no room.
    if (!backlog.hold(config_.maxQueue)) return false;
    meter_.readAhead(backlog);
  } while (SteadyClock::now() < until);
  return true;
}

void StreamSession::requireRoom() const {
  if (services_.requireRoot) services_.requireRoot(config_);
  std::error_code error;
  const auto space = std::filesystem::space(config_.root, error);
  // A root that does not exist yet is made.
  if (error || space.available >= kLeastRoom) return;
  throw CommandError(fmt::format("the file system of '{}' is full", config_.root));
}

void StreamSession::begin(const OutputDirectory& place, std::int64_t beginMs) {
  rotation_ = false;
  recordingPath_ = place.native();
  rotationTime_.begin(beginMs);
  // With its name, since the log counts lines that come again.
  log_.note(fmt::format("{}recording {} begins", std::exchange(endReason_, {}), place.stem()));
  meter_.began(place.stem());
}

void StreamSession::interrupt(RecordAccount& account) {
  const StreamMeter::Missing missing = meter_.interrupted();
  account.lose(LossReason::kTail, missing.messages, "its last fragments could not be completed");
  account.loseTime(LossReason::kTail, missing.ms);
}

void StreamSession::recordAt(CodecChanges& input, std::int64_t beginMs) {
  requireRoom();
  const OutputDirectory place(freeRecordingPath(config_.root + "/" + config_.name, beginMs));
  RecordSummary summary;
  std::exception_ptr failure;
  bool isEmpty = false;
  {
    const HeldPlace held(place, config_.durability, log_);
    begin(place, beginMs);
    try {
      Recorder recorder(options_, settings_, place, services_.module, stop_, log_);
      recorder.observe(&meter_);
      summary = recorder.record(input, OpenMode::kNew);
    } catch (...) {
      failure = std::current_exception();
    }
    isEmpty = removeIfEmpty(place, meter_.fragments(), config_.durability);
  }
  const bool isComplete = isEmpty || (!failure && summary.errors == 0) || isStopped(place);
  RecordAccount& account = summary.account;
  isComplete ? meter_.finished(isEmpty) : interrupt(account);
  if (failure) std::rethrow_exception(failure);
  if (account.lost.messages > 0) {
    log_.warning(fmt::format("recording {}: {} of {} messages are lost, {:.3f} s: {}", place.stem(),
                             account.lost.messages, account.received.messages, account.lostMs / 1000.0,
                             account.reason));
  }
  inputFailure_ = summary.inputFailure;
}

}  // namespace host::serve
