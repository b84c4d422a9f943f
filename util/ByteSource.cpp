#include "util/ByteSource.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "util/ExceptionMask.h"

namespace ruvo::k2r {

std::streamsize ByteSource::read(char* out, std::streamsize count) {
  if (left() == 0) return -1;
  if (count <= 0) return 0;
  const auto taken = static_cast<std::size_t>(std::min(static_cast<std::uint64_t>(count), left()));
  std::memcpy(out, buffer_->data() + position_, taken);
  position_ += taken;
  return static_cast<std::streamsize>(taken);
}

std::streamsize ByteSource::write(const char* in, std::streamsize count) {
  // As unsigned, so that a negative count is above any size.
  if (static_cast<std::uint64_t>(count) > left()) throw std::ios_base::failure("");
  if (count > 0) std::memcpy(buffer_->data() + position_, in, static_cast<std::size_t>(count));
  position_ += static_cast<std::uint64_t>(count);
  return count;
}

std::streampos ByteSource::seek(boost::iostreams::stream_offset offset, std::ios_base::seekdir direction) {
  const auto distance = static_cast<std::uint64_t>(offset);
  // From the start is a move from position 0. Each move is cut to what is left, so no sum can overflow.
  if (direction == std::ios_base::beg) position_ = 0;
  if (direction == std::ios_base::end) {
    position_ = buffer_->size() - std::min(buffer_->size(), distance);
  } else if (offset < 0) {
    // Unsigned negation: -offset would overflow for the lowest value.
    position_ -= std::min(position_, 0 - distance);
  } else {
    position_ += std::min(left(), distance);
  }
  return boost::iostreams::offset_to_position(static_cast<boost::iostreams::stream_offset>(position_));
}

bool findBox(std::istream& in, qvs::util::FourCC type) {
  // The end of the stream is a result here, not a failure.
  const qvs::util::ExceptionMask mask(in, std::ios_base::badbit);
  std::uint32_t lastFour = 0;
  std::uint64_t count = 0;
  for (char c = 0; in.get(c);) {
    lastFour = lastFour << 8 | static_cast<unsigned char>(c);
    // From the fourth byte on: the zeros before it are not from the stream.
    if (++count >= 4 && lastFour == type) {
      in.seekg(-8, std::ios_base::cur);
      return in.good();
    }
  }
  return false;
}

}  // namespace ruvo::k2r
