#pragma once

#include "host/Log.h"
#include "host/OutputDirectory.h"

namespace host {

/// Looks at what an append is to continue, in a directory that this process holds, and does what a repair does for the
/// states from which the module would begin anew: a first fragment that an index names gets its bootstrap, and the
/// remains of a recording that had no fragment go, its base time with them. Throws CommandError, with the first
/// finding, for a damaged recording unless `force` is set, and where the way on is another one.
void prepareAppend(const OutputDirectory& place, bool force, Log& log);

}  // namespace host
