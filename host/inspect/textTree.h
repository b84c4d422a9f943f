#pragma once

#include <string>

#include "host/output.h"

namespace host {

/// A document for people to read: one line for each value, with its key in words; members are indented. A list of
/// objects becomes a table if their values fit into one line. Not for programs: keys are changed, and lists are
/// shortened to one line.
std::string textTree(const Json& document);

}  // namespace host
