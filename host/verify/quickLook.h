#pragma once

#include <optional>

#include "host/files/RecordingDirectory.h"
#include "host/verify/Findings.h"

namespace host {

/// The first damage that shows without reading a recording through: its small files each by itself, whether they agree,
/// and the last fragment of each segment. Nothing where there is none, or only what an append makes whole; what it
/// finds is damage to a whole check, too. Takes some ten milliseconds for a week. It has a bootstrap.
std::optional<Finding> quickLook(const RecordingDirectory& directory);

}  // namespace host
