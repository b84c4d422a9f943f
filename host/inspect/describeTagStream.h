#pragma once

#include <string>

#include "host/output.h"

namespace host {

/// Puts into `document` what the packager makes of a tag stream: its duration, its tracks, and of each track how many
/// samples there are and from when to when. Throws CommandError where the file cannot be read; what is known by then is
/// in the document.
void describeTagStream(const std::string& path, Json& document);

}  // namespace host
