#include "host/files/RecordingDirectory.h"

#include <fmt/format.h>

#include "host/errors.h"

namespace host {

RecordingDirectory readRecordingDirectory(const std::string& path) {
  std::error_code error;
  RecordingDirectory directory = fileset::readRecordingDirectory(path, error);
  if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
    throw CommandError(fmt::format("'{}' is not a directory", path));
  }
  if (error) throw CommandError(fmt::format("'{}' cannot be read: {}", path, error.message()));
  return directory;
}

}  // namespace host
