#include "host/record/RecordCommand.h"

#include <fmt/format.h>
#include <malloc.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>

#include "host/HeldPlace.h"
#include "host/Log.h"
#include "host/Module.h"
#include "host/Settings.h"
#include "host/StopSignal.h"
#include "host/input/openInput.h"
#include "host/jsonDocument.h"
#include "host/record/RecordSummary.h"
#include "host/record/Recorder.h"

namespace host {
namespace {

/// Lets the process keep the memory of the messages from fragment to fragment. By default the C library returns it to
/// the system after each fragment and takes it again, page by page, for the next. The module must not do this: its host
/// decides (docs/decisions.md, "The command line keeps its heap").
void keepHeap() {
  constexpr int kLargestHeapBlock = 32 << 20;
  constexpr int kKeptBytes = 64 << 20;
  ::mallopt(M_MMAP_THRESHOLD, kLargestHeapBlock);
  ::mallopt(M_TRIM_THRESHOLD, kKeptBytes);
}

/// The recordings that were made from one input.
struct Outcome {
  RecordSummary summary;
  std::vector<std::string> directories;
};

Settings readSettings(const RecordOptions& options) {
  Settings settings;
  if (!options.settingsFile.empty()) settings.readFile(options.settingsFile);
  // After the file, so that they override it.
  for (const std::string& assignment : options.settings) settings.assign(assignment);
  settings.requireComplete();
  return settings;
}

/// An input inside the directory would be read while it is written, or removed before it is read (docs/decisions.md,
/// "An INPUT inside DIR is refused").
void requireOtherPlace(const std::string& input, const OutputDirectory& place) {
  std::error_code ignored;
  const std::string canonical = std::filesystem::canonical(input, ignored).string();
  if (!canonical.starts_with(place.native() + "/")) return;
  throw CommandError(
      fmt::format("'{}' lies in '{}', where the recording goes; nothing was changed", input, place.native()));
}

/// The first free directory for the recording that follows the one in `first`: `DIR-2`, `DIR-3` and so on.
OutputDirectory nextPlace(const OutputDirectory& first, unsigned& number) {
  for (;; ++number) {
    OutputDirectory place(fmt::format("{}-{}", first.native(), number));
    if (!std::filesystem::exists(place.native())) return place;
  }
}

Outcome recordInput(const RecordOptions& options, Log& log) {
  keepHeap();
  StopSignal stop;
  stop.catchSignals();
  const Settings settings = readSettings(options);
  const OutputDirectory place(options.directory);
  if (options.mode == OpenMode::kNew) warnOfInterruptedOverwrite(place.native(), log);
  place.require(options.mode);
  requireOtherPlace(options.input, place);
  const HeldPlace held(place, options.durability, log);
  const Module module(findModule());
  Recorder first(options, settings, place, module, stop, log);
  // Before anything on disk is touched.
  const auto input = openInput(options.input, options.inputOptions, log, stop);

  Outcome outcome{.summary = first.record(*input, options.mode), .directories = {place.native()}};
  try {
    for (unsigned number = 2; input->change(); ++number) {
      const OutputDirectory next = nextPlace(place, number);
      log.warning(fmt::format("{}; the recording goes on in '{}'", *input->change(), next.native()));
      input->beginRecording();
      const HeldPlace nextHeld(next, options.durability, log);
      Recorder recorder(options, settings, next, module, stop, log);
      outcome.summary += recorder.record(*input, OpenMode::kNew);
      outcome.directories.push_back(next.native());
    }
  } catch (const std::exception& error) {
    outcome.summary.inputFailure = error.what();  // What is recorded until then is there, and is reported.
  }
  return outcome;
}

/// Says what the recording contains and what is missing.
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

CommandOutcome outcomeOf(const Outcome& outcome) {
  const RecordSummary& summary = outcome.summary;
  CommandOutcome result{.status = summary.status(), .error = summary.inputFailure, .members = Json::object()};
  result.members["directories"] = outcome.directories;
  result.members.update(summaryJson(summary));
  return result;
}

}  // namespace

ExitStatus runRecord(const RecordOptions& options) {
  Log log(stderr);
  const auto run = [&] {
    const Outcome outcome = recordInput(options, log);
    report(outcome.summary, options.quiet, log);
    return outcomeOf(outcome);
  };
  if (!options.json) return run().status;
  return printOutcome("record", {{"input", options.input}, {"recording", options.directory}}, run);
}

}  // namespace host
