#pragma once

#include <string>

#include "host/output.h"

namespace host {

/// Adds to `document` what the packager reads from a tag stream: its duration, its tracks, and for each track the
/// number of samples and the first and last time. Throws CommandError if the file cannot be read; `document` then has
/// what was read before.
void describeTagStream(const std::string& path, Json& document);

}  // namespace host
