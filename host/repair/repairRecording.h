#pragma once

#include <string>

#include "host/Log.h"
#include "host/Settings.h"
#include "host/verify/verifyRecording.h"

namespace host {

/// The result of a repair.
struct Repair {
  enum class Outcome {
    /// The recording was whole and finished, or nothing was recorded. No byte was changed.
    kUntouched,
    /// The recording is damaged. No byte was changed.
    kRefused,
    /// The recording is whole and finished now.
    kFinished,
    /// The interruption was before the first fragment was complete. The remains were removed.
    kEmptied,
  } outcome = Outcome::kUntouched;
  /// The check of the recording after the repair.
  Verification verification;
};

/// Completes an interrupted recording as an append and a stop would do, without adding to it. If an interrupted
/// `--overwrite` put a recording aside and there is no fragment in its place, that one is moved back first. Throws
/// CommandError if there is no recording, if another process is writing it, and if the module cannot open it; the log
/// has the reason then. `settings` are those of the recording; a protected one needs them. `path` is as the user gave
/// it.
Repair repairRecording(const std::string& path, const Settings& settings, Log& log);

}  // namespace host
