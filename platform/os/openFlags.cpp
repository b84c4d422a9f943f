#include "platform/os/openFlags.h"

#include <fcntl.h>

namespace platform::os {

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

}  // namespace platform::os
