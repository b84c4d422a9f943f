#pragma once

#include <CLI/App.hpp>

#include "host/errors.h"

namespace host {

// One function a command. It adds the command with its options to `app`, and a callback that runs it and leaves its
// answer in `status`; what the callback throws is for runCommandLine() to word. `status` outlives `app`.

void addRecordCommand(CLI::App& app, ExitStatus& status);
void addInspectCommand(CLI::App& app, ExitStatus& status);
void addVerifyCommand(CLI::App& app, ExitStatus& status);
void addRepairCommand(CLI::App& app, ExitStatus& status);
void addExportCommand(CLI::App& app, ExitStatus& status);
void addPlaylistCommand(CLI::App& app, ExitStatus& status);
void addKeysCommand(CLI::App& app, ExitStatus& status);
void addUnprotectCommand(CLI::App& app, ExitStatus& status);

/// The whole program.
ExitStatus runCommandLine(int argc, const char* const* argv);

}  // namespace host
