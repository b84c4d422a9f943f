#include "host/serve/hooks/HookMarkers.h"

#include <cerrno>

#include <algorithm>
#include <cstddef>
#include <filesystem>

#include "host/serve/recordingName.h"
#include "platform/os/Directory.h"
#include "platform/os/durableFiles.h"

namespace host::serve {
namespace {

/// In neither of the two names.
constexpr char kSeparator = '~';

}  // namespace

bool HookMarkers::add(const Marker& marker) const {
  std::error_code ignored;
  if (!std::filesystem::is_directory(folder_, ignored)) {
    if (!std::filesystem::is_directory(parent_, ignored)) {
      errno = ENOENT;
      return false;
    }
    // Two threads may make it at once.
    if (!platform::os::makeDirectory(folder_, platform::os::Durability::kDevice) && errno != EEXIST) return false;
  }
  const std::string path = pathOf(marker);
  return platform::os::writeFile(path, {}) && platform::os::syncFile(path);
}

bool HookMarkers::remove(const Marker& marker) const {
  return platform::os::removeFile(pathOf(marker));
}

std::vector<HookMarkers::Marker> HookMarkers::list() const {
  std::vector<Marker> markers;
  for (const auto& entry : platform::os::listDirectory(folder_).entries) {
    const std::size_t separator = entry.name.find(kSeparator);
    if (separator == std::string::npos) continue;
    Marker marker{.stream = entry.name.substr(0, separator), .recording = entry.name.substr(separator + 1)};
    if (isStreamName(marker.stream) && parseRecordingName(marker.recording)) markers.push_back(std::move(marker));
  }
  // The texts of names sort as their times do.
  std::ranges::sort(markers, {}, &Marker::recording);
  return markers;
}

std::string HookMarkers::pathOf(const Marker& marker) const {
  return folder_ + '/' + marker.stream + kSeparator + marker.recording;
}

}  // namespace host::serve
