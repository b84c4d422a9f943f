#pragma once

#include <cstdint>

struct KrvoK2MIOStreamCallBacks;
struct KrvoK2MWarningHandlerCallBacks;

namespace krvo::k2m {

/// A file that the container library reads. The library calls it inside its own calls, on the thread of its writer or
/// reader. Failures are exceptions, of any type.
class IStream {
 public:
  virtual ~IStream() = default;
  /// The library says that it begins or ends to use the stream. The object is not deleted at 0: its owner stays its
  /// owner.
  virtual void addReference() = 0;
  virtual void release() = 0;
  /// Called by the library after the first addReference.
  virtual void open() = 0;
  /// Called by the owner, not by the library.
  virtual void close() = 0;
  /// Reads up to `count` bytes from the position and returns how many. The library calls again for the rest; 0 is a
  /// failure.
  virtual std::uint64_t read(void* buffer, std::uint64_t count) = 0;
  /// Moves by `offset` bytes: mode 0 from the start, 1 from the position, 2 from the end.
  virtual void seek(std::int64_t offset, std::uint32_t mode) = 0;
  /// Bytes from the start.
  virtual std::uint64_t tell() = 0;
};

/// A file that the container library writes.
class IOStream : public IStream {
 public:
  /// Writes up to `count` bytes at the position and returns how many were taken. The library calls again for the rest;
  /// 0 is a failure.
  virtual std::uint64_t write(const void* buffer, std::uint64_t count) = 0;
  /// Makes what was written durable, as far as the stream can.
  virtual void flush() = 0;
};

/// Decides about the library's warnings.
class WarningHandler {
 public:
  virtual ~WarningHandler() = default;
  /// `code` is a KrvoWarningCode. Returns 1 to continue, 0 to stop: the call in progress then fails.
  virtual std::uint32_t warning(std::uint32_t code) = 0;
};

/// The callback record for `handler`, which outlives the call that gets it; otherwise as below.
KrvoK2MWarningHandlerCallBacks makeCallBacks(WarningHandler& handler);

/// The callback record for `stream`, which outlives the writer or reader that gets it; the record itself is copied by
/// the library. An exception of an operation becomes a status: that of an Exception, 18 for std::bad_alloc, 19 for
/// another std::exception, 1 for anything else.
KrvoK2MIOStreamCallBacks makeCallBacks(IOStream& stream);

}  // namespace krvo::k2m
