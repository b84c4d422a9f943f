#pragma once

#include <optional>

#include "host/files/RecordingDirectory.h"
#include "host/verify/Findings.h"

namespace host {

/// Returns the first damage that can be found without reading all of a recording: in its small files, between them, and
/// in the last fragment of each segment. Returns nothing if there is none, or only what an append repairs.
/// verifyRecording() reports everything that this finds. Takes about ten milliseconds for a recording of a week. The
/// recording must have a bootstrap. For an append, which must not wait for hours of samples to be read.
std::optional<Finding> quickLook(const RecordingDirectory& directory);

}  // namespace host
