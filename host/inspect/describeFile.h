#pragma once

#include <string>
#include <vector>

#include "host/output.h"

namespace host {

/// What could not be read: file, place and reason, for the user.
using InspectErrors = std::vector<std::string>;

/// Describes a file of a recording or a tag stream, told by its content, a control file by its name or size; or a
/// directory with all files of a recording. What cannot be read is in the document under `error`, and in `errors`.
/// Throws CommandError where there is nothing at `path`.
Json describePath(const std::string& path, InspectErrors& errors);

}  // namespace host
