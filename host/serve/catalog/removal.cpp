#include "host/serve/catalog/removal.h"

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>

#include "fileset/RecordingDirectory.h"
#include "host/DirectoryLock.h"
#include "host/serve/recordingName.h"
#include "platform/os/Directory.h"

namespace host::serve {
namespace {

using platform::os::Durability;

/// Whether the directory contains nothing but regular files of the recording.
bool isOnlyRecording(const std::string& path, const std::string& recording) {
  std::error_code error;
  const auto directory = fileset::examineRecordingDirectory(path, recording, error);
  return !error && directory.foreign.empty();
}

}  // namespace

RemovalResult removeRecordingOf(const std::string& folder, const std::string& recording) {
  const std::string path = folder + "/" + recording;
  const std::string aside = path + kRemovedSuffix;
  const DirectoryLock lock(path);
  if (lock.state() == DirectoryLock::State::kUnopened)
    return errno == ENOENT ? RemovalResult::kDone : RemovalResult::kRefused;
  if (lock.state() == DirectoryLock::State::kTaken) return RemovalResult::kInUse;
  // Before it is renamed: a directory that cannot be removed keeps its name.
  if (!isOnlyRecording(path, recording)) return RemovalResult::kRefused;
  if (std::rename(path.c_str(), aside.c_str()) != 0) return RemovalResult::kRefused;
  // Otherwise a loss of power could bring the name back, with some of the files.
  platform::os::flushParent(path, Durability::kDevice);
  // finishRemovals() removes what cannot be removed now. The recording itself is gone already.
  fileset::removeRecording(aside, recording, Durability::kDevice);
  return RemovalResult::kDone;
}

void finishRemovals(const std::string& folder) {
  constexpr std::string_view kSuffix = kRemovedSuffix;
  for (const auto& entry : platform::os::listDirectory(folder).entries) {
    if (!entry.name.ends_with(kSuffix)) continue;
    const std::string recording = entry.name.substr(0, entry.name.size() - kSuffix.size());
    const std::string path = folder + "/" + entry.name;
    const DirectoryLock lock(path);
    const bool isFree = lock.state() != DirectoryLock::State::kTaken;
    if (isFree && parseRecordingName(recording)) fileset::removeRecording(path, recording, Durability::kDevice);
  }
}

}  // namespace host::serve
