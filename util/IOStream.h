#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "util/QVSException.h"

namespace ruvo::k2r {

/// A seekable file that is read. The order of the virtual operations is part of the interface.
/// Failures are IOStreamExceptions, but for close() and tell(), which report none. Belongs to one thread at a time.
class IStream {
 public:
  virtual ~IStream() = default;
  /// Returns 0. A stream may be opened again after close().
  virtual std::uint32_t open() = 0;
  /// Does nothing if the stream is closed.
  virtual void close() = 0;
  /// Returns the number of bytes read, which may be less than `count` before the end; 0 at the end. With a null buffer
  /// or a count of 0 it reads nothing.
  virtual std::uint32_t read(void* buffer, std::uint32_t count) = 0;
  /// Moves by `offset` bytes from the start (mode 0), the end (2) or the current position (any other). Returns the new
  /// position.
  virtual std::int64_t seek(std::int64_t offset, std::uint32_t mode) = 0;
  /// The position in bytes; -1 if there is none.
  virtual std::int64_t tell() = 0;
};

/// A file that is written as well, at the same position.
class IOStream : public IStream {
 public:
  /// Returns the number of bytes written, which may be less than `count`: the caller writes the rest. With a null
  /// buffer it writes nothing.
  virtual std::uint32_t write(const void* buffer, std::uint32_t count) = 0;
  /// Cuts the file to `length` bytes, or extends it with zeros. Returns 0. The position stays.
  virtual std::uint32_t truncate(std::int64_t length) = 0;
};

/// An operation on a file failed. The message is empty: handlers use code and path.
class IOStreamException : public qvs::QVSException {
 public:
  /// The values are fixed; errors without a value of their own are kOther.
  enum Code : std::uint32_t {
    /// No error.
    kNone = 0,
    kOther = 1,
    /// EINVAL.
    kInvalidArgument = 2,
    /// EACCES; EPERM and EROFS are kOther.
    kAccessDenied = 3,
    /// EEXIST, when a file was to be new.
    kExists = 4,
    /// EMFILE, the limit of the process.
    kTooManyOpen = 5,
    /// ENOENT, for a directory of the path as well.
    kNotFound = 6,
  };

  /// `errorNumber` is a value of errno.
  IOStreamException(int errorNumber, std::string path)
      : QVSException({}), code_(codeOf(errorNumber)), path_(std::move(path)) {}

  /// A Code.
  std::uint32_t code() const { return code_; }
  /// The path as the stream was given it.
  const std::string& path() const { return path_; }

 private:
  static Code codeOf(int errorNumber);

  std::uint32_t code_;
  std::string path_;
};

}  // namespace ruvo::k2r
