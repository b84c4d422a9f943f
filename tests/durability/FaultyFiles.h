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
  kPathStatusError,
  kMakeDirectoryError,
  kRemoveError,
};

/// A disk on which a call fails, the `first`th that the fault concerns, counted from 0, and `count` calls in all.
class FaultyFiles final : public DiskFileContext {
 public:
  FaultyFiles(Fault fault, std::uint32_t first, std::uint32_t count) : fault_(fault), first_(first), count_(count) {}

  /// Whether the fault has come and gone.
  bool passed() const { return calls_ >= first_ + count_; }
  bool happened() const { return calls_ > first_; }

  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override;
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override;
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override;
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) override;
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) override;
  std::int32_t remove(const char* path, std::uint32_t kind, std::uint32_t recursive) override;
  std::int32_t createDirectory(const char* path) override;

 private:
  /// Whether this call, which a fault of that kind concerns, is one to fail.
  bool fails(Fault kind);

  Fault fault_;
  std::uint32_t first_;
  std::uint32_t count_;
  std::uint32_t calls_ = 0;
};

}  // namespace test
