#include <csignal>
#include <cstdio>
#include <exception>

#include "host/Log.h"
#include "host/commands.h"
#include "host/jsonDocument.h"

namespace host {

ExitStatus runCommandLine(int argc, const char* const* argv) {
  // A file that has reached the limit of its size is a write that fails, like a disk that is full.
  std::signal(SIGXFSZ, SIG_IGN);
  ExitStatus status = ExitStatus::kOk;
  Program program("k2r", K2R_VERSION,
                  "Records media streams into fragmented segment files, and looks after such recordings.",
                  "k2r COMMAND --help tells about one command.");
  for (const auto add : {addRecordCommand, addInspectCommand, addVerifyCommand, addRepairCommand, addExportCommand,
                         addPlaylistCommand, addKeysCommand, addUnprotectCommand}) {
    add(program.root(), status);
  }

  Log log(stderr);
  try {
    const auto answer = program.run(argc, argv);
    return answer ? *answer : status;
  } catch (const CallError& error) {
    // A call that a command refuses itself has its document already.
    printRefusal({argv + (argc > 0 ? 1 : 0), argv + argc}, error.what());
    log.error(error.what());
    return ExitStatus::kBadUsage;
  } catch (const UsageError& error) {
    log.error(error.what());
    return ExitStatus::kBadUsage;
  } catch (const std::exception& error) {
    log.error(error.what());
    return ExitStatus::kFailed;
  }
}

}  // namespace host
