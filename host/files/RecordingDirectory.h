#pragma once

#include <cstdint>
#include <string>

#include "fileset/RecordingDirectory.h"

namespace host {

using fileset::RecordingDirectory;

/// Reads the directory of a recording, see fileset::readRecordingDirectory(). Throws CommandError if `path` is no
/// directory or cannot be read.
RecordingDirectory readRecordingDirectory(const std::string& path);

/// Bytes of the files that belong to the recording. A file that is removed meanwhile counts nothing.
std::uint64_t sizeOfFiles(const RecordingDirectory& directory);

}  // namespace host
