#include "util/FileStream.h"

#include <cerrno>

#include "platform/os/fileCalls.h"

namespace ruvo::k2r {
namespace {

using platform::os::SeekFrom;

// Any mode but 0 and 2 is relative, 1 as well as a wrong one: fixed by the interface.
SeekFrom seekFrom(std::uint32_t mode) {
  if (mode == 0) return SeekFrom::kStart;
  return mode == 2 ? SeekFrom::kEnd : SeekFrom::kCurrent;
}

}  // namespace

std::uint32_t FileStream::open() {
  // The flag for text mode is known and without effect: files are binary in any case.
  const std::uint32_t flags = openFlags_ & platform::os::kOpenKnownFlags;
  descriptor_ = checked(platform::os::openDescriptor(path_, flags, platform::os::kOwnerReadsAndWrites));
  return 0;
}

void FileStream::close() {
  if (descriptor_ == -1) return;
  platform::os::closeDescriptor(descriptor_);
  descriptor_ = -1;
}

// The check comes before the descriptor is used: a read of nothing succeeds on a closed stream, too.
std::uint32_t FileStream::read(void* buffer, std::uint32_t count) {
  if (count == 0 || buffer == nullptr) return 0;
  return static_cast<std::uint32_t>(checked(platform::os::readDescriptor(descriptor_, buffer, count)));
}

std::uint32_t FileStream::write(const void* buffer, std::uint32_t count) {
  if (count == 0 || buffer == nullptr) return 0;
  return static_cast<std::uint32_t>(checked(platform::os::writeDescriptor(descriptor_, buffer, count)));
}

std::int64_t FileStream::seek(std::int64_t offset, std::uint32_t mode) {
  return checked(platform::os::seekDescriptor(descriptor_, offset, seekFrom(mode)));
}

// Not checked: -1 is the documented result, for a pipe as for a closed stream.
std::int64_t FileStream::tell() {
  return platform::os::seekDescriptor(descriptor_, 0, SeekFrom::kCurrent);
}

std::uint32_t FileStream::truncate(std::int64_t length) {
  checked(platform::os::truncateDescriptor(descriptor_, length));
  return 0;
}

template <typename Result>
Result FileStream::checked(Result result) const {
  // errno first of all: nothing that could change it may run before.
  if (result == -1) throw IOStreamException(errno, path_);
  return result;
}

}  // namespace ruvo::k2r
