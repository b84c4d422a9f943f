#include <cstdio>
#include <memory>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/commands.h"
#include "host/verify/verifyReport.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(Every box of every file is read, and the files are held against each other. A line a finding:
file, offset, how grave it is, what was expected and what was found.

  note        worth knowing; nothing is wrong
  repairable  left by an interruption, behind all that the indexes name; an append or a repair clears it away
  damage      something recorded cannot be read, or two files contradict each other

Exit status: 0 whole (a recording that was not stopped, too, as long as nothing stands behind its last
fragment), 1 there is no recording in DIR or it cannot be read, 2 bad usage, 4 damaged,
5 whole after an append or a repair.)";

struct Options {
  std::string directory;
  bool json = false;
};

ExitStatus runVerify(const Options& options) {
  Log log(stderr);
  tellInterruptedOverwrite(options.directory, log);
  const Verification verification = verifyRecording(options.directory);
  if (options.json) {
    printJson(jsonReport(verification));
  } else {
    printText(textReport(verification));
  }
  return verification.status();
}

}  // namespace

void addVerifyCommand(Command program, ExitStatus& status) {
  const auto options = std::make_shared<Options>();
  Command command = program.subcommand("verify", "Check whether a recording is whole");
  command.option("DIR", options->directory, "Directory of the recording").required();
  command.flag("--json", options->json, "Print one JSON document instead of lines");
  command.footer(kFooter);
  command.action([options, &status] { status = runVerify(*options); });
}

}  // namespace host
