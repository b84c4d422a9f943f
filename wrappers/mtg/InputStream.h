#pragma once

#include <cstdint>

struct KrvoMTGInputStreamCallBacks;

namespace mtg {

/// A file that the tag-stream library reads. The owner opens it before the library gets it, at its start. Operations
/// are called on the thread that uses the reader; failures are exceptions, of any type.
class InputStream {
 public:
  virtual ~InputStream() = default;
  /// Fills the library's callback record for this stream, which outlives the reader; the record is copied by the
  /// library. An exception of an operation becomes a status: that of an Exception, 18 for std::bad_alloc, 19 for
  /// another std::exception, 1 for anything else.
  virtual void fill(KrvoMTGInputStreamCallBacks& table);
  /// The library says that it begins or ends to use the stream. Neither deletes it: its owner stays its owner.
  virtual void addReference() = 0;
  virtual void release() = 0;
  /// Reads up to `count` bytes from the position and returns how many, which may be fewer before the end; 0 at the end.
  virtual std::uint32_t read(void* buffer, std::uint32_t count) = 0;
  /// Moves by `offset` bytes: mode 0 from the start, 1 from the position, 2 from the end. A stream that throws at the
  /// first call, a move to its end, counts as one that cannot seek and is read front to back.
  virtual void seek(std::int64_t offset, std::uint32_t mode) = 0;
  /// Bytes from the start.
  virtual std::int64_t tell() = 0;
  // For the owner; the library calls neither.
  virtual void open() = 0;
  virtual void close() = 0;
};

}  // namespace mtg
