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
    R"(What an interruption left is put right, and the recording is finished as at a proper stop: the segment
gets its table of random access points, index and bootstrap agree, the bootstrap marks the end. Nothing
that an index names is touched. A recording that is whole and finished stays as it is, byte for byte, and
so does a damaged one. A DIR into which somebody is recording is refused. What an interrupted
record --overwrite put aside comes back where DIR holds no fragment.

Exit status: 0 finished, or nothing to do; 1 there is no recording in DIR, it is in use or cannot be written,
2 bad usage, 4 damaged, and left as it is.)";

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
  const Repair repair = repairRecording(options.directory, settings, log);
  printText(textReport(repair.verification) + repair.verification.recording + ": " + wordsOf(repair.outcome) + "\n");
  return repair.verification.status();
}

}  // namespace

void addRepairCommand(Command program, ExitStatus& status) {
  const auto options = std::make_shared<Options>();
  Command command = program.subcommand("repair", "Finish a recording that was interrupted");
  command.option("DIR", options->directory, "Directory of the recording").required();
  command
      .option("--config", options->settingsFile,
              "File of the settings with which it was recorded; a protected recording\n"
              "needs it")
      .typeName("FILE");
  command.footer(kFooter);
  command.action([options, &status] { status = runRepair(*options); });
}

}  // namespace host
