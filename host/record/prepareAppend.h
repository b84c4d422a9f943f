#pragma once

#include "host/Log.h"
#include "host/OutputDirectory.h"

namespace host {

/// Prepares the recording in `place` for an append; this process must have locked the directory. Repairs two states
/// from which the module would begin anew and lose what is there: an indexed first fragment without a bootstrap gets
/// one, and the remains of a recording without a fragment are removed, including their base time. Throws CommandError
/// with the first finding if the recording is damaged and `force` is not set, or if another command must be used first.
/// With `force` it warns and continues, but never lets the module replace what is there. Writes nothing to a recording
/// that is whole.
void prepareAppend(const OutputDirectory& place, bool force, Log& log);

}  // namespace host
