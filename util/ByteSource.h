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
/// writing, between 0 and the size. A value: a copy has its own position on the same buffer. `buffer` outlives it, is
/// never reallocated meanwhile, and does not grow by writing. Belongs to one thread at a time.
class ByteSource {
 public:
  using char_type = char;
  using category = boost::iostreams::seekable_device_tag;

  explicit ByteSource(qvs::util::ByteBuffer& buffer) : buffer_(&buffer) {}

  /// Copies up to `count` bytes to `out` and returns how many; -1 at the end, as Boost wants it, also for a count of 0.
  std::streamsize read(char* out, std::streamsize count);
  /// Overwrites `count` bytes and returns `count`. Throws std::ios_base::failure, and writes nothing, if fewer are left
  /// or `count` is negative.
  std::streamsize write(const char* in, std::streamsize count);
  /// Moves the position and returns it, in bytes from the start. From the end, `offset` is a distance back, taken as
  /// unsigned: -1 leads to the start. A position outside of the buffer becomes the nearest inside.
  std::streampos seek(boost::iostreams::stream_offset offset, std::ios_base::seekdir direction);

 private:
  std::uint64_t left() const { return buffer_->size() - position_; }

  qvs::util::ByteBuffer* buffer_;
  std::uint64_t position_ = 0;
};

/// Searches for the four characters of a box type, from the stream's position on and at any alignment. Returns true
/// with the position on the 32-bit size field before the type; false if the stream ended first, with eofbit and failbit
/// set. Neither state throws, whatever the stream's exception mask; badbit throws std::ios_base::failure. The mask is
/// restored. A match may be chance, in the payload of another box: the caller checks the size.
bool findBox(std::istream& in, qvs::util::FourCC type);

}  // namespace ruvo::k2r
