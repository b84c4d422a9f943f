#include <cstdio>
#include <memory>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/commands.h"
#include "host/jsonDocument.h"
#include "host/verify/verifyReport.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(Reads every box of every file and compares the files with each other. Prints a line for each finding:
file, offset, severity, what was expected and what was found.

  note        for information; nothing is wrong
  repairable  left by an interruption, after everything that the indexes name; an append or a repair
              removes it
  damage      something recorded cannot be read, or two files contradict each other

Exit status: 0 whole (also if it was not stopped, as long as nothing follows its last fragment),
1 no recording in DIR, or it cannot be read, 2 bad usage, 4 damaged, 5 an append or a repair makes it
whole.)";

struct Options {
  std::string directory;
  bool json = false;
};

ExitStatus runVerify(const Options& options) {
  Log log(stderr);
  tellInterruptedOverwrite(options.directory, log);
  if (options.json) {
    return printOutcome("verify", {{"recording", options.directory}}, [&options] {
      const Verification verification = verifyRecording(options.directory);
      return CommandOutcome{.status = verification.status(), .error = {}, .members = jsonReport(verification)};
    });
  }
  const Verification verification = verifyRecording(options.directory);
  printText(textReport(verification));
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
