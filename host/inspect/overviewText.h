#pragma once

#include <cstddef>
#include <string>

#include "host/inspect/RecordingOverview.h"

namespace host {

/// For people: a line a value, and at the end the time line, `columns` wide, with its legend. Ends in a newline.
/// `columns` is the width of the terminal.
std::string overviewText(const RecordingOverview& overview, std::size_t columns);
/// The same for programs, as docs/json.md describes it. Lengths and places are in ms, as whole numbers.
Json overviewJson(const RecordingOverview& overview);

}  // namespace host
