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
    R"(Reads every box of every file and compares the files with each other. Prints a
line for each finding: file, offset in bytes, severity, what was expected and
what was found; then a summary.

  note        for information; nothing is wrong
  repairable  left by an interruption, after everything that the indexes name;
              an append or a repair removes it
  damage      something recorded cannot be read, or two files contradict each
              other

Exit status:
  0  whole; also a recording that was not stopped, if nothing follows its last
     fragment
  1  there is no recording in DIR, or it cannot be read
  2  bad usage
  4  damaged
  5  whole after an append or a repair)";

struct Options {
  std::string directory;
  bool json = false;
};

ExitStatus runVerify(const Options& options) {
  Log log(stderr);
  warnOfInterruptedOverwrite(options.directory, log);
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

Command verifyCommand() {
  const auto options = std::make_shared<Options>();
  return {.name = "verify",
          .text = "Check whether a recording is whole.",
          .options = {recordingArgument(options->directory),
                      {.name = "--json",
                       .take = turnOn(options->json),
                       .text = "Print one JSON document instead of lines."}},
          .footer = kFooter,
          .run = [options] { return runVerify(*options); }};
}

}  // namespace host
