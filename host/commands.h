#pragma once

#include "host/Command.h"

namespace host {

// One function a command. The command owns the variables that its options write to. What its `run` throws is for
// runCommandLine() to word.

Command recordCommand();
Command inspectCommand();
Command verifyCommand();
Command repairCommand();
Command exportCommand();
Command playlistCommand();
Command keysCommand();
Command unprotectCommand();
Command serveCommand();

/// The program with all its commands, from which the help, the manual and the completions are made.
Command programCommand();

/// The whole program. Prints to standard output and standard error; throws nothing. The one place that words failures:
/// `error: `, the text, and for a wrong call how to get help.
ExitStatus runCommandLine(int argc, const char* const* argv);

}  // namespace host
