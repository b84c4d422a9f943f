#include "host/record/Recorder.h"

#include <fmt/format.h>

#include <exception>
#include <filesystem>

#include "fragmentation/FragmentationConfig.h"
#include "fragmentation/RecordingSettings.h"
#include "host/errors.h"
#include "host/record/RealTimePacer.h"
#include "host/record/prepareAppend.h"
#include "host/record/recordedCodecs.h"

namespace host {

using ruvo::k2r::readFragmentationConfig;

Recorder::Recorder(const RecordOptions& options, const Settings& settings, const OutputDirectory& place,
                   const Module& module, const StopSignal& stop, Log& log)
    : options_(options),
      place_(place),
      stop_(stop),
      log_(log),
      files_(options.durability, log, place.native(),
             [this](const std::string& reason) { context_.noteCause(reason); }),
      context_(settings, log, files_, place.modulePath()),
      openContext_(settings),
      adaptor_(module.createAdaptor(context_)) {}

RecordSummary Recorder::record(CodecChanges& input, OpenMode mode) {
  const auto old = prepare(mode);
  const bool isAppend = mode == OpenMode::kAppend;
  if (isAppend) prepareInput(input);
  Recording recording(*adaptor_, openContext_, place_.modulePath(), isAppend);
  const std::uint32_t durationMs = readFragmentationConfig(openContext_).fragmentDuration;
  // Read again after the module has opened the recording: opening it completes what a crash interrupted, so the end may
  // have moved.
  const auto end = isAppend ? readRecordingEnd(place_, durationMs) : std::nullopt;
  if (end) input.continueAt(end->continueMs);
  const bool isProtected = ruvo::k2r::RecordingSettings(openContext_).readBool("Recording/IsProtected", false);
  StreamFollower follower =
      end ? StreamFollower(durationMs, isProtected, *end) : StreamFollower(durationMs, isProtected);
  RecordSummary summary = run(recording, follower, input, end, old.get());
  if (options_.countsStored) summary.stored = readStored(end);
  return summary;
}

/// Prepares the directory for the module. Returns the old recording of an --overwrite, which was moved aside, or null.
std::unique_ptr<ReplacedRecording> Recorder::prepare(OpenMode mode) {
  place_.require(
      mode);  // again, now under the lock: another process may have finished a recording here in the meantime
  if (mode == OpenMode::kAppend) prepareAppend(place_, options_.force, log_);
  if (mode == OpenMode::kOverwrite) requireNothingAside(place_);
  if (mode != OpenMode::kOverwrite || std::filesystem::is_empty(place_.native())) return nullptr;
  return std::make_unique<ReplacedRecording>(place_, options_.durability, log_);
}

/// Prepares the input for an append, before anything is written: gives it the codecs of the recording, and refuses one
/// that keeps its times and begins before the recording's end.
void Recorder::prepareInput(CodecChanges& input) {
  input.expect(recordedCodecs(place_));
  const auto startMs = input.keptStart();
  if (!startMs) return;
  const auto end = readRecordingEnd(place_, readFragmentationConfig(openContext_).fragmentDuration);
  if (!end || *startMs >= end->continueMs) return;
  throw CommandError(
      fmt::format("the input begins at {} ms, but the recording continues from {} ms; without --keep-times "
                  "the input is moved there",
                  *startMs, end->continueMs));
}

RecordSummary Recorder::run(Recording& recording, StreamFollower& follower, CodecChanges& input,
                            const std::optional<RecordingEnd>& end, ReplacedRecording* old) {
  Progress progress(options_.progress, log_);
  RealTimePacer pacer(stop_);
  RecordSession session(recording, context_, follower, log_, progress, options_.realTime ? &pacer : nullptr,
                        sessionOptions(end));
  session.observe(observer_);
  if (old != nullptr) session.betweenMessages([old] { old->settle(); });
  RecordSummary summary;
  try {
    session.run(input);
  } catch (const std::exception& error) {
    summary.inputFailure = error.what();  // What has come until then is finished, and reported.
  }
  // Also after a failed input: the messages before the failure are kept, and the recording is finished.
  session.finish();
  if (!options_.noStop) recording.stop();
  progress.finish();
  summary.account = session.account();
  summary.errors = context_.errorCount();
  summary.firstError = context_.firstError();
  return summary;
}

SessionOptions Recorder::sessionOptions(const std::optional<RecordingEnd>& end) const {
  SessionOptions options{.keepsHead = options_.keepsEnds,
                         .keepsTail = options_.keepsEnds && !options_.noStop,
                         .maxQueue = options_.maxQueue};
  if (end && !options_.inputOptions.keepTimes) options.startMs = end->continueMs;
  return options;
}

StoredPart Recorder::readStored(const std::optional<RecordingEnd>& end) const {
  StoredPart stored;
  try {
    stored = readStoredPart(place_, end ? end->lastFragment : 0);
    if (options_.noStop) stored.unfinished.clear();  // the user asked for a recording without an end
  } catch (const std::exception& error) {
    stored.unread = error.what();
  }
  return stored;
}

}  // namespace host
