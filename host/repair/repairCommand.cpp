#include <cstdio>
#include <memory>
#include <string>

#include "host/Settings.h"
#include "host/commands.h"
#include "host/output.h"
#include "host/repair/repairRecording.h"
#include "host/verify/verifyReport.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(Removes what an interruption left after the last fragment, and finishes the
recording as a proper stop does: the segment gets its table of random access
points, index and bootstrap agree, the bootstrap marks the end. Nothing that an
index names is changed. A recording that is whole and finished keeps every byte,
and so does a damaged one. A DIR that is being recorded into is refused. A
recording that an interrupted record --overwrite put aside is brought back if
DIR contains no fragment.

Exit status:
  0  finished, or nothing to do
  1  there is no recording in DIR, it is in use, or it cannot be written
  2  bad usage
  4  damaged, and left as it is)";

const char* wordsOf(Repair::Outcome outcome) {
  switch (outcome) {
    case Repair::Outcome::kUntouched:
      return "nothing to repair";
    case Repair::Outcome::kRefused:
      return "damaged: left as it is";
    case Repair::Outcome::kFinished:
      return "finished";
    case Repair::Outcome::kEmptied:
      return "no fragment had been completed: its remains were removed";
  }
  return "";
}

struct Options {
  std::string directory;
  std::string settingsFile;
};

ExitStatus runRepair(const Options& options) {
  Log log(stderr);
  Settings settings;
  if (!options.settingsFile.empty()) settings.readFile(options.settingsFile);
  settings.requireComplete();
  const Repair repair = repairRecording(options.directory, settings, log);
  printText(textReport(repair.verification) + repair.verification.recording + ": " + wordsOf(repair.outcome) + "\n");
  // What is still to be repaired could not be written.
  const ExitStatus status = repair.verification.status();
  return status == ExitStatus::kRepairable ? ExitStatus::kFailed : status;
}

}  // namespace

Command repairCommand() {
  const auto options = std::make_shared<Options>();
  return {.name = "repair",
          .text = "Finish a recording that was interrupted.",
          .options = {recordingArgument(options->directory),
                      {.name = "--config",
                       .value = "FILE",
                       .take = storeIn(options->settingsFile),
                       .text = "File of the settings that the recording was made with. Needed for a protected one."}},
          .footer = kFooter,
          .run = [options] { return runRepair(*options); }};
}

}  // namespace host
