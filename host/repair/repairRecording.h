#pragma once

#include <string>

#include "host/Log.h"
#include "host/Settings.h"
#include "host/errors.h"
#include "host/verify/verifyRecording.h"

namespace host {

/// What a repair has come to.
struct Repair {
  enum class Outcome {
    /// It was whole and finished, or nothing has been recorded in it. Not a byte was changed.
    kUntouched,
    /// It was damaged. Not a byte was changed.
    kRefused,
    kFinished,
    /// The interruption came before the first fragment was complete: what was left of it is gone.
    kEmptied,
  } outcome = Outcome::kUntouched;
  /// Of the recording as it is now.
  Verification verification;
};

/// Does to an interrupted recording what an append and a stop do to it, without adding to it: afterwards it is finished
/// and whole. A recording that an interrupted `--overwrite` put aside comes back first, where there is no fragment in
/// its place. Throws CommandError where there is no recording, where somebody else is writing it, and where the module
/// does not open it; the reason is in the log then. `settings` are those of the recording: a protected one needs them.
Repair repairRecording(const std::string& path, const Settings& settings, Log& log);

}  // namespace host
