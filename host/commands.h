#pragma once

#include "host/Command.h"

namespace host {

// One function a command. The command owns the variables that its options write to. What its `run` throws is for
// runCommandLine() to word.

/// Records an input with the module into a directory (host/record).
Command recordCommand();
/// Shows what a recording, one of its files or a tag stream contains (host/inspect). Changes nothing.
Command inspectCommand();
/// Checks all files of a recording against each other (host/verify). Changes nothing.
Command verifyCommand();
/// Completes a recording that was interrupted, in its place (host/repair).
Command repairCommand();
/// Makes one MP4 file or tag stream of a recording (host/exporting).
Command exportCommand();
/// Writes an HLS playlist over a recording, or a folder with the plain view (host/playlist).
Command playlistCommand();
/// Makes keys and certificates for trials of protection (host/keys).
Command keysCommand();
/// Makes a clear copy of a protected recording (host/unprotect).
Command unprotectCommand();
/// The daemon that records many streams (host/serve). Returns after a request to stop.
Command serveCommand();

/// The program with all its commands, from which the help, the manual and the completions are made.
Command programCommand();

/// The whole program. Prints to standard output and standard error; throws nothing. The one place that words failures:
/// `error: `, the text, and for a wrong call how to get help.
ExitStatus runCommandLine(int argc, const char* const* argv);

}  // namespace host
