#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace krvo::container {

/// A segment file, or anything else whose bytes can be read in any order. Belongs to one thread. Has no destructor
/// slot: its owner knows the class.
class Source {
 public:
  /// Bytes. May grow while a recorder writes the file; a reader that needs one value asks once.
  virtual std::uint64_t size() = 0;
  /// Fills `out` with the bytes from `offset` on. Throws if that reaches beyond the end, or if reading fails.
  virtual void read(std::uint64_t offset, std::span<std::byte> out) = 0;

 protected:
  ~Source() = default;
};

}  // namespace krvo::container
