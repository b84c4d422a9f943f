#pragma once

#include <cstdint>

struct KrvoK2MIOStreamCallBacks;
struct KrvoK2MWarningHandlerCallBacks;

namespace krvo::k2m {

/// A file that the container library reads.
class IStream {
 public:
  virtual ~IStream() = default;
  /// Counted by the library; the owner of the stream stays its owner.
  virtual void addReference() = 0;
  virtual void release() = 0;
  virtual void open() = 0;
  virtual void close() = 0;
  /// Reads up to `count` bytes from the position and answers how many.
  virtual std::uint64_t read(void* buffer, std::uint64_t count) = 0;
  /// Mode 0 from the start, 1 from the position, 2 from the end.
  virtual void seek(std::int64_t offset, std::uint32_t mode) = 0;
  virtual std::uint64_t tell() = 0;
};

/// A file that the container library writes.
class IOStream : public IStream {
 public:
  /// Writes `count` bytes at the position and answers how many were taken.
  virtual std::uint64_t write(const void* buffer, std::uint64_t count) = 0;
  virtual void flush() = 0;
};

/// Answers the library's warnings.
class WarningHandler {
 public:
  virtual ~WarningHandler() = default;
  /// 1 carries on, 0 stops.
  virtual std::uint32_t warning(std::uint32_t code) = 0;
};

/// The library's view of `stream`, which outlives it. What an operation throws becomes a status: that of an Exception,
/// 18 for std::bad_alloc, 19 for another std::exception, 1 for anything else.
KrvoK2MIOStreamCallBacks makeCallBacks(IOStream& stream);
KrvoK2MWarningHandlerCallBacks makeCallBacks(WarningHandler& handler);

}  // namespace krvo::k2m
