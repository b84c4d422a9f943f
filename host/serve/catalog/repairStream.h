#pragma once

#include <functional>
#include <string>

#include "host/Log.h"
#include "host/Settings.h"
#include "host/serve/catalog/Catalog.h"

namespace host::serve {

/// Completes a recording of an earlier process that was interrupted, as `k2r repair` does; removes one without a
/// fragment. Returns whether it is finished now and was not before. A damaged one stays as it is, and so does one that
/// another process writes or that cannot be written. The log and the catalog get the result. `settings` are those of
/// the stream; a protected recording needs them. Does not throw.
bool repairInterrupted(Catalog& catalog, const RecordingPlace& recording, const Settings& settings, Log& log);

/// Calls `repair` for the newest recordings of a stream in `root` that are not finished, before the stream begins the
/// next one: from the newest on until two are finished, or some more were looked at. Older ones are the catalog's to
/// report. Does not throw; may wait for the disk of `root`.
void repairStream(const std::string& root, const std::string& stream,
                  const std::function<void(const RecordingPlace&)>& repair, Log& log);

}  // namespace host::serve
