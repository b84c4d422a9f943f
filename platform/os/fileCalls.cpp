#include "platform/os/fileCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/os/openFlags.h"
#include "platform/os/paths.h"
#include "platform/os/retried.h"

namespace platform::os {
namespace {

int toWhence(SeekFrom from) {
  switch (from) {
    case SeekFrom::kStart:
      return SEEK_SET;
    case SeekFrom::kEnd:
      return SEEK_END;
    case SeekFrom::kCurrent:
      break;
  }
  return SEEK_CUR;
}

bool isDirectory(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

int toPosixFlags(std::uint32_t flags) {
  int posix = O_CLOEXEC;
  const bool writes = (flags & (kOpenWriteOnly | kOpenReadWrite)) != 0;
  if ((flags & kOpenReadWrite) != 0) {
    posix |= O_RDWR;
  } else {
    posix |= writes ? O_WRONLY : O_RDONLY;
  }
  if ((flags & kOpenAppend) != 0) posix |= O_APPEND;
  if ((flags & kOpenCreate) != 0) posix |= O_CREAT;
  // O_TRUNC together with O_RDONLY is unspecified by POSIX, and on Linux it empties the file.
  if ((flags & kOpenTruncate) != 0 && writes) posix |= O_TRUNC;
  if ((flags & kOpenExclusive) != 0) posix |= O_EXCL;
  return posix;
}

int openDescriptor(std::string_view path, std::uint32_t flags, std::uint32_t permission) {
  const std::string native = toNative(path);
  const int descriptor =
      retried([&] { return ::open(native.c_str(), toPosixFlags(flags), static_cast<mode_t>(permission)); });
  // For writing the system refuses a directory with EISDIR, for reading not at all; callers see one error in both
  // cases.
  if (descriptor == -1 && errno == EISDIR) errno = EACCES;
  if (descriptor == -1 || !isDirectory(descriptor)) return descriptor;
  ::close(descriptor);
  errno = EACCES;
  return -1;
}

int closeDescriptor(int descriptor) {
  // Not retried: after EINTR the descriptor is released on Linux, and its number may belong to another thread's file.
  return ::close(descriptor);
}

std::int64_t readDescriptor(int descriptor, void* buffer, std::size_t count) {
  return retried([&] { return ::read(descriptor, buffer, count); });
}

std::int64_t writeDescriptor(int descriptor, const void* buffer, std::size_t count) {
  return retried([&] { return ::write(descriptor, buffer, count); });
}

bool writeAll(int descriptor, std::span<const std::byte> content) {
  while (!content.empty()) {
    const std::int64_t written = writeDescriptor(descriptor, content.data(), content.size());
    if (written <= 0) return false;
    content = content.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

std::int64_t seekDescriptor(int descriptor, std::int64_t offset, SeekFrom from) {
  return ::lseek(descriptor, offset, toWhence(from));
}

int truncateDescriptor(int descriptor, std::int64_t length) {
  return retried([&] { return ::ftruncate(descriptor, length); });
}

}  // namespace platform::os
