#include "host/record/RecordCommand.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "host/FileContext.h"
#include "host/HeldPlace.h"
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
#include "host/record/prepareAppend.h"

namespace host {
namespace {

Settings readSettings(const RecordOptions& options) {
  Settings settings;
  if (!options.settingsFile.empty()) settings.readFile(options.settingsFile);
  for (const std::string& assignment : options.settings) settings.assign(assignment);
  return settings;
}

/// Reading from what is being written would never end, or lose the rest of it.
void requireOtherPlace(const std::string& input, const OutputDirectory& place) {
  std::error_code ignored;
  const std::string canonical = std::filesystem::canonical(input, ignored).string();
  if (!canonical.starts_with(place.native() + "/")) return;
  throw CommandError(
      fmt::format("'{}' lies in '{}', where the recording goes; nothing was changed", input, place.native()));
}

/// What a directory, held by this process, needs before the module opens it. Answers the recording that goes aside.
std::unique_ptr<ReplacedRecording> prepare(const OutputDirectory& place, const RecordOptions& options, Log& log) {
  place.require(options.mode);  // Once more: somebody else may have finished a recording there in the meantime.
  if (options.mode == OpenMode::kAppend) prepareAppend(place, options.force, log);
  if (options.mode == OpenMode::kOverwrite) requireNothingAside(place);
  if (options.mode != OpenMode::kOverwrite || std::filesystem::is_empty(place.native())) return nullptr;
  return std::make_unique<ReplacedRecording>(place, options.durability, log);
}

/// Lets the messages of an append follow what is there.
void continueRecording(const OutputDirectory& place, IMOStreamOpenContext& settings, Input& input,
                       RecordSession& session) {
  const auto timeMs = continuationTime(place, settings);
  if (!timeMs) return;
  input.continueAt(*timeMs);
  session.expectFrom(*timeMs);
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

}  // namespace

ExitStatus runRecord(const RecordOptions& options) {
  Log log(stderr);
  StopSignal stop;
  stop.catchSignals();

  const Settings settings = readSettings(options);
  const OutputDirectory place(options.directory);
  if (options.mode == OpenMode::kNew) tellInterruptedOverwrite(place.native(), log);
  place.require(options.mode);
  requireOtherPlace(options.input, place);
  const HeldPlace held(place, options.durability, log);
  FileContext files(options.durability, log, place.native());
  StreamContext context(settings, log, files);
  OpenContext openContext(settings);
  const Module module(findModule());
  const auto adaptor = module.createAdaptor(context);
  // Before anything on disk is touched.
  const auto input = openInput(options.input, options.maps, log, stop);
  const auto old = prepare(place, options, log);
  const auto recording =
      std::make_unique<Recording>(*adaptor, openContext, place.modulePath(), options.mode == OpenMode::kAppend);

  Progress progress(options.progress, log);
  RealTimePacer pacer(stop);
  RecordSession session(*recording, context, log, progress, options.realTime ? &pacer : nullptr);
  if (old) session.betweenMessages([&old] { old->settle(); });
  if (options.mode == OpenMode::kAppend) continueRecording(place, openContext, *input, session);
  std::optional<std::string> inputFailure;
  try {
    session.run(*input);
  } catch (const InputError& error) {
    inputFailure = error.what();
  }
  if (!options.noStop) recording->stop();
  progress.finish();
  return judge(session, context, inputFailure, log);
}

}  // namespace host
