#include "platform/os/fileCalls.h"

#include <fcntl.h>
#include <unistd.h>

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

}  // namespace

int openDescriptor(std::string_view path, std::uint32_t flags, std::uint32_t permission) {
  const std::string native = toNative(path);
  return retried([&] { return ::open(native.c_str(), toPosixFlags(flags), static_cast<mode_t>(permission)); });
}

int closeDescriptor(int descriptor) {
  return ::close(descriptor);
}

std::int64_t readDescriptor(int descriptor, void* buffer, std::size_t count) {
  return retried([&] { return ::read(descriptor, buffer, count); });
}

std::int64_t writeDescriptor(int descriptor, const void* buffer, std::size_t count) {
  return retried([&] { return ::write(descriptor, buffer, count); });
}

std::int64_t seekDescriptor(int descriptor, std::int64_t offset, SeekFrom from) {
  return ::lseek(descriptor, offset, toWhence(from));
}

int truncateDescriptor(int descriptor, std::int64_t length) {
  return retried([&] { return ::ftruncate(descriptor, length); });
}

}  // namespace platform::os
