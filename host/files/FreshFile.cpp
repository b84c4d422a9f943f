#include "host/files/FreshFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>

#include "host/errors.h"
#include "host/files/RecordingDirectory.h"
#include "platform/os/durableFiles.h"
#include "platform/os/fileCalls.h"
#include "platform/os/retried.h"

namespace host {
namespace {

namespace fs = std::filesystem;

fs::path folderOf(const std::string& place) {
  return fs::absolute(place).parent_path();
}

/// A name that no user has chosen: `FILE.part` could be somebody's.
std::string newName() {
  return fmt::format(".k2r-{:08x}.part", std::random_device()());
}

bool moveToFreeName(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // For file systems without that operation: a second name for the file does not replace anything either.
  return ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

bool isRecording(const fs::path& folder) {
  try {
    return !readRecordingDirectory(folder.string()).empty();
  } catch (const CommandError&) {
    return false;  // it may be written and not read, and cannot be checked
  }
}

}  // namespace

void requireOutsideRecordings(const std::string& place) {
  std::error_code error;
  fs::path folder = fs::canonical(folderOf(place), error);
  if (error) throw CommandError(fmt::format("'{}' cannot be written: {}", place, error.message()));
  // The folders above as well: what is in a folder of a recording is in that recording.
  for (;; folder = folder.parent_path()) {
    if (isRecording(folder)) {
      throw CommandError(fmt::format("'{}' lies among the files of a recording; nothing was changed", place));
    }
    if (folder == folder.root_path()) return;
  }
}

FreshFile::FreshFile(const std::string& place, mode_t mode) : place_(place) {
  const fs::path folder = folderOf(place);
  // A name may be taken by chance.
  for (int attempt = 0; attempt < 100 && fd_ == -1; ++attempt) {
    path_ = (folder / newName()).string();
    fd_ = platform::os::retried(
        [&] { return ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode); });
    if (fd_ == -1 && errno != EEXIST) break;
  }
  if (fd_ == -1) fail();
}

FreshFile::~FreshFile() {
  ::close(fd_);
  if (!path_.empty()) ::unlink(path_.c_str());
}

void FreshFile::write(std::span<const std::byte> content) const {
  if (!platform::os::writeAll(fd_, content)) fail();
}

void FreshFile::setMode(mode_t mode) const {
  if (::fchmod(fd_, mode) != 0) fail();
}

void FreshFile::keepAsNew() {
  // Flushed before it gets its name: after a power failure the name must not belong to an empty file.
  if (!platform::os::syncFile(path_) || !moveToFreeName(path_, place_)) fail();
  path_.clear();
  platform::os::syncFile(place_);
}

void FreshFile::keepInstead() {
  if (!platform::os::replaceFile(path_, place_)) fail();
  path_.clear();
}

void FreshFile::fail() const {
  throw CommandError(fmt::format("'{}' cannot be written: {}", place_, std::strerror(errno)));
}

}  // namespace host
