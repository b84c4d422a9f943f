#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "host/Log.h"
#include "host/commands.h"

namespace host {

ExitStatus runCommandLine(int argc, const char* const* argv) {
  ExitStatus status = ExitStatus::kOk;
  CLI::App app("Records media streams into fragmented segment files, and looks after such recordings.", "k2r");
  app.set_version_flag("--version", K2R_VERSION, "Print the version and exit");
  app.require_subcommand(0, 1);  // A misspelt command is then refused by its name.
  app.footer("k2r COMMAND --help tells about one command.");
  addRecordCommand(app, status);
  addInspectCommand(app, status);
  addVerifyCommand(app, status);
  addRepairCommand(app, status);
  addExportCommand(app, status);
  addPlaylistCommand(app, status);
  addKeysCommand(app, status);
  addUnprotectCommand(app, status);

  Log log(stderr);
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) throw UsageError("a command is needed; k2r --help lists them");
  } catch (const CLI::ParseError& stop) {
    // A request for help ends here, too, with success.
    return app.exit(stop) == 0 ? ExitStatus::kOk : ExitStatus::kBadUsage;
  } catch (const UsageError& error) {
    log.error(error.what());
    return ExitStatus::kBadUsage;
  } catch (const std::exception& error) {
    log.error(error.what());
    return ExitStatus::kFailed;
  }
  return status;
}

}  // namespace host
