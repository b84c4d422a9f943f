#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/os/openFlags.h"
#include "util/IOStream.h"

namespace ruvo::k2r {

/// A file on disk, each operation one system call: nothing is buffered, and no operation loops. The owner closes it:
/// the destructor does not. The record path uses the host's file services and not this. Failures are IOStreamExceptions
/// with code and path, and leave the file open. Belongs to one thread at a time.
class FileStream : public IOStream {
 public:
  /// Opens nothing. `path` has slashes or backslashes. `openFlags` are platform::os::OpenFlags; other bits are dropped.
  FileStream(std::string path, std::uint32_t openFlags) : path_(std::move(path)), openFlags_(openFlags) {}
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  /// A new file is for its owner alone (read and write). If it fails, the object stays closed.
  std::uint32_t open() override;
  void close() override;
  std::uint32_t read(void* buffer, std::uint32_t count) override;
  std::int64_t seek(std::int64_t offset, std::uint32_t mode) override;
  std::int64_t tell() override;
  std::uint32_t write(const void* buffer, std::uint32_t count) override;
  std::uint32_t truncate(std::int64_t length) override;

 private:
  /// The result of a system call; -1 becomes an exception with the current errno.
  template <typename Result>
  Result checked(Result result) const;

  std::string path_;
  std::uint32_t openFlags_;
  /// -1 while closed.
  int descriptor_ = -1;
};

/// Flags for a stream that is only read, or that is `writable`: the file is then made if there is none, and emptied
/// without `keep`. Binary in each case.
constexpr std::uint32_t openFlagsFor(bool writable, bool keep) {
  using namespace platform::os;
  if (!writable) return kOpenBinary;
  return kOpenBinary | kOpenCreate | kOpenReadWrite | (keep ? 0U : kOpenTruncate);
}

/// A file that is only read; the interface has no operation that could change it. Otherwise as FileStream.
class FileReadStream : public IStream {
 public:
  /// Opens nothing. `path` has slashes or backslashes.
  explicit FileReadStream(std::string path) : file_(std::move(path), openFlagsFor(false, true)) {}

  std::uint32_t open() override { return file_.open(); }
  void close() override { file_.close(); }
  std::uint32_t read(void* buffer, std::uint32_t count) override { return file_.read(buffer, count); }
  std::int64_t seek(std::int64_t offset, std::uint32_t mode) override { return file_.seek(offset, mode); }
  std::int64_t tell() override { return file_.tell(); }

 private:
  FileStream file_;
};

}  // namespace ruvo::k2r
