#pragma once

#include "host/files/RecordingDirectory.h"

namespace host {

// What an interruption at the very first fragment leaves: a recording without a bootstrap, with one segment at most.

/// Writes the bootstrap file of a recording with a single fragment, from the bootstrap in that fragment. `directory`
/// has at least one index. Throws CommandError if the file cannot be written, and for malformed files. The index was
/// written before it, so the fragment that it names is whole.
void restoreFirstBootstrap(const RecordingDirectory& directory);

/// Removes a segment in which no fragment was indexed, its index, and a control file that was cut short. Throws
/// CommandError if a file cannot be removed.
void removeUnfinished(const RecordingDirectory& directory);

}  // namespace host
