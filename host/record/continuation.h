#pragma once

#include <cstdint>
#include <optional>

#include "host/OutputDirectory.h"
#include "imo/IMOStreamOpenContext.h"

namespace host {

/// Where the timestamps of what is appended best begin, in milliseconds: on the first line of the fragment grid at or
/// behind the end of all fragments that the bootstrap and the last index name. Fragments are numbered by time, so what
/// began earlier could not be recorded, and what begins between two lines would lose its start. Nothing where there is
/// no bootstrap. To be asked once the recording is open, which also shows that `settings` are sound. Throws
/// CommandError or Malformed for files that cannot be read.
std::optional<std::uint32_t> continuationTime(const OutputDirectory& place, IMOStreamOpenContext& settings);

}  // namespace host
