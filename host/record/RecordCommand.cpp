#include "host/record/RecordCommand.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

#include "host/FileContext.h"
#include "host/Log.h"
#include "host/Module.h"
#include "host/OpenContext.h"
#include "host/Recording.h"
#include "host/Settings.h"
#include "host/StopSignal.h"
#include "host/StreamContext.h"
#include "host/input/openInput.h"
#include "host/record/RealTimePacer.h"
#include "host/record/RecordSession.h"
#include "host/record/continuation.h"
#include "host/record/recordedCodecs.h"

namespace host {
namespace {

Settings readSettings(const RecordOptions& options) {
  Settings settings;
  if (!options.settingsFile.empty()) settings.readFile(options.settingsFile);
  for (const std::string& assignment : options.settings) settings.assign(assignment);
  return settings;
}

/// Opens the recording, in the place of an old one where that is wanted.
std::unique_ptr<Recording> openRecording(IMOStreamAdaptor& adaptor, IMOStreamOpenContext& settings,
                                         const OutputDirectory& place, OpenMode mode, Log& log) {
  std::optional<ReplacedRecording> old;
  if (mode == OpenMode::kOverwrite) old.emplace(place);
  auto recording = std::make_unique<Recording>(adaptor, settings, place.modulePath(), mode == OpenMode::kAppend);
  if (old && !old->discard()) log.warning(fmt::format("the old recording was left in '{}'", old->aside()));
  return recording;
}

/// Lets the messages of an append follow what is there.
void continueRecording(const OutputDirectory& place, IMOStreamOpenContext& settings, Input& input,
                       RecordSession& session) {
  const auto timeMs = continuationTime(place, settings);
  if (!timeMs) return;
  input.continueAt(*timeMs);
  session.expectFrom(*timeMs);
}

/// For an append, before anything is written: an input that keeps its times has to begin behind the recording's end.
void prepareAppend(const OutputDirectory& place, IMOStreamOpenContext& settings, CodecChanges& input) {
  if (!std::filesystem::exists(place.native())) return;
  input.expect(recordedCodecs(place));
  const auto startMs = input.keptStart();
  if (!startMs) return;
  const auto timeMs = continuationTime(place, settings);
  if (!timeMs || *startMs >= *timeMs) return;
  throw CommandError(
      fmt::format("the input begins at {} ms, and the recording goes on from {} ms; without --keep-times "
                  "the input is moved there",
                  *startMs, *timeMs));
}

/// The first free directory for what goes on behind the recording in `directory`: `DIR-2`, `DIR-3` and so on.
OutputDirectory nextPlace(const OutputDirectory& first, unsigned& number) {
  for (;; ++number) {
    OutputDirectory place(fmt::format("{}-{}", first.native(), number));
    if (!std::filesystem::exists(place.native())) return place;
  }
}

/// Says what did not go well. `inputFailure` is the reason why the input could not be read to its end.
ExitStatus judge(const RecordSession& session, const StreamContext& context,
                 const std::optional<std::string>& inputFailure, Log& log) {
  if (session.refused() > 0) {
    log.error(fmt::format("{} of {} messages were refused; the first reason: {}", session.refused(), session.messages(),
                          session.firstReason()));
  } else if (context.errorCount() > 0) {
    log.error(fmt::format("the recording is not sound; the first of {} errors: {}", context.errorCount(),
                          context.firstError()));
  }
  if (inputFailure) {
    log.error(*inputFailure);
    return ExitStatus::kFailed;
  }
  return session.refused() > 0 || context.errorCount() > 0 ? ExitStatus::kFlawed : ExitStatus::kOk;
}

ExitStatus worse(ExitStatus first, ExitStatus second) {
  if (first == ExitStatus::kFailed || second == ExitStatus::kOk) return first;
  return second;
}

}  // namespace

ExitStatus runRecord(const RecordOptions& options) {
  Log log(stderr);
  StopSignal stop;
  stop.catchSignals();

  const Settings settings = readSettings(options);
  const OutputDirectory place(options.directory);
  place.require(options.mode);
  FileContext files(options.durability, log);
  const Module module(findModule());
  // Before anything on disk is touched.
  const auto input = openInput(options.input, options.inputOptions, log, stop);

  const auto record = [&](const OutputDirectory& directory, OpenMode mode) {
    StreamContext context(settings, log, files);
    OpenContext openContext(settings);
    const auto adaptor = module.createAdaptor(context);
    if (mode == OpenMode::kAppend) prepareAppend(directory, openContext, *input);
    const auto recording = openRecording(*adaptor, openContext, directory, mode, log);
    Progress progress(options.progress, log);
    RealTimePacer pacer(stop);
    RecordSession session(*recording, context, log, progress, options.realTime ? &pacer : nullptr);
    if (mode == OpenMode::kAppend) continueRecording(directory, openContext, *input, session);
    std::optional<std::string> inputFailure;
    try {
      session.run(*input);
    } catch (const InputError& error) {
      inputFailure = error.what();
    }
    if (!options.noStop) recording->stop();
    progress.finish();
    return judge(session, context, inputFailure, log);
  };

  ExitStatus status = record(place, options.mode);
  for (unsigned number = 2; input->change(); ++number) {
    const OutputDirectory next = nextPlace(place, number);
    log.warning(fmt::format("{}; the recording goes on in '{}'", *input->change(), next.native()));
    input->beginRecording();
    status = worse(status, record(next, OpenMode::kNew));
  }
  return status;
}

}  // namespace host
