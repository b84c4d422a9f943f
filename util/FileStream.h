#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/os/openFlags.h"
#include "util/IOStream.h"

namespace ruvo::k2r {

/// A file of the disk, each operation one call of the system. The owner closes it: the destructor does not.
class FileStream : public IOStream {
 public:
  /// Opens nothing. `openFlags` are platform::os::OpenFlags; bits that are none of these are dropped.
  FileStream(std::string path, std::uint32_t openFlags) : path_(std::move(path)), openFlags_(openFlags) {}
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  std::uint32_t open() override;
  void close() override;
  std::uint32_t read(void* buffer, std::uint32_t count) override;
  std::int64_t seek(std::int64_t offset, std::uint32_t mode) override;
  std::int64_t tell() override;
  std::uint32_t write(const void* buffer, std::uint32_t count) override;
  std::uint32_t truncate(std::int64_t length) override;

 private:
  /// The answer of a call; -1 becomes an exception.
  template <typename Answer>
  Answer checked(Answer answer) const;

  std::string path_;
  std::uint32_t openFlags_;
  int descriptor_ = -1;
};

/// Flags for a stream that is only read, or `writable`: it is then made where there is none, and without `keep` what it
/// holds goes.
constexpr std::uint32_t openFlagsFor(bool writable, bool keep) {
  using namespace platform::os;
  if (!writable) return kOpenBinary;
  return kOpenBinary | kOpenCreate | kOpenReadWrite | (keep ? 0U : kOpenTruncate);
}

/// A file that is only read.
class FileReadStream : public IStream {
 public:
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
