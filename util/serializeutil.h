#pragma once

#include <cstddef>
#include <cstdint>

namespace qvs::util {

/// A source of bytes, front to back. The implementation says what it throws. Its owner knows the concrete class: there
/// is no virtual destructor.
class IDeserialize {
 public:
  /// Copies the next `size` bytes to `bytes`. Throws if fewer are left.
  virtual void read(void* bytes, std::uint64_t size) = 0;

 protected:
  ~IDeserialize() = default;
};

/// A sink of bytes, front to back; otherwise like IDeserialize.
class ISerialize {
 public:
  /// Takes a copy of `size` bytes. Throws if it cannot take them all.
  virtual void write(const void* bytes, std::uint64_t size) = 0;

 protected:
  ~ISerialize() = default;
};

/// Writes the low `byteCount` bytes of `value`, the highest first, in one call of `write`. A count above 8 is a
/// diagnostic and counts as 8, here and below; with 0 nothing is written.
void writeNumber(ISerialize& out, std::size_t byteCount, std::uint64_t value);
/// Reads an unsigned number of `byteCount` bytes, the highest first; 0 without any byte.
std::uint64_t readNumber(IDeserialize& in, std::size_t byteCount);

}  // namespace qvs::util
