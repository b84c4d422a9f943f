#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>

#include "host/Log.h"
#include "host/commands.h"
#include "host/errorLines.h"
#include "host/jsonDocument.h"
#include "host/output.h"
#include "host/version.h"

namespace host {

// The variables of the options are owned by their commands, which live until the program ends.
Command programCommand() {
  const auto wantsVersion = std::make_shared<bool>(false);
  return {.name = "k2r",
          .text = "Record media streams into fragmented segment files; check, repair and export them.",
          .options = {{.name = "--version",
                       .take = turnOn(*wantsVersion),
                       .text = "Print the versions of the program and of the libraries that it uses, and exit."}},
          .commands = {recordCommand(), inspectCommand(), verifyCommand(), repairCommand(), exportCommand(),
                       playlistCommand(), keysCommand(), unprotectCommand(), serveCommand()},
          .footer = "k2r COMMAND --help shows the options of one command, with its exit statuses.",
          .run = [wantsVersion] {
            if (!*wantsVersion) throw CallError("a command is needed; k2r --help lists them");
            printText(versionText());
            return ExitStatus::kOk;
          }};
}

ExitStatus runCommandLine(int argc, const char* const* argv) {
  // A file that has reached the limit of its size is a write that fails, like a disk that is full.
  std::signal(SIGXFSZ, SIG_IGN);
  Log log(stderr);
  try {
    return runCommand(programCommand(), {argv + (argc > 0 ? 1 : 0), argv + argc});
  } catch (const CallError& error) {
    // A call that a command refuses itself has its document already.
    printRefusal({argv + (argc > 0 ? 1 : 0), argv + argc}, error.what());
    log.error(error.what());
    return ExitStatus::kBadUsage;
  } catch (const UsageError& error) {
    logErrorLines(log, error.what());
    return ExitStatus::kBadUsage;
  } catch (const std::exception& error) {
    log.error(error.what());
    return ExitStatus::kFailed;
  }
}

}  // namespace host
