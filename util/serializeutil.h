#pragma once

#include <cstddef>
#include <cstdint>

namespace qvs::util {

/// Gives bytes, front to back. Throws where fewer than `size` are left.
class IDeserialize {
 public:
  virtual void read(void* bytes, std::uint64_t size) = 0;

 protected:
  ~IDeserialize() = default;
};

/// Takes bytes, front to back. Throws where it cannot take them all.
class ISerialize {
 public:
  virtual void write(const void* bytes, std::uint64_t size) = 0;

 protected:
  ~ISerialize() = default;
};

/// Writes the low `byteCount` bytes of `value`, highest first, in one call. More than 8 is a diagnostic and counts as
/// 8, here and below.
void writeNumber(ISerialize& out, std::size_t byteCount, std::uint64_t value);
/// Reads an unsigned number of `byteCount` bytes, highest first.
std::uint64_t readNumber(IDeserialize& in, std::size_t byteCount);

}  // namespace qvs::util
