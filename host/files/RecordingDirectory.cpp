#include "host/files/RecordingDirectory.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <vector>

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

std::uint64_t sizeOfFiles(const RecordingDirectory& directory) {
  std::vector<std::string> names = directory.temporary;
  for (const auto& name :
       {directory.bootstrapName(), directory.controlName(), directory.metaName(), directory.drmMetaName()}) {
    names.push_back(name);
  }
  for (const std::uint32_t number : directory.segments) names.push_back(directory.segmentName(number));
  for (const std::uint32_t number : directory.indexes) names.push_back(directory.indexName(number));
  std::uint64_t bytes = 0;
  for (const std::string& name : names) {
    std::error_code error;
    const auto size = std::filesystem::file_size(directory.pathOf(name), error);
    if (!error) bytes += size;
  }
  return bytes;
}

}  // namespace host
