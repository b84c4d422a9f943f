#pragma once

#include <cstddef>
#include <string>

#include "host/inspect/RecordingOverview.h"

namespace host {

/// For people: a line a value, and at the end the time line, `columns` wide, with its legend.
std::string overviewText(const RecordingOverview& overview, std::size_t columns);
/// The same for programs, as docs/json.md has it.
Json overviewJson(const RecordingOverview& overview);

}  // namespace host
