#pragma once

#include <cstdint>

#include "tests/support/TestHost.h"

namespace test {

/// What goes wrong in a call of the host's file services. Each concerns calls of one kind, and leaves the others alone.
enum class Fault {
  /// Half of the bytes are written, and the answer says so.
  kShortWrite,
  kWriteError,
  /// A quarter of the bytes of the first such write, and of the next ones nothing.
  kNoSpace,
  kOpenError,
  kReadError,
  /// Half of the bytes are read.
  kShortRead,
  kStatusError,
};

/// A disk on which a call fails, the `first`th that the fault concerns, counted from 0, and `count` calls in all.
class FaultyFiles final : public DiskFileContext {
 public:
  FaultyFiles(Fault fault, std::uint32_t first, std::uint32_t count) : fault_(fault), first_(first), count_(count) {}

  /// Whether the fault has come and gone.
  bool passed() const { return calls_ >= first_ + count_; }
  bool happened() const { return calls_ > first_; }

  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    return fails(Fault::kOpenError) ? -1 : DiskFileContext::open(path, flags, mode, share);
  }
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override {
    if (fails(Fault::kReadError)) return -1;
    return DiskFileContext::read(handle, offset, buffer, fails(Fault::kShortRead) ? (length + 1) / 2 : length);
  }
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override {
    const bool isFull = fails(Fault::kNoSpace);
    if (fails(Fault::kWriteError) || (isFull && calls_ != first_ + 1)) return -1;
    const std::uint32_t part = fails(Fault::kShortWrite) ? (length + 1) / 2 : isFull ? (length + 3) / 4 : length;
    return DiskFileContext::write(handle, offset, buffer, part);
  }
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) override {
    return fails(Fault::kStatusError) ? -1 : DiskFileContext::fileStatus(handle, status, reserved);
  }

 private:
  /// Whether this call, which a fault of that kind concerns, is one to fail.
  bool fails(Fault kind) {
    if (kind != fault_) return false;
    const std::uint32_t call = calls_++;
    return call >= first_ && call - first_ < count_;
  }

  Fault fault_;
  std::uint32_t first_;
  std::uint32_t count_;
  std::uint32_t calls_ = 0;
};

}  // namespace test
