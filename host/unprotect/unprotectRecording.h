#pragma once

#include <string>

#include "host/Log.h"
#include "host/errors.h"

namespace host {

/// What the user asked `k2r unprotect` for.
struct UnprotectOptions {
  std::string directory;
  std::string keyFile;
  std::string output;
};

/// Writes the clear recording of a protected one into a new directory. Throws CommandError where that cannot be done;
/// nothing of it is left then. Damage beside the protection comes along, and is warned of: kFlawed is then the answer.
ExitStatus unprotectRecording(const UnprotectOptions& options, Log& log);

}  // namespace host
