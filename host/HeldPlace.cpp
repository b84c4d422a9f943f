#include "host/HeldPlace.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "fileset/RecordingDirectory.h"
#include "host/errors.h"

namespace host {
namespace {

/// Exchanges two directories in one step. Returns false, with errno, if that fails.
bool exchangeDirectories(const std::string& one, const std::string& other) {
  return ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

/// Whether errno means that the file system cannot exchange or that the system does not know the call.
bool lacksOperation() {
  return errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
}

/// Moves the old recording back to its place and removes what is there. Returns false if it could not be moved.
bool putBack(const OutputDirectory& place, Durability durability) {
  // Exchanged before anything is removed: after an interruption the remains of the new recording are aside, and not the
  // old one.
  bool back = exchangeDirectories(place.aside(), place.native());
  if (back) {
    fileset::removeRecording(place.aside(), place.stem(), durability);
  } else if (lacksOperation() && fileset::removeRecording(place.native(), place.stem(), durability)) {
    back = std::rename(place.aside().c_str(), place.native().c_str()) == 0;
  }
  platform::os::flushParent(place.native(), durability);
  return back;
}

}  // namespace

HeldPlace::HeldPlace(const OutputDirectory& place, Durability durability, Log& log) : place_(place) {
  // If another process is removing the directory or moving it aside, it has gone by the next attempt.
  constexpr int kAttempts = 100;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    makeMissing(durability);
    if (tryLock(log)) return;
  }
  throw CommandError(fmt::format("'{}' is in use: it is moved away again and again", place_.native()));
}

HeldPlace::~HeldPlace() {
  for (const std::string& path : made_) {
    // rmdir() removes empty directories only. Those above one that is not empty are not empty either.
    if (::rmdir(path.c_str()) != 0) return;
  }
}

void HeldPlace::makeMissing(Durability durability) {
  std::vector<std::string> missing;
  std::error_code error;
  std::filesystem::path path = place_.native();
  for (; !std::filesystem::exists(std::filesystem::symlink_status(path, error)); path = path.parent_path()) {
    missing.push_back(path.string());
  }
  if (missing.empty()) return;
  if (!platform::os::makeDirectory(place_.native(), durability) && errno != EEXIST) {
    throw CommandError(fmt::format("cannot make the directory '{}': {}", place_.native(), std::strerror(errno)));
  }
  made_ = std::move(missing);
}

bool HeldPlace::tryLock(Log& log) {
  using State = DirectoryLock::State;
  lock_.emplace(place_.native());
  switch (lock_->state()) {
    case State::kHeld:
      return lock_->isAt(place_.native());
    case State::kTaken:
      // The directory is another process's now, even if this one made it.
      made_.clear();
      throw CommandError(fmt::format("'{}' is in use: {} is writing the recording in it; nothing was changed",
                                     place_.native(), lock_->holder()));
    case State::kUnsupported:
      log.warning(
          fmt::format("'{}' cannot be locked, since its file system has no locks: see to it that nobody else "
                      "records into it",
                      place_.native()));
      return true;
    case State::kUnopened:
      break;
  }
  // The directory was removed after makeMissing().
  if (errno == ENOENT) return false;
  throw CommandError(fmt::format("cannot open the directory '{}': {}", place_.native(), std::strerror(errno)));
}

ReplacedRecording::ReplacedRecording(const OutputDirectory& place, Durability durability, Log& log)
    : place_(place), durability_(durability), log_(log), aside_(place.aside()) {
  if (::mkdir(aside_.c_str(), 0777) != 0) {
    if (errno != EEXIST) {
      throw CommandError(fmt::format("cannot put aside '{}': {}", place_.native(), std::strerror(errno)));
    }
    throw CommandError(fmt::format("'{}' is in the way; move it or remove it", aside_));
  }
  putAside();
  isAside_ = true;
  platform::os::flushParent(aside_, durability_);
}

void ReplacedRecording::putAside() {
  // Those who may look into the old directory, and no others, may look into the new one.
  struct stat old {};
  if (::stat(place_.native().c_str(), &old) == 0) ::chmod(aside_.c_str(), old.st_mode & 07777);
  // Locked before it is moved to its place, so that no other recorder can lock it in between.
  lock_.emplace(aside_);
  const bool free = lock_->state() != DirectoryLock::State::kTaken;
  if (free && exchangeDirectories(aside_, place_.native())) return;
  if (free && lacksOperation()) {
    putAsideInSteps();
    return;
  }
  // rmdir() may change it.
  const int error = errno;
  ::rmdir(aside_.c_str());
  throw CommandError(fmt::format("cannot put aside '{}': {}", place_.native(), std::strerror(error)));
}

void ReplacedRecording::putAsideInSteps() {
  // A directory can be moved over an empty one, and `aside_` has just been made.
  if (std::rename(place_.native().c_str(), aside_.c_str()) == 0) {
    if (::mkdir(place_.native().c_str(), 0777) == 0) {
      lock_.emplace(place_.native());
      if (lock_->state() != DirectoryLock::State::kTaken) return;
    }
    std::rename(aside_.c_str(), place_.native().c_str());
  }
  throw CommandError(fmt::format("cannot put aside '{}': {}", place_.native(), std::strerror(errno)));
}

ReplacedRecording::~ReplacedRecording() {
  settle();
  if (!isAside_) return;
  if (putBack(place_, durability_)) {
    log_.warning(fmt::format("no fragment was recorded: the old recording is back in '{}'", place_.native()));
  } else {
    log_.warning(fmt::format("no fragment was recorded; the old recording is in '{}'", aside_));
  }
}

void ReplacedRecording::settle() {
  const std::string bootstrap = fileset::FileNames{place_.native() + "/" + place_.stem()}.bootstrapName();
  // The bootstrap is written with the first fragment. The module does not report that, so the host looks for the file.
  if (!isAside_ || ::access(bootstrap.c_str(), F_OK) != 0) return;
  isAside_ = false;
  if (!fileset::removeRecording(aside_, place_.stem(), durability_)) {
    log_.warning(fmt::format("the old recording was left in '{}'", aside_));
  }
}

std::optional<DirectoryLock> restoreInterrupted(const OutputDirectory& place) {
  if (interruptedOverwrite(place).empty()) return std::nullopt;
  DirectoryLock lock(place.aside());
  if (lock.state() != DirectoryLock::State::kTaken && putBack(place, Durability::kDevice)) return lock;
  throw CommandError(fmt::format("the recording in '{}' could not be put back", place.aside()));
}

}  // namespace host
