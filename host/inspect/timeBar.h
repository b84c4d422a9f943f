#pragma once

#include <cstddef>
#include <string>

#include "host/inspect/RecordingOverview.h"

namespace host {

/// The time of a recording in one line of `columns` characters: `=` recorded, `|` a fragment begins (only if there is
/// room for a mark at each fragment), `.` gap, `!` a gap shorter than the column, so that no gap is too short to be
/// seen. Empty if nothing is recorded.
std::string timeBar(const RecordingOverview& overview, std::size_t columns);

}  // namespace host
