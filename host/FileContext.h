#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "host/Log.h"
#include "imo/IMOFileContext.h"
#include "platform/os/Directory.h"

namespace host {

using platform::os::Durability;

/// The file services on POSIX. A handle is the descriptor. Reads and writes go on until all is done, or an end or error
/// is met; the reason of a failure goes to the log, since the caller learns only that there was one.
///
/// With Durability::kDevice a write that has returned has reached the device, and so have a file's and a directory's
/// name when open() and createDirectory() are back. Files are made with the permissions that the umask leaves; a link
/// in the place of one is not followed. Has no state that changes: any number of threads and streams may use one.
class FileContext final : public IMOFileContext {
 public:
  /// `log` outlives it. `held` is the native path of a directory that the host holds locked: remove() leaves it there,
  /// empty, and createDirectory() takes it for made, so that the lock does not go with it.
  FileContext(Durability durability, Log& log, std::string held = {})
      : durability_(durability), log_(log), held_(std::move(held)) {}

  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override;
  void close(std::int32_t handle, std::uint32_t reserved) override;
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override;
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override;
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) override;
  /// -1 for a missing path alone, so that no error of the system is taken for one.
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) override;
  /// Removes nothing but a recording, see fileset::removeRecording(); the stem is the directory's name.
  std::int32_t remove(const char* path, std::uint32_t kind, std::uint32_t recursive) override;
  /// Makes the directories above it, too. Fails for one that is there already.
  std::int32_t createDirectory(const char* path) override;

 private:
  /// Logs what errno says. Answers -1.
  std::int32_t fail(const char* action, const std::string& what) const;

  Durability durability_;
  Log& log_;
  std::string held_;
};

}  // namespace host
