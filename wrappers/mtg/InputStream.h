#pragma once

#include <cstdint>

struct KrvoMTGInputStreamCallBacks;

namespace mtg {

/// A file that the tag-stream library reads. It comes open.
class InputStream {
 public:
  virtual ~InputStream() = default;
  /// The library's view of this stream, which outlives it. What an operation throws becomes a status: that of an
  /// Exception, 18 for std::bad_alloc, 19 for another std::exception, 1 for anything else.
  virtual void fill(KrvoMTGInputStreamCallBacks& table);
  /// Counted by the library; the owner of the stream stays its owner.
  virtual void addReference() = 0;
  virtual void release() = 0;
  /// Reads up to `count` bytes from the position and answers how many; 0 at the end.
  virtual std::uint32_t read(void* buffer, std::uint32_t count) = 0;
  /// Mode 0 from the start, 1 from the position, 2 from the end.
  virtual void seek(std::int64_t offset, std::uint32_t mode) = 0;
  virtual std::int64_t tell() = 0;
  virtual void open() = 0;
  virtual void close() = 0;
};

}  // namespace mtg
