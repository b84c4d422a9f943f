#pragma once

#include <string>

#include "host/Log.h"
#include "host/errors.h"

namespace host {

/// The options of `k2r unprotect`: paths as the user gave them.
struct UnprotectOptions {
  std::string directory;
  std::string keyFile;
  std::string output;
};

/// Writes the clear recording of a protected one into a new directory. Throws CommandError if that fails; nothing is
/// left of the new one then. If the recording has damage besides its protection, so has the new one: the log gets a
/// warning, and the result is kFlawed. Only the owner can read the new files. The key file is read once; the process
/// makes no core dump from then on.
ExitStatus unprotectRecording(const UnprotectOptions& options, Log& log);

}  // namespace host
