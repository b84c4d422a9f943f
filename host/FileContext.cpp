#include "host/FileContext.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <system_error>

#include "fileset/RecordingDirectory.h"
#include "platform/os/durableFiles.h"
#include "platform/os/fileCalls.h"
#include "platform/os/paths.h"
#include "platform/os/retried.h"

namespace host {
namespace {

/// The number of bytes is returned with a sign, so one call can do no more than this.
constexpr std::uint32_t kMaxTransfer = std::numeric_limits<std::int32_t>::max();

/// Calls `transfer(done, left)` until `wanted` bytes are done or it returns 0 or an error. Returns the bytes done; -1
/// for an error before the first byte. A disk that becomes full fails with the second write only, hence the loop.
template <typename Transfer>
std::int32_t transferAll(std::size_t wanted, const Transfer& transfer) {
  std::size_t done = 0;
  while (done < wanted) {
    const ssize_t count = platform::os::retried([&] { return transfer(done, wanted - done); });
    if (count < 0 && done == 0) return -1;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<std::int32_t>(done);
}

/// The module specifies read and write for the owner only. Group and others get the same bits; the umask limits them.
mode_t creationMode(std::uint32_t mode) {
  const mode_t owner = static_cast<mode_t>(mode) & S_IRWXU;
  return owner | owner >> 3 | owner >> 6;
}

/// The path of an open file, for messages. Keeps errno.
std::string nameOf(std::int32_t handle) {
  const int savedErrno = errno;
  std::error_code failed;
  const auto name = std::filesystem::read_symlink(fmt::format("/proc/self/fd/{}", handle), failed);
  errno = savedErrno;
  return failed ? fmt::format("file handle {}", handle) : name.string();
}

}  // namespace

std::int32_t FileContext::open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t) {
  const std::string native = platform::os::toNative(path);
  const bool durable = durability_ == Durability::kDevice;
  // O_NONBLOCK so that a pipe in place of a file does not block the recorder; regular files are not affected.
  const int posixFlags = platform::os::toPosixFlags(flags) | O_NOFOLLOW | O_NONBLOCK;
  const int fd = platform::os::retried([&] { return ::open(native.c_str(), posixFlags, creationMode(mode)); });
  if (fd == -1) return fail("open", native);
  // write() covers the data only. The name of a new file is durable once its directory is flushed.
  if (durable && (flags & kIMOCreate) != 0 && !platform::os::syncFile(native)) {
    fail("flush", native);
    ::close(fd);
    return -1;
  }
  return fd;
}

void FileContext::close(std::int32_t handle, std::uint32_t) {
  // Linux closes the descriptor even if a signal interrupts the call. Closing it again could close another thread's
  // file.
  unfinished_.forget(handle);
  if (::close(handle) != 0 && errno != EINTR) fail("close", nameOf(handle));
}

std::int32_t FileContext::read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) {
  const std::int32_t count = transferAll(std::min(length, kMaxTransfer), [&](std::size_t done, std::size_t left) {
    return ::pread(handle, static_cast<std::byte*>(buffer) + done, left, static_cast<off_t>(offset + done));
  });
  return count < 0 ? fail("read", nameOf(handle)) : count;
}

std::int32_t FileContext::write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) {
  const bool durable = durability_ == Durability::kDevice;
  struct stat before {};
  const bool sizeKnown = durable && ::fstat(handle, &before) == 0;
  const std::uint32_t wanted = std::min(length, kMaxTransfer);
  const std::int32_t count = transferAll(wanted, [&](std::size_t done, std::size_t left) {
    return ::pwrite(handle, static_cast<const std::byte*>(buffer) + done, left, static_cast<off_t>(offset + done));
  });
  if (count != static_cast<std::int32_t>(wanted)) fail("write all of", nameOf(handle));
  if (count < 1 || !durable) return count;
  const std::span written(static_cast<const std::byte*>(buffer), static_cast<std::size_t>(count));
  if (makeDurable(handle, offset, written)) return count;
  fail("flush", nameOf(handle));
  // Nothing counts as written, so the file must not be longer than the module takes it to be: a table at the end of the
  // segment would have the rest of this after it.
  if (sizeKnown && ::ftruncate(handle, before.st_size) != 0) fail("shorten", nameOf(handle));
  return -1;
}

bool FileContext::makeDurable(std::int32_t handle, std::uint64_t offset, std::span<const std::byte> written) {
  // A fragment of several writes is flushed once, after its last one. No call says which one that is: the next thing
  // that the module does is to replace the index, by itself.
  if (unfinished_.isUnfinishedAfter(handle, offset, written)) {
    // Begins to write, so that the flush waits for less. Not a flush: the file's size and blocks are not covered.
    const int begun = ::sync_file_range(handle, static_cast<off_t>(offset), static_cast<off_t>(written.size()),
                                        SYNC_FILE_RANGE_WRITE);
    return begun == 0 || errno == ENOSYS;
  }
  return platform::os::retried([&] { return ::fdatasync(handle); }) == 0;
}

std::int32_t FileContext::fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t) {
  struct stat found {};
  if (::fstat(handle, &found) != 0) return -1;
  status->size = found.st_size;
  return 0;
}

std::int32_t FileContext::pathStatus(const char* path, IMOFileStatus* status, std::uint32_t) {
  // -1 says that nothing is there, and an append to nothing removes what is there.
  constexpr std::int32_t kUnknown = -2;
  const std::string native = platform::os::toNative(path);
  struct stat found {};
  if (::stat(native.c_str(), &found) != 0) {
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    if (!isMissing) fail("look up", native);
    return isMissing ? -1 : kUnknown;
  }
  status->size = found.st_size;
  return 0;
}

std::int32_t FileContext::remove(const char* path, std::uint32_t, std::uint32_t) {
  const std::string native = platform::os::toNative(path);
  // Removing the locked directory would remove the lock with it.
  const auto remove = native == lockedDirectory_ ? fileset::emptyRecording : fileset::removeRecording;
  return remove(native, native.substr(native.rfind('/') + 1), durability_) ? 0 : -1;
}

std::int32_t FileContext::createDirectory(const char* path) {
  const std::string native = platform::os::toNative(path);
  return platform::os::makeDirectory(native, durability_) || (errno == EEXIST && native == lockedDirectory_)
             ? 0
             : fail("make the directory", native);
}

std::int32_t FileContext::fail(const char* action, const std::string& what) const {
  const std::string reason = fmt::format("cannot {} '{}': {}", action, what, std::strerror(errno));
  log_.error(reason);
  if (onFailure_) onFailure_(reason);
  return -1;
}

}  // namespace host
