#pragma once

#include <string>

#include "fileset/RecordingDirectory.h"

namespace host {

using fileset::RecordingDirectory;

/// Reads the directory of a recording, see fileset::readRecordingDirectory(). Throws CommandError if `path` is no
/// directory or cannot be read.
RecordingDirectory readRecordingDirectory(const std::string& path);

}  // namespace host
