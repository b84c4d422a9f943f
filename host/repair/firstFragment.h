#pragma once

#include "host/files/RecordingDirectory.h"

namespace host {

// What an interruption at the very first fragment leaves: a recording without a bootstrap, with one segment at most.

/// Makes the bootstrap, by the one fragment that the index names. Throws CommandError where it cannot be written, and
/// where the files are not of that kind.
void restoreFirstBootstrap(const RecordingDirectory& directory);

/// Removes the segment, in which no fragment was indexed, its index, and a base time that was cut short. Throws
/// CommandError where one stays.
void removeUnfinished(const RecordingDirectory& directory);

}  // namespace host
