#pragma once

#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/positioning.hpp>
#include <cstdint>
#include <ios>
#include <istream>

#include "util/ByteBuffer.h"
#include "util/fourcc.h"

namespace ruvo::k2r {

/// A buffer in memory as a device for `boost::iostreams::stream<ByteSource>`, with one position for reading and
/// writing, between 0 and the size. A value; copies move their positions apart. `buffer` outlives it and never grows.
/// Belongs to one thread at a time.
class ByteSource {
 public:
  using char_type = char;
  using category = boost::iostreams::seekable_device_tag;

  explicit ByteSource(qvs::util::ByteBuffer& buffer) : buffer_(&buffer) {}

  /// Copies up to `count` bytes and answers how many; -1 at the end.
  std::streamsize read(char* out, std::streamsize count);
  /// Overwrites `count` bytes. Throws std::ios_base::failure, and writes nothing, where fewer are left.
  std::streamsize write(const char* in, std::streamsize count);
  /// Answers the new position. From the end, `offset` is an unsigned distance back; what leads out of the buffer stops
  /// at its border.
  std::streampos seek(boost::iostreams::stream_offset offset, std::ios_base::seekdir direction);

 private:
  std::uint64_t left() const { return buffer_->size() - position_; }

  qvs::util::ByteBuffer* buffer_;
  std::uint64_t position_ = 0;
};

/// Searches for the four characters of a box type, from the stream's position on and at any alignment. True: the stream
/// stands on the size field in front of them. False: the stream ended first, and is in the state that this gives.
/// Neither the end nor that state raises an exception, whatever the stream's mask; only a broken stream does.
bool findBox(std::istream& in, qvs::util::FourCC type);

}  // namespace ruvo::k2r
