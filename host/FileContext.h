#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "host/Log.h"
#include "host/UnfinishedFragments.h"
#include "imo/IMOFileContext.h"
#include "platform/os/Directory.h"

namespace host {

using platform::os::Durability;

/// The module's file services on POSIX. A handle is the file descriptor. Reads and writes are repeated until everything
/// is done, or an end or error is met. The reason of a failure goes to the log, because the module gets only -1.
///
/// With Durability::kDevice, a fragment has reached the device when the write() that finishes it returns, and every
/// other write to a segment when its write() returns, see UnfinishedFragments. So has the name of a file or directory
/// when open() or createDirectory() returns. New files have the permissions that the umask allows. A symbolic link is
/// not followed. Any threads and streams may use the same object.
class FileContext final : public IMOFileContext {
 public:
  /// `log` outlives it. `lockedDirectory` is the native path of a directory that this process has locked, or empty.
  /// remove() only empties that directory, and createDirectory() succeeds if it exists: a new directory would be
  /// another one, without the lock.
  /// `onFailure` gets each reason that goes to the log, on the thread of the call; null if they are not wanted.
  FileContext(Durability durability, Log& log, std::string lockedDirectory = {},
              std::function<void(const std::string& reason)> onFailure = {})
      : durability_(durability),
        log_(log),
        lockedDirectory_(std::move(lockedDirectory)),
        onFailure_(std::move(onFailure)) {}

  /// Returns a handle, or -1. `path` is in the module's form, as all paths here. `share` is ignored.
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override;
  void close(std::int32_t handle, std::uint32_t reserved) override;
  /// Return the number of bytes done, which is smaller than `length` at the end of the file or after an error; -1 if
  /// nothing was done, or if what was written did not reach the device. The whole fragment then counts as not written,
  /// since the system reports such an error once only and may have dropped any of its bytes.
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override;
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override;
  /// Set the size in bytes. Return 0, or -1 without a line in the log: a missing file is no failure to the module.
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) override;
  /// -1 for a missing path alone, so that no error of the system is taken for one.
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) override;
  /// Removes a recording and nothing else, see removeRecording(). Its stem is the directory's name. Returns 0 or -1.
  std::int32_t remove(const char* path, std::uint32_t kind, std::uint32_t recursive) override;
  /// Makes the directory and those above it. Returns 0, or -1 if it fails or the directory exists.
  std::int32_t createDirectory(const char* path) override;

 private:
  /// Called after a write. Returns false if the device reported an error, of this write or an earlier one of its
  /// fragment.
  bool makeDurable(std::int32_t handle, std::uint64_t offset, std::span<const std::byte> written);
  /// Logs the text for errno. Returns -1.
  std::int32_t fail(const char* action, const std::string& what) const;

  Durability durability_;
  Log& log_;
  std::string lockedDirectory_;
  std::function<void(const std::string& reason)> onFailure_;
  UnfinishedFragments unfinished_;
};

}  // namespace host
