#include "tests/durability/FaultyFiles.h"

namespace test {

bool FaultyFiles::fails(Fault kind) {
  if (kind != fault_) return false;
  const std::uint32_t call = calls_++;
  return call >= first_ && call - first_ < count_;
}

std::int32_t FaultyFiles::open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) {
  return fails(Fault::kOpenError) ? -1 : DiskFileContext::open(path, flags, mode, share);
}

std::int32_t FaultyFiles::read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) {
  if (fails(Fault::kReadError)) return -1;
  return DiskFileContext::read(handle, offset, buffer, fails(Fault::kShortRead) ? (length + 1) / 2 : length);
}

std::int32_t FaultyFiles::write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) {
  if (fails(Fault::kWriteError)) return -1;
  if (fails(Fault::kShortWrite)) return DiskFileContext::write(handle, offset, buffer, (length + 1) / 2);
  if (fails(Fault::kNoSpace)) {
    return calls_ == first_ + 1 ? DiskFileContext::write(handle, offset, buffer, (length + 3) / 4) : -1;
  }
  return DiskFileContext::write(handle, offset, buffer, length);
}

std::int32_t FaultyFiles::fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) {
  return fails(Fault::kStatusError) ? -1 : DiskFileContext::fileStatus(handle, status, reserved);
}

std::int32_t FaultyFiles::pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) {
  return fails(Fault::kPathStatusError) ? -1 : DiskFileContext::pathStatus(path, status, reserved);
}

std::int32_t FaultyFiles::remove(const char* path, std::uint32_t kind, std::uint32_t recursive) {
  return fails(Fault::kRemoveError) ? -1 : DiskFileContext::remove(path, kind, recursive);
}

std::int32_t FaultyFiles::createDirectory(const char* path) {
  return fails(Fault::kMakeDirectoryError) ? -1 : DiskFileContext::createDirectory(path);
}

}  // namespace test
