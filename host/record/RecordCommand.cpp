#include "host/record/RecordCommand.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include "fragmentation/FragmentationConfig.h"
#include "fragmentation/RecordingSettings.h"
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
#include "host/record/RecordSummary.h"
#include "host/record/RecordingEnd.h"

namespace host {

using ruvo::k2r::readFragmentationConfig;

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

/// Says what has become of the recording.
void report(const RecordSummary& summary, bool quiet, Log& log) {
  const RecordAccount& account = summary.account;
  if (account.refused.messages > 0) {
    log.error(fmt::format("{} of {} messages were refused; the first reason: {}", account.refused.messages,
                          account.received.messages, account.refusal));
  } else if (summary.errors > 0 && summary.reason().empty()) {
    log.error(
        fmt::format("nothing is missing, but errors came up; the first of {}: {}", summary.errors, summary.firstError));
  }
  if (summary.inputFailure) log.error(*summary.inputFailure);
  if (!summary.reason().empty()) {
    log.error(summaryLine(summary));
  } else if (!quiet) {
    log.note(summaryLine(summary));
  }
}

/// Makes recordings of inputs. Keeps references to all it is given, which outlive it.
class Recorder {
 public:
  Recorder(const RecordOptions& options, const Settings& settings, const Module& module, const StopSignal& stop,
           Log& log)
      : options_(options),
        stop_(stop),
        log_(log),
        files_(options.durability, log),
        context_(settings, log, files_),
        openContext_(settings),
        adaptor_(module.createAdaptor(context_)) {}

  /// One recording from its opening to its end.
  RecordSummary record(const OutputDirectory& place, OpenMode mode, Input& input) {
    const auto recording = openRecording(*adaptor_, openContext_, place, mode, log_);
    const std::uint32_t durationMs = readFragmentationConfig(openContext_).fragmentDuration;
    const auto end = mode == OpenMode::kAppend ? readRecordingEnd(place, durationMs) : std::nullopt;
    if (end) input.continueAt(end->continueMs);
    const bool isProtected = ruvo::k2r::RecordingSettings(openContext_).readBool("Recording/IsProtected", false);
    StreamFollower follower =
        end ? StreamFollower(durationMs, isProtected, *end) : StreamFollower(durationMs, isProtected);
    RecordSummary summary = run(*recording, follower, input, end);
    summary.stored = readStored(place, end);
    return summary;
  }

 private:
  RecordSummary run(Recording& recording, StreamFollower& follower, Input& input,
                    const std::optional<RecordingEnd>& end) {
    Progress progress(options_.progress, log_);
    RealTimePacer pacer(stop_);
    RecordSession session(recording, context_, follower, log_, progress, options_.realTime ? &pacer : nullptr,
                          sessionOptions(end));
    RecordSummary summary;
    try {
      session.run(input);
    } catch (const InputError& error) {
      summary.inputFailure = error.what();
    }
    session.finish();
    if (!options_.noStop) recording.stop();
    progress.finish();
    summary.account = session.account();
    summary.errors = context_.errorCount();
    summary.firstError = context_.firstError();
    return summary;
  }

  SessionOptions sessionOptions(const std::optional<RecordingEnd>& end) const {
    SessionOptions options{.keepsHead = options_.keepsEnds,
                           .keepsTail = options_.keepsEnds && !options_.noStop,
                           .maxQueue = options_.maxQueue};
    if (end && !options_.keepsTimes) options.startMs = end->continueMs;
    return options;
  }

  StoredPart readStored(const OutputDirectory& place, const std::optional<RecordingEnd>& end) const {
    StoredPart stored;
    try {
      stored = readStoredPart(place, end ? end->lastFragment : 0);
      if (options_.noStop) stored.unfinished.clear();
    } catch (const CommandError& error) {
      stored.unfinished = error.what();
    }
    return stored;
  }

  const RecordOptions& options_;
  const StopSignal& stop_;
  Log& log_;
  FileContext files_;
  StreamContext context_;
  OpenContext openContext_;
  std::unique_ptr<IMOStreamAdaptor> adaptor_;
};

RecordSummary recordInput(const RecordOptions& options, Log& log) {
  StopSignal stop;
  stop.catchSignals();
  const Settings settings = readSettings(options);
  const OutputDirectory place(options.directory);
  place.require(options.mode);
  const Module module(findModule());
  Recorder recorder(options, settings, module, stop, log);
  // Before anything on disk is touched.
  const auto input = openInput(options.input, options.maps, log, stop);
  return recorder.record(place, options.mode, *input);
}

Json documentFor(const RecordOptions& options, ExitStatus status) {
  return {{"schema", 1},
          {"command", "record"},
          {"input", options.input},
          {"recording", options.directory},
          {"exitStatus", static_cast<int>(status)}};
}

}  // namespace

std::uint64_t parseSize(const std::string& text, const std::string& option) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const std::string_view unit(end, text.data() + text.size());
  constexpr std::string_view kUnits = "KMG";
  const auto place = unit.size() == 1 ? kUnits.find(unit.front()) : std::string_view::npos;
  const unsigned shift = place == std::string_view::npos ? 0 : 10 * (static_cast<unsigned>(place) + 1);
  const bool isSize = error == std::errc() && (unit.empty() || shift != 0);
  if (!isSize || number == 0 || number > std::numeric_limits<std::uint64_t>::max() >> shift) {
    throw UsageError(fmt::format("{}: '{}' is no size; a number, with K, M or G behind it, expected", option, text));
  }
  return number << shift;
}

ExitStatus runRecord(const RecordOptions& options) {
  Log log(stderr);
  try {
    const RecordSummary summary = recordInput(options, log);
    report(summary, options.quiet, log);
    if (options.json) {
      Json document = documentFor(options, summary.status());
      document["error"] = summary.inputFailure ? Json(*summary.inputFailure) : Json();
      document.update(summaryJson(summary));
      printJson(document);
    }
    return summary.status();
  } catch (const CommandError& error) {
    const bool isUsage = dynamic_cast<const UsageError*>(&error) != nullptr;
    if (options.json) {
      Json document = documentFor(options, isUsage ? ExitStatus::kBadUsage : ExitStatus::kFailed);
      document["error"] = error.what();
      printJson(document);
    }
    throw;
  }
}

}  // namespace host
