#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "util/QVSException.h"

namespace ruvo::k2r {

/// A file that is read at a position of its own. Failures are IOStreamExceptions. Belongs to one thread at a time.
class IStream {
 public:
  virtual ~IStream() = default;
  /// Answers 0. A stream may be opened again once it is closed.
  virtual std::uint32_t open() = 0;
  /// Does nothing where the stream is closed.
  virtual void close() = 0;
  /// Answers the bytes read, which may be less than `count`; 0 at the end. A null buffer reads nothing.
  virtual std::uint32_t read(void* buffer, std::uint32_t count) = 0;
  /// Moves by `offset` from the start (0), the end (2) or the current position (any other mode). Answers the new
  /// position.
  virtual std::int64_t seek(std::int64_t offset, std::uint32_t mode) = 0;
  /// The position; -1 where there is none.
  virtual std::int64_t tell() = 0;
};

/// One that is written as well.
class IOStream : public IStream {
 public:
  /// Answers the bytes written, which may be less than `count`. A null buffer writes nothing.
  virtual std::uint32_t write(const void* buffer, std::uint32_t count) = 0;
  /// Cuts the file to `length` bytes, or fills it up with zeros. Answers 0.
  virtual std::uint32_t truncate(std::int64_t length) = 0;
};

/// What failed on a file. There is no text: a handler goes by code and path.
class IOStreamException : public qvs::QVSException {
 public:
  enum Code : std::uint32_t {
    kNone = 0,
    kOther = 1,
    kInvalidArgument = 2,
    kAccessDenied = 3,
    kExists = 4,
    kTooManyOpen = 5,
    kNotFound = 6,
  };

  /// `errorNumber` is an errno.
  IOStreamException(int errorNumber, std::string path)
      : QVSException({}), code_(codeOf(errorNumber)), path_(std::move(path)) {}

  std::uint32_t code() const { return code_; }
  const std::string& path() const { return path_; }

 private:
  static Code codeOf(int errorNumber);

  std::uint32_t code_;
  std::string path_;
};

}  // namespace ruvo::k2r
