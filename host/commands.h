#pragma once

#include "host/Command.h"

namespace host {

// One function a command. It adds the command with its options to `program`, and an action that runs it and leaves its
// answer in `status`; what the action throws is for runCommandLine() to word. `status` outlives the parsing.

void addRecordCommand(Command program, ExitStatus& status);
void addInspectCommand(Command program, ExitStatus& status);
void addVerifyCommand(Command program, ExitStatus& status);
void addRepairCommand(Command program, ExitStatus& status);
void addExportCommand(Command program, ExitStatus& status);
void addPlaylistCommand(Command program, ExitStatus& status);
void addKeysCommand(Command program, ExitStatus& status);
void addUnprotectCommand(Command program, ExitStatus& status);

/// The whole program.
ExitStatus runCommandLine(int argc, const char* const* argv);

}  // namespace host
